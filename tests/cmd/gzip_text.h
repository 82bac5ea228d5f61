/// Gzip content for test files, made in memory.
#pragma once

#include <zlib.h>

#include <string>

inline std::string gzip_text(std::string text) {
  constexpr int gzip_window = MAX_WBITS + 16;
  z_stream z{};
  deflateInit2(&z, Z_BEST_SPEED, Z_DEFLATED, gzip_window, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&z, text.size()), '\0');
  z.next_in = reinterpret_cast<Bytef*>(text.data());
  z.avail_in = static_cast<uInt>(text.size());
  z.next_out = reinterpret_cast<Bytef*>(packed.data());
  z.avail_out = static_cast<uInt>(packed.size());
  deflate(&z, Z_FINISH);
  packed.resize(z.total_out);
  deflateEnd(&z);
  return packed;
}
