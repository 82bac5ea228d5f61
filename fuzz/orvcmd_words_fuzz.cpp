// Command lines of orvcmd: any words are refused with one line and status 255, or do what they say
// on small files, to the end or to one line that says why not. Input: the words, one a line; see
// words_of().
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#define main orvcmd_main
#include "../cmd/main.cpp"
#undef main
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "scratch.h"
#include "zel/text/message.h"

using namespace orvik::fuzz;

namespace {

const std::vector<std::string>& names() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> words{"golf.names", "golf.data",  "golf",
                                   "golf.rows",  "golf.table", "golf.tree",
                                   "forest",     "made.file",  "made.more"};
    for (const std::string_view option : orvcmd::option_names()) words.emplace_back(option);
    return words;
  }();
  return all;
}

/// The main function without what it does to the process.
int run_words(const std::vector<std::string>& words, std::string& said) {
  std::vector<const char*> argv{"orvcmd"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  const orvik::impls::loop_threads threads(2);
  const orvik::impls::run_seed seed(1);
  const caught_output caught;
  const int status = orvcmd::exit_status_of([&] {
    orvcmd::options opt = orvcmd::options::parse(static_cast<int>(argv.size()), argv.data());
    orvcmd::require_table_if_needed(opt);
    orvcmd::require_experiment(opt);
    outputs out(opt);
    orvik::set_n_workers(opt.n_workers);
    if (opt.seed) orvik::set_seed(*opt.seed);
    out.begin_log(orvik::get_copyright());
    for (const std::string& line : orvcmd::ignored_options(opt)) orvcmd::log_line(out.log(), line);
    try {
      train_and_save(opt, out);
    } catch (...) {
      out.close_after_error();
      throw;
    }
    out.close();
  });
  said = caught.text();
  return status;
}

scratch& files() {
  static scratch made;
  static const bool filled = [] {
    made.keep("golf.names", orvik::impls::k_golf_names);
    made.keep("golf.data", orvik::impls::k_golf_rows);
    made.keep("golf.rows", orvik::impls::k_golf_rows);
    made.restore();
    std::string said;
    require(run_words({"-f", "golf", "-db", "golf.table", "-tb", "golf.tree"}, said) == 0, "files");
    require(run_words({"-f", "golf", "-fo", "3", "-tb", "forest"}, said) == 0, "a forest");
    for (const char* name : {"golf.table", "golf.tree", "forest"}) made.keep(name);
    return true;
  }();
  require(filled, "files to work on");
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto words = words_of({reinterpret_cast<const char*>(data), size}, names());
  if (!is_harmless(words)) return 0;
  files().restore();
  std::string said;
  const int status = run_words(words, said);
  require(status == 0 || status == orvcmd::k_failure, "a status of the program");
  // One option is refused without a word.
  require(status == 0 || said.empty() || said.ends_with('\n'), "an error has its line");
  return 0;
}
