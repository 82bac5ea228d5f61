// A sequence of codes in few bytes: the one variable-length integer of the system.
//
// Each code is an unsigned integer of 7 bits a byte, least significant group first; every byte
// but the last has its high bit set. Codes below 128 take one byte, code 0 is the byte 0.
#pragma once

#include <cstdint>
#include <vector>

#include "impls/tables/types.h"

namespace orvik::impls {

class code_stream {
 public:
  void append(code_t code) {
    for (; code >= 128; code >>= 7) bytes_.push_back(static_cast<std::uint8_t>(code | 128));
    bytes_.push_back(static_cast<std::uint8_t>(code));
  }

  /// Number of bytes so far: where the next code will begin.
  std::size_t position() const { return bytes_.size(); }

  /// Reads the code that begins at `position` and moves there to the next one.
  code_t read(std::size_t& position) const {
    code_t code = bytes_[position] & 127;
    for (unsigned shift = 7; bytes_[position++] & 128; shift += 7) {
      code |= static_cast<code_t>(bytes_[position] & 127) << shift;
    }
    return code;
  }

  void release() { std::vector<std::uint8_t>().swap(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace orvik::impls
