// The table of a run.
#include <algorithm>
#include <cmath>

#include "driver.h"
#include "errors.h"
#include "log.h"
#include "outputs.h"
#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

using orvik::table;

constexpr char k_no_metadata[] = "No metadata provided.\n";
constexpr char k_no_data[] = "No training data provided.\n";
constexpr char k_no_rows[] = "there must be at least one row of data";

/// Deliberate: above 10,000 rows a second the figure in thousands stands before "M rows/s".
void log_load_rate(std::ostream* log, unsigned long rows, double seconds) {
  const double thousands = std::floor(static_cast<double>(rows) / seconds / 10) / 100;
  const double millions = std::floor(thousands / 10) / 100;
  log_line(log, " + time: ", seconds, " secs (", thousands,
           millions == 0 ? " K rows/s)" : " M rows/s)");
}

std::unique_ptr<table> load_text(const options& opt, std::ostream* log) {
  if (opt.metadata_file.empty()) throw early_end{0, k_no_metadata};
  log_line(log, "Reading text data");
  auto t = std::make_unique<table>(opt.metadata_file);
  t->load_meta_data(opt.metadata_file, opt.separator, orvik::k_unknown_text);
  if (opt.data_file.empty()) throw early_end{0, k_no_data};
  zel::util::default_context().progress().begin(zel::util::progress::unit::rows, 0);
  const bool in_order = opt.holdout_first > 0 || opt.holdout_stratified_deterministic > 0;
  const unsigned long n_workers = in_order ? 1 : opt.n_workers;
  if (opt.mapped_data_output.empty()) {
    t->load_data(opt.data_file, opt.separator, n_workers, log);
  } else {
    t->load_data_mapped(opt.data_file, opt.separator, n_workers, opt.mapped_data_output, log);
    log_line(log, "Data saved");
  }
  return t;
}

std::unique_ptr<table> load_binary(const std::string& file, std::ostream* log) {
  log_line(log, "Reading binary data");
  std::unique_ptr<table> t;
  try {
    t.reset(table::fromBinary(file));
  } catch (const std::runtime_error&) {
  }
  if (!t) throw std::runtime_error("File " + file + ": not binary format");
  if (t->get_no_rows() == 0) throw std::runtime_error("File " + file + ": " + k_no_rows);
  return t;
}

void save_binary(const table& t, const std::string& file, std::ostream* log) {
  save_or_report(file, [&] { t.toBinary(file); });
  log_line(log, "Data saved");
}

/// A table that was read as text has saved itself.
void save_mapped(const table& t, const options& opt, std::ostream* log) {
  if (opt.mapped_data_output.empty() || opt.binary_data_input.empty()) return;
  t.toMapped(opt.mapped_data_output);
  log_line(log, "Data saved");
}

}  // namespace

bool only_makes_table(const options& opt) {
  constexpr std::string_view k_of_tables[] = {"-f",   "-fm", "-fd", "-bd",   "-sep", "-db",
                                              "-dbm", "-l",  "-nl", "-lstd", "-tt",  "-seed"};
  return opt.is_given("-dbm") && std::ranges::all_of(opt.given, [&](std::string_view option) {
           return std::ranges::find(k_of_tables, option) != std::end(k_of_tables);
         });
}

std::unique_ptr<table> load_save_table(const options& opt, std::ostream* log) {
  std::unique_ptr<table> t =
      opt.binary_data_input.empty() ? load_text(opt, log) : load_binary(opt.binary_data_input, log);
  log_line(log, " + cols: ", t->get_no_columns(), " rows: ", t->get_no_rows());
  log_load_rate(log, t->get_no_rows(), t->get_elapsed());
  if (!opt.binary_data_output.empty()) save_binary(*t, opt.binary_data_output, log);
  save_mapped(*t, opt, log);
  if (opt.rescale) t->rescale_weights();
  if (opt.own_unknowns) t->own_unknowns();
  return t;
}

}  // namespace orvcmd
