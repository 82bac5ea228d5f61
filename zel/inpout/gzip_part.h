// Parts of a gzip member: each is packed by itself, so that several can be side by side.
//
// Two sources implement it: by the library ISA-L, which packs several times as fast as zlib, and by
// zlib for machines that ISA-L is not made for. The build takes one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zel::inpout {

/// Packed bytes and the CRC-32 of those they stand for.
struct gzip_part {
  std::vector<unsigned char> packed;
  std::uint32_t crc;
};

/// Packs `bytes` fast. What comes out ends at a whole byte and refers to nothing before it; only
/// the `last` part of a member says that the member ends.
gzip_part pack_gzip_part(std::span<const unsigned char> bytes, bool last);

}  // namespace zel::inpout
