// A run of orvcmd within this process.
#pragma once

#include <string>
#include <vector>

#include "errors.h"
#include "impls/support/ensembles.h"
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

}  // namespace orvik::fuzz
