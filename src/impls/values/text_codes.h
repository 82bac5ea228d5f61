// Dictionary from texts to dense codes 1, 2, 3, ... in order of first appearance.
//
// Open addressing with linear probing over 16-byte slots, at most half full. A text of up to
// eight bytes is its own key: packed into 64 bits it is compared without touching memory
// elsewhere. Longer texts are compared by a 64-bit hash first, then byte by byte in the arena
// that holds them. The hash is keyed with a secret of the process, so that no input file can
// choose its collisions; codes do not depend on it.
// Threads: many readers or one writer.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "zel/text/hash.h"
#include "zel/text/text_word.h"

namespace orvik::impls {

class text_codes {
 public:
  using code = std::uint32_t;

  /// Number of different texts; their codes are 1 .. size().
  code size() const { return static_cast<code>(entries_.size()); }

  /// @return the code of `text`, 0 when it was never inserted.
  code find(std::string_view text) const;

  /// The same for a text of up to eight bytes, given as its word.
  code find_word(std::uint64_t word, std::size_t length) const {
    if (slots_.empty()) return 0;
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = spread(word, length) & mask;; i = (i + 1) & mask) {
      const slot& s = slots_[i];
      if (s.value == 0 || (s.key == word && s.length == length)) return s.value;
    }
  }

  /// @return the code of `text`, size() + 1 before the call when it is new.
  /// Throws std::runtime_error at 4294967295 different texts, or for a text of 4 GiB.
  code insert(std::string_view text);

  /// The text of code `c` (1 .. size()).
  /// A short text is unpacked into `room`, which must outlive the view.
  std::string_view text(code c, char (&room)[8]) const;

 private:
  static constexpr std::size_t k_inline = zel::text::k_word_text;

  struct slot {
    std::uint64_t key = 0;
    std::uint32_t length = 0;
    code value = 0;  // 0 marks a free slot
  };
  struct entry {
    std::uint64_t key_or_offset;
    std::uint32_t length;
  };

  static std::uint64_t key_of(std::string_view text);
  std::uint64_t spread(std::uint64_t key, std::size_t length) const {
    return zel::text::hash_mix(key ^ secret_.a, secret_.b ^ length);
  }

  bool holds(const slot& s, std::uint64_t key, std::string_view text) const;
  std::size_t probe(std::uint64_t key, std::string_view text) const;
  void grow();

  zel::text::hash_secret secret_ = zel::text::process_secret();
  std::vector<slot> slots_;
  std::vector<entry> entries_;
  std::vector<char> arena_;  // the texts longer than k_inline, back to back
};

}  // namespace orvik::impls
