#include <zlib.h>

#include <cassert>
#include <new>

#include "zel/inpout/gzip_part.h"

namespace zel::inpout {

gzip_part pack_gzip_part(std::span<const unsigned char> bytes, bool last) {
  constexpr int k_no_wrapper = -15, k_most_memory = 9, k_fastest = 1;
  const auto size = static_cast<uInt>(bytes.size());
  z_stream stream{};
  if (deflateInit2(&stream, k_fastest, Z_DEFLATED, k_no_wrapper, k_most_memory,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  constexpr std::size_t k_flush = 16;  // bytes that the end of a part may take
  gzip_part part{std::vector<unsigned char>(deflateBound(&stream, size) + k_flush),
                 static_cast<std::uint32_t>(crc32(0, bytes.data(), size))};
  stream.next_in = const_cast<unsigned char*>(bytes.data());  // only read
  stream.avail_in = size;
  stream.next_out = part.packed.data();
  stream.avail_out = static_cast<uInt>(part.packed.size());
  deflate(&stream, last ? Z_FINISH : Z_FULL_FLUSH);
  assert(stream.avail_in == 0);
  part.packed.resize(stream.total_out);
  deflateEnd(&stream);
  return part;
}

}  // namespace zel::inpout
