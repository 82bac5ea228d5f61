#include "csv_cell.h"

namespace orvverbs {

void append_csv(std::string& to, const std::string& cell) {
  const bool plain =
      cell.find_first_of(",\"\r\n") == cell.npos && !cell.starts_with(' ') && !cell.ends_with(' ');
  if (plain) {
    to += cell;
    return;
  }
  to += '"';
  for (const char c : cell) {
    if (c == '"') to += '"';
    to += c;
  }
  to += '"';
}

}  // namespace orvverbs
