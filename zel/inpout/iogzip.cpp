#include "zel/inpout/iogzip.h"

#include <tbb/task_arena.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <exception>
#include <span>
#include <vector>

#include "zel/inpout/gzip_part.h"
#include "zel/util/blocks.h"
#include "zel/util/parallel.h"

namespace zel::inpout {

namespace {

constexpr std::size_t k_part = 1U << 18;  // each part begins without what was before it
constexpr std::size_t k_most_parts = 16;  // at a time
constexpr std::size_t k_buffer = k_part * k_most_parts;
constexpr int k_permissions = 0666;  // less the process's mask

/// Magic bytes, deflate, no flags, no time, packed fast, on Unix.
constexpr std::array<unsigned char, 10> k_header = {0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 4, 3};

std::array<unsigned char, 4> little_endian(unsigned long number) {
  const auto byte = [number](unsigned shift) {
    return static_cast<unsigned char>(number >> shift);
  };
  return {byte(0), byte(8), byte(16), byte(24)};
}

std::vector<gzip_part> pack_parts(std::span<const unsigned char> bytes, bool last,
                                  unsigned long workers) {
  const util::blocks blocks(bytes.size(), k_part);
  const std::size_t n = std::max<std::size_t>(blocks.count(), 1);
  std::vector<gzip_part> parts(n);
  const auto pack_part = [&](std::size_t i) {
    const auto [first, size] = blocks[i];
    parts[i] = pack_gzip_part(bytes.subspan(first, size), last && i + 1 == n);
  };
  if (workers < 2 || n < 2) {
    for (std::size_t i = 0; i < n; ++i) pack_part(i);
    return parts;
  }
  const util::parallel::thread_share share(std::min(workers, n));
  tbb::task_arena arena(static_cast<int>(std::min(workers, n)));
  arena.execute([&] { util::parallel::pfor(0, n, pack_part); });
  return parts;
}

}  // namespace

iogzip::~iogzip() { iogzip::close(); }

bool iogzip::open(const std::string& name) {
  close();
  forget_failures();
  held_ = 0;
  packed_ = 0;
  crc_ = 0;
  if (!file_.open(name, mode_write | mode_create | mode_truncate, k_permissions)) return false;
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<unsigned char[]>(k_buffer);
  put(k_header.data(), k_header.size());
  return true;
}

void iogzip::close() {
  if (!is_open()) return;
  pack(/*last=*/true);
  put(little_endian(crc_).data(), 4);
  put(little_endian(packed_).data(), 4);
  file_.close();
  if (file_.failed() && !failed()) set_failed(file_.error());
}

long iogzip::write(const void* bytes, long count) {
  const auto* from = static_cast<const unsigned char*>(bytes);
  auto left = static_cast<std::size_t>(std::max(count, 0L));
  while (left > 0 && !failed()) {
    const std::size_t some = std::min(left, k_buffer - held_);
    std::memcpy(buffer_.get() + held_, from, some);
    held_ += some;
    from += some;
    left -= some;
    if (held_ == k_buffer) pack(/*last=*/false);
  }
  return count - static_cast<long>(left);
}

/// What goes wrong shows in failed(): a destructor may be who closes.
void iogzip::pack(bool last) noexcept {
  try {
    const std::span<const unsigned char> bytes(buffer_.get(), held_);
    const std::vector<gzip_part> parts = pack_parts(bytes, last, workers_);
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const std::size_t size = util::blocks(held_, k_part)[i].size;
      crc_ = crc32_combine(crc_, parts[i].crc, static_cast<z_off_t>(size));
      put(parts[i].packed.data(), parts[i].packed.size());
    }
  } catch (const std::exception& failure) {
    set_failed(failure.what());
  }
  packed_ += held_;
  held_ = 0;
}

void iogzip::put(const void* bytes, std::size_t count) {
  const auto* from = static_cast<const char*>(bytes);
  while (count > 0 && !failed()) {
    const long some = file_.write(from, static_cast<long>(count));
    if (some < 1) return set_failed(file_.error());
    from += some;
    count -= static_cast<std::size_t>(some);
  }
}

}  // namespace zel::inpout
