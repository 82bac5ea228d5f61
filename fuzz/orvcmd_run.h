// A run of orvcmd within this process, and what it runs on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "errors.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "options.h"
#include "program.h"
#include "require.h"
#include "scratch.h"

namespace orvik::fuzz {

/// What the main function does, without what it does to the process; calls begin() first.
template <class Begin>
int status_of(const std::vector<std::string>& words, const Begin& begin) {
  std::vector<const char*> argv{"orvcmd"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  const impls::loop_threads threads(2);
  const impls::run_seed seed(1);
  return orvcmd::exit_status_of([&] {
    begin();
    orvcmd::options opt = orvcmd::options::parse(static_cast<int>(argv.size()), argv.data());
    orvcmd::run_program(opt);
  });
}

/// The same; an error has its line, and leaves nothing half-written in the folder.
inline int run_orvcmd(const std::vector<std::string>& words, const scratch& files) {
  const caught_output caught;
  const int status = status_of(words, [] {});
  const std::string said = caught.text();
  require(status == 0 || status == orvcmd::k_failure, "a status of the program");
  // One option is refused without a word.
  require(status == 0 || said.empty() || said.ends_with('\n'), "an error has its line");
  require(!files.has_unfinished(), "nothing is left half-written");
  return status;
}

/// Files of golf_files() and such that a run may make, and all options.
inline const std::vector<std::string>& orvcmd_words() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> words{"golf.names", "golf.data",  "golf",
                                   "golf.rows",  "golf.table", "golf.tree",
                                   "forest",     "made.file",  "made.more"};
    for (const std::string_view option : orvcmd::option_names()) words.emplace_back(option);
    words.emplace_back("golf.map");
    return words;
  }();
  return all;
}

/// A table in all its forms, a tree and a forest.
inline scratch& golf_files() {
  static scratch made;
  static const bool filled = [] {
    made.keep("golf.names", impls::k_golf_names);
    made.keep("golf.data", impls::k_golf_rows);
    made.keep("golf.rows", impls::k_golf_rows);
    made.restore();
    require(run_orvcmd({"-f", "golf", "-db", "golf.table", "-tb", "golf.tree"}, made) == 0,
            "files");
    require(run_orvcmd({"-f", "golf", "-fo", "3", "-tb", "forest"}, made) == 0, "a forest");
    require(run_orvcmd({"-f", "golf", "-dbm", "golf.map"}, made) == 0, "a mapped table");
    for (const char* name : {"golf.table", "golf.tree", "forest", "golf.map"}) made.keep(name);
    return true;
  }();
  require(filled, "files to work on");
  return made;
}

}  // namespace orvik::fuzz
