// Data rows: on one worker and on three, in one piece and line by line, the same text gives the
// same codes or the same message.
// Input: a byte that picks the schema, then the rows.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "impls/support/table_text.h"
#include "require.h"

using namespace orvik::impls;
using orvik::fuzz::error_of;
using orvik::fuzz::gets_slow_checks;
using orvik::fuzz::require;

namespace {

struct schema {
  const char* names;
  char separator;
};
/// Small buffers: an input a load would spend its time on those of the program.
constexpr zel::inpout::stream::limits k_sizes{.capacity = 256};

constexpr schema k_schemas[] = {
    {"c,string,class\n", ','},
    {"a,integer,continuous\nb,string,discrete\nc,string,class\n", ','},
    {"a,double,continuous\nw,,weights\nc,ostring:x;y,class\n", ','},
    {"a;float;continuous\nn;null;ignore\nc;uinteger;class\n", ';'},
    {"a\tlong double\tcontinuous\nc\tstring\tclass\n", '\t'},
    {"a ostring:q;r discrete\nb string ignore\nc string class\n", ' '},
};

void check(const column& c, unsigned long rows) {
  const o_set& values = *c.values();
  const unsigned long known = values.size_of_known();
  for (code_t code = 2; values.is_numeric() && code <= known; ++code) {
    require(values.get_value_as_double(code - 1) <= values.get_value_as_double(code), "ascending");
  }
  for (row_t row = 0; row < c.size(); ++row) {
    require(c.get_row_index(row) <= known, "codes of values");
    require(c.get_row_index(row) != k_unknown || values.has_null(), "unknown values are noted");
  }
  require(c.size() == rows || c.codes().bits == 0, "a code a row");
}

void require_same(const column& a, const column& b) {
  require(a.size() == b.size() && a.codes().bits == b.codes().bits, "one shape");
  require(a.values()->size_of_known() == b.values()->size_of_known(), "as many values");
  for (code_t code = 0; code <= a.values()->size_of_known(); ++code) {
    require(a.values()->get_value(code) == b.values()->get_value(code), "the same values");
  }
  for (row_t row = 0; row < a.size(); ++row) {
    require(a.get_row_index(row) == b.get_row_index(row), "the same codes");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const schema& k = k_schemas[data[0] % std::size(k_schemas)];
  const std::string_view rows(reinterpret_cast<const char*>(data) + 1, size - 1);
  const auto serial = make_schema(k.names, k.separator);
  const auto load = [&](table& t, unsigned long workers, long most) {
    return error_of([&] { load_rows(t, rows, workers, k.separator, most, k_sizes); });
  };
  const std::string error = load(*serial, 1, dripping_text::k_all);
  for (unsigned long i = 0; error.empty() && i < serial->n_columns(); ++i) {
    check(serial->get_column(i), serial->n_rows());
  }
  if (!gets_slow_checks(rows)) return 0;

  const auto parallel = make_schema(k.names, k.separator);
  require(error == load(*parallel, 3, 5), "one outcome");
  for (unsigned long i = 0; error.empty() && i < serial->n_columns(); ++i) {
    require_same(serial->get_column(i), parallel->get_column(i));
  }
  return 0;
}
