// Value sets: every text is taken as the platform's own conversion takes it or refused, and gets
// one code whatever the dictionary it came through.
// Input: a byte that picks the type, then texts, one a line.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "impls/values/o_set.h"
#include "require.h"
#include "zel/text/decimal.h"

using namespace orvik::impls;
using orvik::fuzz::error_of;
using orvik::fuzz::require;

namespace {

constexpr const char* k_types[] = {"integer",     "uinteger", "float",         "double",
                                   "long double", "string",   "ostring:x;y;;z"};

template <class T>
void compare(const std::string& text, T (*convert)(const char*, char**)) {
  const std::optional<T> parsed = zel::text::parse_decimal<T>(text);
  char* end;
  const T converted = convert(text.c_str(), &end);
  // The platform also takes leading space, hexadecimal forms and names of values.
  const bool decimal = !text.empty() && *end == '\0' && std::isfinite(converted) &&
                       text.find_first_of(" \t\v\f\r\nxX") == std::string::npos;
  require(parsed.has_value() == decimal, "decimal notation is what is taken");
  if (!parsed) return;
  require(*parsed == converted, "the nearest value");
  require(*parsed != 0 || !std::signbit(*parsed), "one zero");
}

/// The lines of the input, each up to its first NUL.
std::vector<std::string> lines_of(std::string_view bytes) {
  std::vector<std::string> lines;
  while (!bytes.empty()) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    lines.emplace_back(std::string(bytes.substr(0, end)).c_str());
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
  return lines;
}

/// What became of a text.
struct taken {
  std::string text;
  code_t local;
  unsigned long thread;
};

void check_codes(o_set& set, const std::vector<taken>& cells) {
  set.freeze();
  std::unique_ptr<std::vector<code_t>> finals[2];
  for (unsigned long thread : {0, 1}) finals[thread].reset(set.map_insert_to_order(thread));
  for (const taken& cell : cells) {
    code_t code;
    const bool held = set.get_order(cell.text.c_str(), code);
    require(held, "a text that was taken is held");
    require((finals[cell.thread] ? finals[cell.thread]->at(cell.local) : cell.local) == code,
            "one code a value");
  }
}

void check_middles(const o_set& set) {
  const code_t known = set.size_of_known();
  for (code_t code = 2; code <= known; ++code) {
    require(set.find_mid(code - 1, code) == code - 1, "a cut between neighbours");
    const code_t mid = set.find_mid(1, code);
    require(mid >= 1 && mid < code, "a cut parts the values");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const char* const type = k_types[data[0] % std::size(k_types)];
  const std::unique_ptr<o_set> set(o_set::NEW_O_SET(type, /*admits_null=*/true, "?"));
  const std::unique_ptr<o_set> shared(o_set::NEW_O_SET(type, /*admits_null=*/true, "?"));
  set->set_nthreads(2);
  std::vector<taken> cells;
  for (const auto& text : lines_of({reinterpret_cast<const char*>(data) + 1, size - 1})) {
    compare<float>(text, std::strtof);
    compare<double>(text, std::strtod);
    compare<long double>(text, std::strtold);
    taken cell{text, k_no_code, cells.size() % 2};
    const std::string error =
        error_of([&] { cell.local = set->insert(text.c_str(), cell.thread); });
    require(error == error_of([&] { shared->insert(text.c_str()); }), "one outcome");
    if (error.empty()) cells.push_back(cell);
  }
  check_codes(*set, cells);
  shared->freeze();
  require(shared->size_of_known() == set->size_of_known(), "as many values");
  for (code_t code = 0; code <= set->size_of_known(); ++code) {
    require(shared->get_value(code) == set->get_value(code), "the same values");
  }
  if (set->is_numeric() || set->is_ordered()) check_middles(*set);
  return 0;
}
