// What this version parses but cannot do. A feature that arrives deletes its row.

#include <algorithm>
#include <stdexcept>
#include <string>

#include "options.h"

namespace orvcmd {

namespace {

namespace model = orvik::model;

struct unavailable_row {
  const char* name;
  bool (*asked_for)(const options&);
};

template <auto Member>
bool is_set(const options& opt) {
  return opt.*Member;
}

template <auto Member, auto Value>
bool is(const options& opt) {
  return opt.*Member == Value;
}

constexpr unavailable_row k_unavailable[] = {
    {"-as2018", is_set<&options::as2018>},
};

}  // namespace

void refuse_unavailable(const options& opt) {
  const auto row = std::ranges::find_if(
      k_unavailable, [&](const unavailable_row& each) { return each.asked_for(opt); });
  if (row == std::end(k_unavailable)) return;
  throw std::runtime_error("Option " + std::string(row->name) +
                           " is not available in this version");
}

}  // namespace orvcmd
