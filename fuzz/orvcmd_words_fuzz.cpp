// Command lines of orvcmd: any words are refused with one line and status 255, or do what they say
// on small files, to the end or to one line that says why not. Input: the words, one a line; see
// words_of().
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "errors.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "options.h"
#include "program.h"
#include "scratch.h"

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
    orvcmd::run_program(opt);
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
  require(!files().has_unfinished(), "nothing is left half-written");
  return 0;
}
