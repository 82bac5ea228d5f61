#include "saved_tree.h"

#include <stdexcept>
#include <string>

#include "log.h"

namespace orvcmd {

namespace {

struct needs_table {
  const char* option;
  bool given;
};

}  // namespace

void require_table_if_needed(const options& opt) {
  if (opt.tree_binary_input.empty()) return;
  const needs_table rows[] = {
      {"-h", opt.holdout_random > 0},
      {"-hf", opt.holdout_first > 0},
      {"-hs", opt.holdout_stratified_random > 0},
      {"-hd", opt.holdout_stratified_deterministic > 0},
      {"-cv", opt.cv_folds > 0},
      {"-db", !opt.binary_data_output.empty()},
      {"-dbm", !opt.mapped_data_output.empty()},
      {"-imp", opt.importance},
      {"-tti", !opt.trace_file.empty()},
      {"-sdm2012", opt.sdm2012},
      {"-as2018", opt.as2018},
  };
  for (const auto& [option, given] : rows) {
    if (!given) continue;
    throw std::runtime_error("Option " + std::string(option) +
                             " needs a table, and with -bt there is none");
  }
}

std::unique_ptr<orvik::dtree> load_tree(const options& opt, std::ostream* log) {
  std::unique_ptr<orvik::dtree> model(orvik::dtree::fromBinary(opt.tree_binary_input));
  log_line(log, "Tree loaded");
  return model;
}

}  // namespace orvcmd
