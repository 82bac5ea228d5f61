// Tables and columns to and from binary streams.
//
// A table is its name, the columns, and the indices of the class and the weights among them; a
// column is its value set, name, role and codes. What is read must be what loading text could have
// made: no code without a value, no column of another length, one class, and in a table with rows
// no value that no row has. A table without rows is the schema of one that may have had them.
#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "impls/tables/column_bool.h"
#include "impls/tables/column_record.h"
#include "impls/tables/column_typed.h"
#include "impls/tables/table.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/stream.h"

namespace orvik::impls {

namespace {

constexpr char k_no_column[] = "a column is missing";
constexpr char k_no_such_code[] = "a code without a value in column ";
constexpr char k_uneven[] = "columns of different lengths";
constexpr char k_other_class[] = "the class is not where it should be";
constexpr char k_unadmitted[] = "an unknown value that is not admitted";
constexpr char k_negative[] = ": negative value in a column of weights";
constexpr char k_no_line[] = "a text that no line of metadata holds";
constexpr char k_repeated[] = "equal values in column ";
constexpr char k_unused[] = "a value without a row in column ";
constexpr char k_weights_type[] = "weights of another type than double";
constexpr char k_other_unknown[] = "columns with different texts of the unknown value";
constexpr char k_no_columns[] = "a table without columns";
constexpr char k_no_codes[] = "rows without a value";

using zel::inpout::ibinstream;
using zel::inpout::obinstream;
using zel::inpout::require;

/// Refuses codes past the values, and unknown ones where there are none or none where there are.
void check_codes(const column& c, code_t lowest, code_t highest) {
  const o_set& values = *c.values();
  const bool fit = highest <= values.size_of_known() && (lowest != k_unknown || values.has_null());
  if (!fit) throw std::runtime_error(k_no_such_code + c.name());
  if (lowest != k_unknown && values.has_null()) throw std::runtime_error(k_unused + c.name());
}

/// Whether each of the codes 1 .. n is among `codes`, which are up to n. O(codes), less where the
/// first ones have all.
template <class IndexT>
bool all_occur(std::span<const IndexT> codes, std::size_t n) {
  constexpr std::size_t k_first_look = 4096;
  std::vector<unsigned char> met(n + 1);
  for (std::size_t step = std::max(k_first_look, 2 * n); !codes.empty(); step *= 2) {
    const std::span<const IndexT> some = codes.first(std::min(step, codes.size()));
    for (const IndexT c : some) met[c] = 1;
    codes = codes.subspan(some.size());
    if (static_cast<std::size_t>(std::count(met.begin() + 1, met.end(), 1)) == n) return true;
  }
  return n == 0;
}

/// Whether all bits are set. O(words), less where one of the first is not.
bool is_full(const zel::adt::bitmap& bits) {
  const unsigned long whole = bits.size() / 64, rest = bits.size() % 64;
  const auto is_set = [](unsigned long word) { return word == ~0UL; };
  return std::all_of(bits.words(), bits.words() + whole, is_set) &&
         (rest == 0 || bits.words()[whole] == (1UL << rest) - 1);
}

std::string read_line_text(ibinstream& in) {
  std::string text = in.read_text();
  const bool fits = text.size() < zel::inpout::stream::k_max_line;
  require(fits && text.find_first_of(std::string_view("\0\n", 2)) == text.npos, k_no_line);
  return text;
}

bool may_own_null(const std::string& type, bool admits_null) {
  return !admits_null && (type == "string" || type.starts_with("ostring"));
}

/// A value set, and whether its values differ. One that admits no unknown value may own it.
std::unique_ptr<o_set> read_values(ibinstream& in, bool& differ) {
  if (!in.read_presence()) return nullptr;
  const std::string type = read_line_text(in);
  std::string null_value;
  bool admits_null = false, has_null = false;
  in >> admits_null >> has_null >> null_value;
  require(!has_null || admits_null, k_unadmitted);
  std::unique_ptr<o_set> values(
      o_set::NEW_O_SET(type, admits_null, null_value, may_own_null(type, admits_null)));
  values->set_has_null(has_null);
  differ = values->bin_in(in);
  return values;
}

/// Attributes admit unknown values; a discrete one may have them as a value of their own instead,
/// and nothing else may.
bool fits_role(const o_set& values, const std::string& role) {
  const bool owns_null = values.code_of_null() != k_unknown;
  if (role == "discrete") return values.admits_null() != owns_null;
  return values.admits_null() == column::admits_null(role) && !owns_null;
}

/// As a table that loads text does: no weight is below 0.
void check_weights_values(column& c) {
  o_set& values = *c.values();
  require(values.type() == "double", k_weights_type);
  values.forbid_negative();
  if (values.size_of_known() > 0 && !(values.get_value_as_double(1) >= 0)) {
    throw std::runtime_error(c.name() + k_negative);
  }
}

}  // namespace

void write_column(obinstream& out, const column& c) {
  out << true << (c.values() != nullptr);
  if (const o_set* values = c.values()) {
    out << values->type() << values->admits_null() << values->has_null() << values->null_value();
    values->bin_out(out);
  }
  out << c.name() << c.get_type();
  c.bin_out(out);
}

std::unique_ptr<column> read_column(ibinstream& in) {
  require(in.read_presence(), k_no_column);
  bool differ = true;
  std::unique_ptr<o_set> values = read_values(in, differ);
  const std::string name = read_line_text(in), role = read_line_text(in);
  require(!values || fits_role(*values, role), k_unadmitted);
  std::unique_ptr<column> made = column::over(std::move(values), name, role);
  if (made->type() == column::WEIGHTS) {
    check_weights_values(*made);
  } else if (!differ) {
    throw std::runtime_error(k_repeated + name);
  }
  made->bin_in(in);
  return made;
}

namespace {

std::vector<std::unique_ptr<column>> read_columns(ibinstream& in) {
  unsigned long n = 0;
  in >> n;
  require(n > 0, k_no_columns);
  std::vector<std::unique_ptr<column>> columns;  // grows with what is read
  for (unsigned long i = 0; i < n; ++i) {
    columns.push_back(read_column(in));
    const o_set &first = *columns[0]->values(), &last = *columns[i]->values();
    require(last.null_value() == first.null_value(), k_other_unknown);
  }
  return columns;
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
  const bool declared = values()->is_ordered();  // whether there is a row of it or not
  if (!declared && !all_occur(std::span<const IndexT>(data_), values()->size_of_known())) {
    throw std::runtime_error(k_unused + name());
  }
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
  if (bits_.size() == 0) return;
  check_codes(*this, 1, bits_.is_zero() ? 1 : 2);
  if (values()->is_ordered() || values()->size_of_known() < 2) return;
  if (bits_.is_zero() || is_full(bits_)) throw std::runtime_error(k_unused + name());
}

void table::bin_out(obinstream& out) const {
  require(!columns_.empty(), k_no_columns);
  out << name_ << n_columns();
  for (const auto& c : columns_) write_column(out, *c);
  out << class_index_ << n_rows_ << class_checked_ << weights_index_;
}

void table::bin_in(ibinstream& in) {
  in >> name_;
  std::vector<std::unique_ptr<column>> columns = read_columns(in);
  unsigned long class_index = 0, weights_index = 0;
  bool checked = false;
  in >> class_index >> n_rows_ >> checked >> weights_index;
  class_checked_ = checked || class_index < columns.size() || weights_index < columns.size();
  adopt_columns(std::move(columns));
  require(class_index == class_index_ && weights_index == weights_index_, k_other_class);
  check_classes();
  bool has_codes = false;
  for (const auto& c : columns_) {
    if (c->codes().bits == 0) continue;
    require(c->size() == n_rows_, k_uneven);
    has_codes = true;
  }
  if (n_rows_ == 0) return;
  require(has_codes, k_no_codes);
  check_weights();
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
