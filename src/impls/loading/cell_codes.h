// What one worker has read of one column: the local codes of its cells in few bytes.
//
// Chunks of codes of one width, or of cells that the value set keeps as numbers until their codes
// are known. A chunk never reaches beyond a block of text.
#pragma once

#include <cassert>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/values/growing_array.h"

namespace orvik::impls {

class cell_codes {
 public:
  using code = std::uint32_t;

  struct chunk {
    unsigned width = 1;  // bytes a code; 0: the cells are kept as numbers
    std::size_t cells = 0;
    std::size_t begin = 0;  // in bytes, or of the kept cells of the column
  };

  void append(std::span<const code> codes) {
    code all = 0;
    for (const code c : codes) all |= c;
    const unsigned width = all < (1U << 8) ? 1 : all < (1U << 16) ? 2 : 4;
    if (!open_ || chunks_.back().width == 0) begin(width);
    if (chunks_.back().width < width) widen(width);
    chunk& last = chunks_.back();
    assert(last.begin % sizeof(code) == 0);
    write(codes, bytes_.extend(codes.size() * last.width), last.width);
    last.cells += codes.size();
  }

  /// Notes `n` cells that the value set keeps as numbers.
  void append_kept(std::size_t n) {
    if (!open_ || chunks_.back().width != 0) begin(0);
    chunks_.back().cells += n;
    kept_ += n;
  }

  /// Ends the current chunk, at the end of a block. @return the number of chunks so far.
  std::size_t end_chunk() {
    open_ = false;
    return chunks_.size();
  }

  std::size_t n_chunks() const { return chunks_.size(); }
  const chunk& at(std::size_t i) const { return chunks_[i]; }
  /// The codes of a chunk of this width.
  template <class Code>
  const Code* codes(const chunk& c) const {
    assert(c.width == sizeof(Code) && c.begin + c.cells * c.width <= bytes_.size());
    return reinterpret_cast<const Code*>(bytes_.data() + c.begin);
  }
  /// Number of cells that the value set keeps.
  std::size_t kept() const { return kept_; }

  void release() {
    std::vector<chunk>().swap(chunks_);
    bytes_.release();
  }

 private:
  void begin(unsigned width) {
    bytes_.extend(-bytes_.size() % sizeof(code));  // codes lie where their type may
    chunks_.push_back({width, 0, width == 0 ? kept_ : bytes_.size()});
    open_ = true;
  }

  template <class Code>
  static void write_as(std::span<const code> codes, std::uint8_t* to) {
    auto* out = reinterpret_cast<Code*>(to);
    for (std::size_t i = 0; i < codes.size(); ++i) out[i] = static_cast<Code>(codes[i]);
  }

  static void write(std::span<const code> codes, std::uint8_t* to, unsigned width) {
    if (width == 1) return write_as<std::uint8_t>(codes, to);
    if (width == 2) return write_as<std::uint16_t>(codes, to);
    write_as<std::uint32_t>(codes, to);
  }

  void widen(unsigned width) {
    chunk& last = chunks_.back();
    assert(last.width > 0 && last.width < width);
    assert(last.begin + last.cells * last.width == bytes_.size());
    std::vector<code> all(last.cells);
    for (std::size_t i = 0; i < last.cells; ++i) {
      all[i] = last.width == 1 ? codes<std::uint8_t>(last)[i] : codes<std::uint16_t>(last)[i];
    }
    bytes_.extend(last.cells * (width - last.width));
    last.width = width;
    write(all, bytes_.data() + last.begin, width);
  }

  std::vector<chunk> chunks_;
  growing_array<std::uint8_t> bytes_;
  std::size_t kept_ = 0;
  bool open_ = false;
};

}  // namespace orvik::impls
