// Splits a text at a one-character separator, in place.
#pragma once

#include <memory>

#include "zel/util/nocopy.h"

namespace zel::util {

/// Hands out the tokens of a text one by one as NUL-terminated texts inside it.
/// The text ends at its first NUL. A text of n separators has n + 1 tokens; past the last one
/// every further token is empty.
class tokenizer : public nocopy {
 public:
  /// Over an empty text, separator tab, not trimming.
  tokenizer() = default;
  virtual ~tokenizer() = default;

  /// Starts on `text`; a null one is taken as empty. In place, the text is written into and must
  /// outlive the tokens; otherwise it is copied. Does not change trim().
  void tokenizing(const char* text, char separator, bool in_place);

  /// The next token, valid as long as the text. Trimming drops the blanks (spaces only) around it.
  char* next();
  /// True when next() would give a token of the text: at the start, and after a token that a
  /// separator ended. Lets callers count "a," as two tokens and "a" as one.
  [[nodiscard]] bool more() const { return more_; }

  [[nodiscard]] bool trim() const { return trim_; }
  void set_trim(bool trim) { trim_ = trim; }
  [[nodiscard]] char separator() const { return separator_; }

 private:
  char empty_ = '\0';  // the text of those that have none
  char* text_ = &empty_;
  char* cursor_ = &empty_;
  char separator_ = '\t';
  bool trim_ = false;
  bool more_ = true;
  std::unique_ptr<char[]> owned_;  // holds text_ when it was copied
};

inline char* tokenizer::next() {
  if (trim_) {
    while (*cursor_ == ' ') ++cursor_;
  }
  char* const token = cursor_;
  char* end = token;
  while (*end != separator_ && *end != '\0') ++end;
  more_ = *end != '\0';
  cursor_ = more_ ? end + 1 : end;
  if (trim_) {
    while (end != token && end[-1] == ' ') --end;
  }
  *end = '\0';
  return token;
}

}  // namespace zel::util
