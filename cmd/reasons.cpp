#include "reasons.h"

#include <filesystem>

#include "errors.h"
#include "log.h"
#include "orvik/reasons.h"
#include "outputs.h"
#include "score.h"
#include "zel/util/cronos.h"
#include "zel/util/progress_display.h"

namespace orvcmd {

namespace {

constexpr char k_needs_rows[] = "-shap needs the rows of -fs";
constexpr char k_needs_reasons[] = " needs -shap";
constexpr char k_read_twice[] = "-s and -shap read -fs twice: it must be a file, and no pipe";

/// One that is missing is told of where it is read.
bool can_be_read_again(const std::string& file) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_type type = fs::status(file, error).type();
  return type == fs::file_type::regular || type == fs::file_type::not_found;
}

}  // namespace

void require_rows_to_explain(const options& opt) {
  const bool explains = opt.is_given("-shap");
  for (const char* option : {"-shappred", "-shaptop"}) {
    if (opt.is_given(option) && !explains) throw failure(option + std::string(k_needs_reasons));
  }
  if (!explains) return;
  if (opt.score_data_file.empty()) throw failure(k_needs_rows);
  if (opt.is_given("-s") && !can_be_read_again(opt.score_data_file)) throw failure(k_read_twice);
}

void explain_file(const options& opt, const orvik::dtree& model, std::ostream* log) {
  log_line(log, "Explaining data");
  orvik::check_text_file(opt.score_data_file);
  output file(false, opt.reasons_file, std::ios::trunc);
  orvik::dtree::unseen_values unseen;
  unsigned long rows = 0;
  zel::util::progress::stage("explaining");
  zel::util::cronos watch;
  watch.start();
  try {
    const orvik::explainer explainer(model);
    explainer.write(opt.score_data_file, opt.separator, *file.stream(), rows, opt.separator,
                    opt.reasons, opt.unseen ? &unseen : nullptr);
  } catch (...) {
    file.close();
    throw;
  }
  file.close();
  watch.stop();
  log_line(log, " rows: ", rows, " time: ", watch.get_elapsed());
  log_unseen(log, unseen);
}

}  // namespace orvcmd
