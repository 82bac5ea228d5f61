// Numbers and small tables drawn from the bytes of an input.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "impls/support/table_text.h"

namespace orvik::fuzz {

/// The bytes one after the other; behind the last one zeros.
class drawn {
 public:
  explicit drawn(std::string_view bytes) : bytes_(bytes) {}

  bool done() const { return bytes_.empty(); }
  unsigned long below(unsigned long n) { return next() % n; }
  bool flag() { return next() & 1; }
  /// What was not drawn.
  std::string_view rest() const { return bytes_; }

 private:
  std::uint8_t next() {
    if (bytes_.empty()) return 0;
    const auto byte = static_cast<std::uint8_t>(bytes_.front());
    bytes_.remove_prefix(1);
    return byte;
  }

  std::string_view bytes_;
};

/// Texts of a table of 1 to 6 attributes of any kind, perhaps weights, and a class.
struct drawn_table {
  std::string names, rows;

  /// Rows until the bytes are used up, at least two, at most `most`.
  explicit drawn_table(drawn& from, unsigned long most = 120) {
    const unsigned long n_attributes = 1 + from.below(6), n_classes = 2 + from.below(4);
    const bool weighted = from.flag();
    unsigned long n_values[6];
    bool numbers[6];
    for (unsigned long a = 0; a < n_attributes; ++a) {
      n_values[a] = 1 + from.below(a % 2 == 0 ? 5 : 200);
      numbers[a] = from.flag();
      names += std::string(1, static_cast<char>('a' + a)) +
               (numbers[a] ? ",integer,continuous\n" : ",string,discrete\n");
    }
    names += "k,string,class\n";
    if (weighted) names += "w,double,weights\n";
    for (unsigned long row = 0; row < 2 || (row < most && !from.done()); ++row) {
      for (unsigned long a = 0; a < n_attributes; ++a) {
        const unsigned long value = from.below(n_values[a] + 1);  // 0: unknown
        rows += (value == 0 ? "?" : std::to_string(value)) + ",";
      }
      rows += "c" + std::to_string(row < 2 ? row : from.below(n_classes));
      if (weighted) rows += "," + std::to_string(0.25 + static_cast<double>(from.below(17)) * 0.3);
      rows += '\n';
    }
  }

  std::unique_ptr<impls::table> load() const { return impls::make_table(names, rows); }
};

}  // namespace orvik::fuzz
