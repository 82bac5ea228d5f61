// Tables and columns to and from binary streams.
//
// A table is its name, the columns, and the indices of the class and the weights among them; a
// column is its value set, name, role and codes. What is read must fit together: no code without
// a value, no column of another length, one class.
#include <algorithm>
#include <limits>
#include <stdexcept>

#include "impls/tables/column_bool.h"
#include "impls/tables/column_typed.h"
#include "impls/tables/table.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

namespace {

constexpr char k_no_column[] = "a column is missing";
constexpr char k_no_such_code[] = "a code without a value in column ";
constexpr char k_uneven[] = "columns of different lengths";
constexpr char k_other_class[] = "the class is not where it should be";
constexpr char k_no_class_check[] = "a table without a class";
constexpr char k_unadmitted[] = "an unknown value that is not admitted";
constexpr char k_negative[] = ": negative value in a column of weights";

using zel::inpout::ibinstream;
using zel::inpout::obinstream;

/// Refuses codes past the values, and unknown ones where there are none.
void check_codes(const column& c, code_t lowest, code_t highest) {
  const o_set& values = *c.values();
  const bool known = lowest != k_unknown || values.has_null();
  if (!known || highest > values.size_of_known())
    throw std::runtime_error(k_no_such_code + c.name());
}

void write_column(obinstream& out, const column& c) {
  out << true << (c.values() != nullptr);
  if (const o_set* values = c.values()) {
    out << values->type() << values->admits_null() << values->has_null() << values->null_value();
    values->bin_out(out);
  }
  out << c.name() << c.get_type();
  c.bin_out(out);
}

std::unique_ptr<o_set> read_values(ibinstream& in) {
  if (!in.read_presence()) return nullptr;
  std::string type, null_value;
  bool admits_null = false, has_null = false;
  in >> type >> admits_null >> has_null >> null_value;
  if (has_null && !admits_null) throw std::runtime_error(k_unadmitted);
  std::unique_ptr<o_set> values(o_set::NEW_O_SET(type, admits_null, null_value));
  values->set_has_null(has_null);
  values->bin_in(in);
  return values;
}

/// As a table that loads text does: no weight is below 0.
void forbid_negative_weights(column& c) {
  o_set& values = *c.values();
  values.forbid_negative();
  if (values.size_of_known() > 0 && !(values.get_value_as_double(1) >= 0)) {
    throw std::runtime_error(c.name() + k_negative);
  }
}

std::unique_ptr<column> read_column(ibinstream& in) {
  if (!in.read_presence()) throw std::runtime_error(k_no_column);
  std::unique_ptr<o_set> values = read_values(in);
  std::string name, role, error;
  in >> name >> role;
  if (values && values->admits_null() != column::admits_null(role)) {
    throw std::runtime_error(k_unadmitted);
  }
  std::unique_ptr<column> made(column::NEW_COLUMN(values.get(), name, role, error));
  if (!made) throw std::runtime_error(error);
  static_cast<void>(values.release());  // the column has it now
  if (made->type() == column::WEIGHTS) forbid_negative_weights(*made);
  made->bin_in(in);
  return made;
}

}  // namespace

template <class IndexT>
void column_typed<IndexT>::bin_out(obinstream& out) const {
  out << size();
  out.write_array(std::span<const IndexT>(data_));
}

template <class IndexT>
void column_typed<IndexT>::bin_in(ibinstream& in) {
  unsigned long n = 0;
  in >> n;
  data_ = in.read_array<IndexT>(n);
  if (data_.empty()) return;
  const auto [lowest, highest] = std::ranges::minmax(data_);
  check_codes(*this, lowest, highest);
}

template void column_typed<std::uint8_t>::bin_out(obinstream&) const;
template void column_typed<std::uint16_t>::bin_out(obinstream&) const;
template void column_typed<std::uint32_t>::bin_out(obinstream&) const;
template void column_typed<std::uint64_t>::bin_out(obinstream&) const;
template void column_typed<std::uint8_t>::bin_in(ibinstream&);
template void column_typed<std::uint16_t>::bin_in(ibinstream&);
template void column_typed<std::uint32_t>::bin_in(ibinstream&);
template void column_typed<std::uint64_t>::bin_in(ibinstream&);

void column_bool::bin_out(obinstream& out) const { out << bits_; }

void column_bool::bin_in(ibinstream& in) {
  in >> bits_;
  if (bits_.size() > 0) check_codes(*this, 1, bits_.is_zero() ? 1 : 2);
}

void table::bin_out(obinstream& out) const {
  out << name_ << n_columns();
  for (const auto& c : columns_) write_column(out, *c);
  out << class_index_ << n_rows_ << /*class checked=*/true << weights_index_;
}

void table::bin_in(ibinstream& in) {
  unsigned long n = 0;
  in >> name_ >> n;
  std::vector<std::unique_ptr<column>> columns;  // grows with what is read
  for (unsigned long i = 0; i < n; ++i) columns.push_back(read_column(in));
  adopt_columns(std::move(columns));
  unsigned long class_index = 0, weights_index = 0;
  bool checked = false;
  in >> class_index >> n_rows_ >> checked >> weights_index;
  if (!checked) throw std::runtime_error(k_no_class_check);
  if (class_index != class_index_ || weights_index != weights_index_) {
    throw std::runtime_error(k_other_class);
  }
  for (const auto& c : columns_) {
    if (c->codes().bits != 0 && c->size() != n_rows_) throw std::runtime_error(k_uneven);
  }
  if (n_rows_ > 0) check_weights();
}

obinstream& operator<<(obinstream& out, const table* t) {
  out << (t != nullptr);
  if (t != nullptr) t->bin_out(out);
  return out;
}

ibinstream& operator>>(ibinstream& in, table*& t) {
  t = nullptr;
  if (!in.read_presence()) return in;
  auto made = std::make_unique<table>("");
  made->bin_in(in);
  t = made.release();  // to the caller
  return in;
}

}  // namespace orvik::impls
