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

}  // namespace

void require_rows_to_explain(const options& opt) {
  for (const char* option : {"-shappred", "-shaptop"}) {
    if (opt.is_given(option) && opt.reasons_file.empty())
      throw failure(option + std::string(k_needs_reasons));
  }
  if (opt.reasons_file.empty()) return;
  if (opt.score_data_file.empty()) throw failure(k_needs_rows);
  std::error_code error;
  const std::filesystem::file_type type =
      std::filesystem::status(opt.score_data_file, error).type();
  const bool can_be_read_again =
      type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found;
  if (!opt.score_output_file.empty() && !can_be_read_again) throw failure(k_read_twice);
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
