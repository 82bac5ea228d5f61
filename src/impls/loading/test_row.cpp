// One row of text to classify.
#include <algorithm>

#include "impls/tables/table.h"
#include "zel/text/decimal.h"

namespace orvik::impls {

bool table::load_test_row(zel::inpout::stream* in, std::vector<std::string>& row,
                          double& weight) const {
  weight = 1.0;
  row.clear();
  if (!in->read_line()) return false;
  std::string class_text;
  for (unsigned long i = 0; i < columns_.size(); ++i) {
    const char* const text = in->tokens().next();
    if (i == class_index_) {
      class_text = text;
    } else if (i == weights_index_) {
      const bool is_there = *text != '\0' || in->tokens().more();
      if (is_there) weight = zel::text::leading_number(text);
    } else {
      row.push_back(text);
    }
  }
  row.push_back(class_text);
  return true;
}

}  // namespace orvik::impls
