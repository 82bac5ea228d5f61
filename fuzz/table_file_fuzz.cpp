// Binary tables: any bytes are a table that can be used or are refused with a message, and what
// was read is written and read again without a difference. So are mapped tables, whose sums are
// made to fit what came, but for those of codes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>

#include "impls/support/binary_text.h"
#include "impls/tables/mapped_form.h"
#include "require.h"
#include "scratch.h"

using namespace orvik::impls;
using orvik::fuzz::error_of;
using orvik::fuzz::require;

namespace {

void use(const column& c, unsigned long rows) {
  const o_set& values = *c.values();
  for (code_t code = 0; code <= values.size_of_known(); ++code) {
    code_t found = 0;
    const std::string text = values.get_value(code);
    if (!values.is_numeric()) static_cast<void>(values.get_order(text.c_str(), found));
  }
  if (c.codes().bits == 0) return;
  require(c.size() == rows, "a code a row");
  for (row_t row = 0; row < rows; ++row) {
    require(c.get_row_index(row) <= values.size_of_known(), "codes of values");
    require(c.get_row_index(row) != k_unknown || values.has_null(), "unknown values are noted");
  }
}

void fit_sums(std::string& bytes) {
  mapped_header h;
  if (bytes.size() < sizeof h) return;
  std::memcpy(&h, bytes.data(), sizeof h);
  h.bytes = bytes.size();
  const std::string_view behind = std::string_view(bytes).substr(sizeof h);
  if (h.columns > behind.size() / sizeof(mapped_place)) return;
  const std::size_t directory = h.columns * sizeof(mapped_place);
  h.schema_sum = zel::util::byte_sum_of(behind.substr(directory, h.schema_bytes));
  std::memcpy(bytes.data(), &h, sizeof h);
  std::string summed = bytes.substr(0, sizeof h - sizeof h.own_sum);
  summed += behind.substr(0, directory);
  h.own_sum = zel::util::byte_sum_of(summed);
  std::memcpy(bytes.data(), &h, sizeof h);
}

void use_mapped(std::string bytes) {
  static const orvik::fuzz::scratch folder;
  fit_sums(bytes);
  std::ofstream("t", std::ios::binary) << bytes;
  std::unique_ptr<table> t;
  if (!error_of([&] { t = table::open_mapped("t", "t"); }).empty()) return;
  for (unsigned long i = 0; i < t->n_columns(); ++i) {
    static_cast<void>(error_of([&] { use(t->get_column(i), t->n_rows()); }));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<table> t;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (bytes.starts_with(k_mapped_magic)) use_mapped(std::string(bytes));
  if (!error_of([&] { t = table_of(bytes); }).empty() || !t) return 0;
  for (unsigned long i = 0; i < t->n_columns(); ++i) use(t->get_column(i), t->n_rows());
  require(!t->has_class() || t->class_column().type() == column::CLASS, "a class");
  const std::string written = bytes_of(*t);
  require(bytes_of(*table_of(written)) == written, "the same when read again");
  if (t->n_rows() > 0) t->rescale_weights();
  return 0;
}
