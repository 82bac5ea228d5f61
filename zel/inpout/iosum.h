// Connection that keeps no more than a sum of what is written to it.
#pragma once

#include <cstdint>
#include <string_view>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// The sum goes on from `sum` with these bytes (FNV-1a: Fowler, Noll and Vo).
inline std::uint64_t fnv_sum(std::string_view bytes,
                             std::uint64_t sum = 14'695'981'039'346'656'037U) {
  for (const char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 1'099'511'628'211U;
  return sum;
}

class iosum : public ioconn {
 public:
  std::uint64_t sum() const { return sum_; }

  void close() override {}
  [[nodiscard]] bool is_open() const override { return true; }
  [[nodiscard]] int get_mode() const override { return mode_write; }
  long write(const void* bytes, long count) override {
    const auto n = static_cast<std::size_t>(count > 0 ? count : 0);
    sum_ = fnv_sum({static_cast<const char*>(bytes), n}, sum_);
    return count;
  }
  long read(void*, long) override { return -1; }

 private:
  std::uint64_t sum_ = fnv_sum("");
};

}  // namespace zel::inpout
