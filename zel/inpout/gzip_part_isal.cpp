#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

#include <cassert>
#include <memory>

#include "zel/inpout/gzip_part.h"

namespace zel::inpout {

namespace {

/// What packing at level 1 needs: too much for a stack, and much to clear.
struct packing_memory {
  isal_zstream stream;
  unsigned char level[ISAL_DEF_LVL1_DEFAULT];
};

}  // namespace

gzip_part pack_gzip_part(std::span<const unsigned char> bytes, bool last) {
  thread_local const auto memory = std::make_unique_for_overwrite<packing_memory>();
  constexpr std::uint32_t k_step = 1U << 16;
  isal_zstream& stream = memory->stream;
  isal_deflate_init(&stream);
  stream.level = 1;
  stream.level_buf = memory->level;
  stream.level_buf_size = sizeof memory->level;
  stream.flush = FULL_FLUSH;
  stream.end_of_stream = last ? 1 : 0;
  stream.next_in = const_cast<unsigned char*>(bytes.data());  // only read
  stream.avail_in = static_cast<std::uint32_t>(bytes.size());
  gzip_part part{{}, crc32_gzip_refl(0, bytes.data(), bytes.size())};
  do {
    const std::size_t made = part.packed.size();
    part.packed.resize(made + k_step);
    stream.next_out = part.packed.data() + made;
    stream.avail_out = k_step;
    [[maybe_unused]] const int code = isal_deflate(&stream);
    assert(code == COMP_OK);
    const std::uint32_t n_packed = k_step - stream.avail_out;
    part.packed.resize(made + n_packed);
  } while (stream.avail_out == 0);
  return part;
}

}  // namespace zel::inpout
