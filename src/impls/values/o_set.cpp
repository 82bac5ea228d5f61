#include "impls/values/o_set.h"

#include <memory>
#include <stdexcept>

#include "impls/values/o_set_typed.h"

namespace orvik::impls {

namespace {

constexpr char k_invalid_type[] = "invalid o_set type = ";
constexpr char k_insert_null[] = "[o_set::insert()] called with unadmitted null value";
constexpr char k_value_of_null_set[] = "get_value_as on a null oset";
constexpr char k_rescale_null_set[] = "rescale on a null oset";
constexpr char k_mid_null_set[] = "[o_set::find_mid()] called on a null oset";

constexpr std::string_view k_ordered_keyword = "ostring";

}  // namespace

o_set* o_set::NEW_O_SET(const std::string& type, bool admits_null, const std::string& null_value,
                        bool owns_null) {
  if (type == "integer") return new o_set_typed<int>(type, admits_null, null_value);
  if (type == "uinteger") return new o_set_typed<unsigned int>(type, admits_null, null_value);
  if (type == "float") return new o_set_typed<float>(type, admits_null, null_value);
  if (type == "double") return new o_set_typed<double>(type, admits_null, null_value);
  if (type == "long double") return new o_set_typed<long double>(type, admits_null, null_value);
  if (type == "string")
    return new o_set_typed<std::string>(type, admits_null, null_value, owns_null);
  if (type == "null") return new o_set(type, admits_null, null_value);
  if (type.starts_with(k_ordered_keyword)) {
    auto set = std::make_unique<o_set_typed<std::string>>(type, admits_null, null_value, owns_null);
    // One character of any kind parts the keyword from the list.
    const std::size_t list = std::min(k_ordered_keyword.size() + 1, type.size());
    set->enumerate(std::string_view(type).substr(list));
    return set.release();
  }
  throw std::runtime_error(k_invalid_type + type);
}

o_set::o_set(std::string type, bool admits_null, std::string null_value)
    : admits_null_(admits_null), null_value_(std::move(null_value)), type_(std::move(type)) {}

bool o_set::note_null(std::string_view text) {
  if (text != null_value_) return false;
  if (!admits_null_) throw std::runtime_error(k_insert_null);
  if (!has_null()) set_has_null(true);
  return true;
}

code_t o_set::insert(const char* text) { return note_null(text) ? k_unknown : k_no_code; }

code_t o_set::insert(const char* text, unsigned long thread) { return insert_local(text, thread); }

code_t o_set::insert_local(std::string_view text, unsigned long) {
  return note_null(text) ? k_unknown : k_no_code;
}

bool o_set::insert_cells(const cell_batch& cells, unsigned long, std::uint32_t* codes) {
  for (std::size_t row = 0; row < cells.rows; ++row) {
    note_null(cells[row]);
    codes[row] = k_unknown;  // columns of this type store nothing
  }
  return true;
}

std::span<const std::uint32_t> o_set::kept_codes(unsigned long) const { return {}; }

void o_set::set_nthreads(unsigned long) {}

std::vector<code_t>* o_set::map_insert_to_order(unsigned long) { return nullptr; }

bool o_set::get_order(const char* text, code_t& code) const {
  code = k_unknown;
  return text == null_value() && has_null();
}

std::string o_set::get_value(code_t code) const {
  if (code != k_unknown) throw std::runtime_error(k_value_of_null_set);
  return null_value();
}

double o_set::get_value_as_double(code_t) const { throw std::runtime_error(k_value_of_null_set); }

void o_set::rescale(double) { throw std::runtime_error(k_rescale_null_set); }

bool o_set::has_same_values(const o_set& other) const { return other.type() == type(); }

o_set* o_set::clone() const {
  auto copy = std::make_unique<o_set>(type(), admits_null(), null_value());
  copy->set_has_null(has_null());
  return copy.release();
}

std::unique_ptr<number_limits> o_set::limits_at(std::span<const code_t>) const { return nullptr; }

code_t o_set::find_mid(code_t, code_t) const { throw std::runtime_error(k_mid_null_set); }

}  // namespace orvik::impls
