// Metadata: any text loads or is refused with a message, in one piece as in many.
// Input: the separator, then the text.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "impls/support/table_text.h"
#include "require.h"

using namespace orvik::impls;
using orvik::fuzz::error_of;
using orvik::fuzz::gets_slow_checks;
using orvik::fuzz::require;

namespace {

void load(table& t, std::string_view text, char separator, long most) {
  dripping_text connection(text, most);
  zel::inpout::stream in(&connection, separator, /*owns=*/false, {4096});
  t.load_meta_data(&in, "?");
}

void check(const table& t) {
  unsigned long attributes = 0;
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    const column& c = t.get_column(i);
    const bool special = i == t.class_index() || i == t.weights_index();
    require(special == (c.type() == column::CLASS || c.type() == column::WEIGHTS), "roles");
    if (!special) require(t.column_index_of(attributes++) == i, "attributes in order");
    require(!special || !c.values()->admits_null(), "class and weights are known");
    require(c.size() == 0, "no rows yet");
  }
  require(attributes == t.n_attributes(), "every attribute counted");
  require(t.class_index() < t.n_columns(), "one class");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const char separator = static_cast<char>(data[0]);
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  table whole("whole"), dripped("dripped");
  const std::string error = error_of([&] { load(whole, text, separator, dripping_text::k_all); });
  if (gets_slow_checks(text)) {
    require(error == error_of([&] { load(dripped, text, separator, 3); }), "one outcome");
    require(whole.n_columns() == dripped.n_columns(), "one schema");
  }
  require(error.empty() || whole.n_columns() == 0, "a refused schema leaves nothing");
  if (error.empty()) check(whole);
  return 0;
}
