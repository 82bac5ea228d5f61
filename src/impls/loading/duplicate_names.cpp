#include "impls/loading/duplicate_names.h"

#include <map>
#include <string_view>
#include <vector>

#include "zel/text/message.h"

namespace orvik::impls {

namespace {

/// "3 and 7", "3, 7 and 9".
std::string enumerated(const std::vector<unsigned long>& numbers) {
  std::string text = std::to_string(numbers.front());
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    text += (i + 1 < numbers.size() ? ", " : " and ") + std::to_string(numbers[i]);
  }
  return text;
}

}  // namespace

void report_duplicate_names(const table& t, std::ostream& log) {
  std::map<std::string_view, std::vector<unsigned long>> lines_of;
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    lines_of[t.get_column(i).name()].push_back(i + 1);
  }
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    const std::string& name = t.get_column(i).name();
    const std::vector<unsigned long>& lines = lines_of[name];
    if (lines.size() < 2 || lines.front() != i + 1) continue;
    log << "\n + duplicate column name '" << zel::text::quoted(name) << "' (lines "
        << enumerated(lines) << ")";
  }
}

}  // namespace orvik::impls
