#include "inputs.h"

#include <vector>

#include "orvik/orvik.h"

namespace orvcmd {

namespace {

/// The table's, then those that are read when there is a model. None where the table's are not
/// both named: such a run ends without an error.
std::vector<const std::string*> text_inputs(const options& opt) {
  std::vector<const std::string*> files;
  if (opt.tree_binary_input.empty() && opt.binary_data_input.empty()) {
    if (opt.metadata_file.empty() || opt.data_file.empty()) return {};
    files = {&opt.metadata_file, &opt.data_file};
  }
  if (opt.sdm2012 || opt.as2018) return files;
  if (!opt.test_file.empty()) files.push_back(&opt.test_file);
  if (!opt.calibration_rows.empty()) files.push_back(&opt.calibration_rows);
  const bool is_wanted = !opt.score_output_file.empty() || !opt.reasons_file.empty();
  if (!opt.score_data_file.empty() && is_wanted) files.push_back(&opt.score_data_file);
  return files;
}

}  // namespace

void check_inputs(const options& opt) {
  for (const std::string* file : text_inputs(opt)) orvik::check_text_file(*file);
}

}  // namespace orvcmd
