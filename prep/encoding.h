// Bytes of other encodings to UTF-8, block by block: characters may be cut at the ends of blocks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvprep {

enum class encoding : unsigned char { find_out, utf8, cp1252, utf16_little, utf16_big };

/// Whether all bytes are below 0x80, in which all these encodings but UTF-16 agree.
bool is_ascii(std::string_view bytes);

/// Checks UTF-8: no overlong forms, no surrogates.
class utf8_check {
 public:
  /// Goes on behind bytes that cannot be there. @return whether there were none.
  bool feed(std::string_view bytes);
  /// Whether no character is cut at the end of what was fed.
  bool is_complete() const { return left_ == 0; }
  /// Whether some character of several bytes was whole.
  bool has_long() const { return has_long_; }

 private:
  bool start(unsigned char byte);

  unsigned left_ = 0;                             // bytes that the character lacks
  unsigned char lowest_ = 0x80, highest_ = 0xbf;  // of the next of them
  bool has_long_ = false;
};

/// The text of Windows' Western encoding, which holds Latin-1. Bytes that it leaves open are those
/// of Latin-1.
std::string from_cp1252(std::string_view bytes);

class utf16_decoder {
 public:
  explicit utf16_decoder(bool little = true) : little_(little) {}
  /// Appends the text of the bytes. @return false for half a pair of surrogates.
  bool feed(std::string_view bytes, std::string& to);
  /// Whether no character is cut at the end of what was fed.
  bool is_complete() const { return !has_byte_ && high_ == 0; }

 private:
  bool take(std::uint32_t unit, std::string& to);

  bool little_;
  bool has_byte_ = false;
  unsigned char byte_ = 0;
  std::uint32_t high_ = 0;  // the first of a pair
};

}  // namespace orvprep
