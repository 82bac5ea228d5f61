// Command lines of orvcmd: any words are refused with one line and status 255, or do what they say
// on small files, to the end or to one line that says why not. Input: the words, one a line; see
// words_of().
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "impls/support/stock_tables.h"
#include "orvcmd_run.h"

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

scratch& files() {
  static scratch made;
  static const bool filled = [] {
    made.keep("golf.names", orvik::impls::k_golf_names);
    made.keep("golf.data", orvik::impls::k_golf_rows);
    made.keep("golf.rows", orvik::impls::k_golf_rows);
    made.restore();
    require(run_orvcmd({"-f", "golf", "-db", "golf.table", "-tb", "golf.tree"}, made) == 0,
            "files");
    require(run_orvcmd({"-f", "golf", "-fo", "3", "-tb", "forest"}, made) == 0, "a forest");
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
  run_orvcmd(words, files());
  return 0;
}
