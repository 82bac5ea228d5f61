// Splits a text at a one-character separator; the hot part is inline in the header.
#include "zel/inpout/tokenizer.h"

#include <cstring>
#include <utility>

namespace zel::util {

void tokenizer::tokenizing(const char* text, char separator, bool in_place) {
  std::unique_ptr<char[]> copy;
  if (text == nullptr) {
    empty_ = '\0';
    text_ = &empty_;
  } else if (in_place) {
    text_ = const_cast<char*>(text);  // the caller lends it for writing
  } else {
    const std::size_t bytes = std::strlen(text) + 1;
    copy = std::make_unique_for_overwrite<char[]>(bytes);
    std::memcpy(copy.get(), text, bytes);
    text_ = copy.get();
  }
  owned_ = std::move(copy);  // last: `text` may lie in the old copy
  cursor_ = text_;
  separator_ = separator;
  more_ = true;
}

}  // namespace zel::util
