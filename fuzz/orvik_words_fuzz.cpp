// Command lines of orvik: any words are refused with one line, or do what they say on small files,
// to the end or to one line that says why not. Input: the words, one a line; see words_of().
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#define main orvik_main
#include "../verbs/main.cpp"
#undef main
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "scratch.h"

using namespace orvik::fuzz;

namespace {

const std::vector<std::string>& names() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> words{"golf.csv", "golf.names", "golf.orvik", "forest",
                                   "new.csv",  "made.file",  "made.more",  "-"};
    for (const auto& each : all_verbs()) {
      words.emplace_back(each->name());
      orvverbs::options declared("orvik", "");
      each->declare(declared);
      for (const auto& option : declared.declared()) {
        const std::string& name = option.names.back();
        if (std::ranges::find(words, name) == words.end()) words.push_back(name);
      }
    }
    return words;
  }();
  return all;
}

/// The main function without what it does to the process.
int run_words(const std::vector<std::string>& words) {
  const orvik::impls::loop_threads threads(2);
  const orvik::impls::run_seed seed(1);
  const caught_output caught;
  std::string program = "orvik";
  try {
    return run(words, program);
  } catch (const usage_error& error) {
    require(*error.what() != '\0', "an error has a text");
    return k_misused;
  } catch (const closed_pipe&) {
    require(false, "nobody closed a pipe");
  } catch (...) {
    require(!current_error().empty(), "an error has a text");
  }
  return k_failed;
}

scratch& files() {
  static scratch made;
  static const bool filled = [] {
    const std::string rows = orvik::impls::k_golf_rows;
    made.keep("golf.csv", "outlook,temperature,humidity,windy,play\n" + rows);
    made.keep("new.csv", "windy;outlook;id;temperature\ntrue;sunny;1;70,5\n?;foggy;2;\n");
    made.keep("golf.names", orvik::impls::k_golf_names);
    made.keep("golf.data", rows);
    made.restore();
    require(run_words({"train", "golf.csv", "-q", "-o", "golf.orvik"}) == 0, "a model");
    require(run_words({"train", "golf.csv", "-q", "--forest", "3", "-o", "forest"}) == 0, "trees");
    for (const char* name : {"golf.orvik", "forest"}) made.keep(name);
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
  run_words(words);
  require(!files().has_unfinished(), "nothing is left half-written");
  return 0;
}
