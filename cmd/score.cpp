#include "score.h"

#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>
#include <new>

#include "log.h"
#include "outputs.h"
#include "zel/util/progress_display.h"
#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

using unseen_values = orvik::dtree::unseen_values;

constexpr char k_no_output[] = "No score output file provided!\n";

/// Processes share out the rows of files: a pipe is read by one of them.
std::unique_ptr<const zel::util::working_alone> alone_unless_file(const std::string& name) {
  std::error_code error;
  if (std::filesystem::is_regular_file(name, error)) return nullptr;
  return std::make_unique<const zel::util::working_alone>(zel::util::default_context());
}

/// The text report may have left the log's stream in another notation.
void use_default_notation(std::ostream* log) {
  if (log == nullptr) return;
  log->unsetf(std::ios::floatfield);
  log->precision(6);
}

/// Scores into `file`; a write that failed is reported as the file's, whatever came of it. The rows
/// in front of one that cannot be read are kept; where memory ends an older file stays.
double score_into(output& file, const options& opt, const orvik::dtree& model,
                  unseen_values* unseen) {
  unsigned long rows = 0;
  zel::util::progress::stage("scoring");
  const auto pipe = alone_unless_file(opt.score_data_file);
  try {
    return model.score(opt.score_data_file, opt.separator, *file.stream(), rows, opt.separator,
                       opt.probabilities, unseen, opt.sets);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    file.close();
    throw;
  }
}

}  // namespace

void log_unseen(std::ostream* log, const unseen_values& unseen) {
  for (const auto& [column, count] : unseen) {
    log_line(log, " + ", count, " values unseen in column ", column, ", taken as unknown");
  }
}

file_test test_on_file(const options& opt, const orvik::dtree& model) {
  file_test test;
  const auto& file = opt.test_file;
  const auto pipe = alone_unless_file(file);
  orvik::dtree::unseen_values* const unseen = opt.unseen ? &test.unseen : nullptr;
  test.matrix.reset(
      opt.judges_tests()
          ? model.test(file, opt.separator, orvik::k_unknown_text, unseen, test.judged)
          : model.test(file, opt.separator, orvik::k_unknown_text, unseen));
  return test;
}

void log_file_test(std::ostream* log, const file_test& test) {
  const auto rows = static_cast<double>(test.matrix->ncases());
  const double seconds = test.matrix->get_elapsed();
  log_line(log, " + rows: ", test.matrix->ncases(), " time: ", seconds, " secs (",
           std::floor(rows / seconds / 10) / 100, " K rows/s)");
  log_unseen(log, test.unseen);
}

void score_file(const options& opt, const orvik::dtree& model, std::ostream* log) {
  if (opt.score_output_file.empty()) {
    if (!opt.reasons_file.empty()) return;
    if (log == &std::cout) std::cout << '\n';  // the log is in the middle of a line
    std::cout << k_no_output;
    return;
  }
  log_line(log, "Scoring data");
  orvik::check_text_file(opt.score_data_file);  // older scores stay where there are no rows
  output file(false, opt.score_output_file, std::ios::trunc);
  unseen_values unseen;
  const double seconds = score_into(file, opt, model, opt.unseen ? &unseen : nullptr);
  file.close();
  use_default_notation(log);
  log_line(log, " time: ", seconds);
  log_unseen(log, unseen);
}

}  // namespace orvcmd
