#include "orvik/table.h"

#include <algorithm>
#include <stdexcept>

#include "binary_file.h"
#include "impls/tables/mapped_form.h"
#include "impls/tables/table.h"
#include "orvik/run_context.h"
#include "zel/inpout/file_mapping.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/stream.h"
#include "zel/util/cronos.h"
#include "zel/util/run_context.h"

namespace orvik {

namespace {

constexpr char k_no_subset[] = "no cases provided to take the others of";

/// A line stream over a file, read by so many workers; it owns the connection.
zel::inpout::stream open_text(const std::string& file, char sep, unsigned long workers) {
  return {zel::inpout::ioconn::get_default_input(file, workers), sep, /*owns=*/true};
}

}  // namespace

table::table(const std::string& name) : table(std::make_unique<impls::table>(name)) {}
table::table(std::unique_ptr<impls::table> impl)
    : impl_(std::move(impl)), run_(&zel::util::default_context()) {}
table::~table() = default;

void table::use(run_context& run) { run_ = &run.get_impl(); }

void table::load_meta_data(const std::string& file, char sep, const std::string& unknown) {
  zel::inpout::stream in = open_text(file, sep, 1);
  impl_->load_meta_data(&in, unknown);
}

void table::load_data(const std::string& file, char sep, unsigned long n, std::ostream* log) {
  zel::inpout::stream in = open_text(file, sep, std::min(n, run_->n_workers));
  impl_->load_data(&in, n, log, *run_);
}

void table::load_data_mapped(const std::string& file, char sep, unsigned long n,
                             const std::string& mapped, std::ostream* log) {
  zel::inpout::stream in = open_text(file, sep, std::min(n, run_->n_workers));
  impl_->load_data_mapped(&in, n, mapped, log, *run_);
}

void table::load_columns(const std::vector<column_cells>& columns, unsigned long n,
                         const std::string& unknown) {
  impl_->load_columns(columns, impls::cell_rows(n), unknown, *run_);
}

void table::load_columns(const std::vector<column_cells>& columns, const std::vector<row_t>& rows,
                         const std::string& unknown) {
  impl_->load_columns(columns, impls::cell_rows(rows), unknown, *run_);
}

std::string table::get_name() const { return impl_->name(); }
schema_view table::get_schema() const { return schema_view(*impl_); }
unsigned long table::get_no_columns() const { return impl_->n_columns(); }
unsigned long table::get_no_predictive() const { return impl_->n_attributes(); }
unsigned long table::get_no_rows() const { return impl_->n_rows(); }
double table::get_weight(unsigned long row) const { return impl_->get_weight(row); }
std::string table::get_class(unsigned long row) const { return impl_->get_class(row); }
double table::get_elapsed() const { return impl_->elapsed(); }
void table::own_unknowns() { impl_->own_unknowns(); }

void table::rescale_weights() { impl_->rescale_weights(); }

void table::toBinary(const std::string& file) const {
  write_binary(file, run_->n_workers, [this](zel::inpout::obinstream& out) { out << impl_.get(); });
}

void table::toMapped(const std::string& file) const {
  replace_file(file, [&](const std::string& path) { impl_->write_mapped(path, *run_); });
}

bool table::is_mapped(const std::string& file) {
  return zel::inpout::file_mapping::begins_with(file, impls::k_mapped_magic);
}

namespace {

std::unique_ptr<impls::table> read_table(const std::string& file) {
  if (table::is_mapped(file)) {
    return naming_file(file, "table", [&] { return impls::table::open_mapped(file, file); });
  }
  std::unique_ptr<impls::table> loaded;
  read_binary(file, "table", [&](zel::inpout::ibinstream& in) {
    impls::table* t = nullptr;
    in >> t;
    loaded.reset(t);
  });
  return loaded;
}

}  // namespace

table* table::fromBinary(const std::string& file) {
  zel::util::cronos watch;
  watch.start();
  std::unique_ptr<impls::table> loaded = read_table(file);
  watch.stop();
  if (!loaded) return nullptr;
  loaded->set_elapsed(watch.get_elapsed());
  return new table(std::move(loaded));
}

table::subset* table::get_wsubset_all() const { return new subset(impl_->get_all(), run_); }

table::subset* table::get_wsubset_first_n(unsigned long n) const {
  return new subset(impl_->get_first_n(n), run_);
}

table::subset* table::get_wsubset_random(unsigned long n) const {
  return new subset(impl_->get_random(n, run_->seeds()), run_);
}

table::subset* table::get_wsubset_difference(subset* s) const {
  if (s == nullptr) throw std::runtime_error(k_no_subset);
  return new subset(impl_->get_difference(*s->get_impl()), run_);
}

void table::toXML_data_dictionary(std::ostream& out) const { impl_->toXML_data_dictionary(out); }

void table::toXML_mining_schema(std::ostream& out) const {
  impl_->toXML_mining_schema(out, nullptr);
}

void table::toCSV(std::ostream& out, const subset* cases, bool header) const {
  const std::unique_ptr<subset> all(cases == nullptr ? get_wsubset_all() : nullptr);
  impl_->toCSV(out, *(all ? all.get() : cases)->get_impl(), header);
}

}  // namespace orvik
