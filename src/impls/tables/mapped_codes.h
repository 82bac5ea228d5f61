// The codes of a column as they lie in a mapped file.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "impls/tables/code_view.h"
#include "zel/inpout/file_mapping.h"
#include "zel/util/nocopy.h"

namespace orvik::impls {

/// Bytes that the codes of so many rows take.
inline unsigned long code_bytes(unsigned bits, unsigned long rows) {
  return bits == 1 ? (rows / 64 + (rows % 64 != 0)) * 8 : rows * (bits / 8);
}

/// Codes that are looked through once, when they are first asked for: from then on they are
/// trusted. Columns that nobody asks for cost nothing. Threads: many.
class mapped_codes : private zel::util::nocopy {
 public:
  /// What the value set of the column and the file say of the codes.
  struct promise {
    std::string column;     ///< for messages: its name and that of the file
    unsigned long highest;  ///< of all codes
    bool has_unknown;       ///< some are 0
    std::uint64_t sum;      ///< zel::util::byte_sum of their bytes
  };

  /// `view` lies in `file`, which stays mapped as long as the codes live.
  mapped_codes(std::shared_ptr<const zel::inpout::file_mapping> file, const code_view& view,
               unsigned long rows, promise promised)
      : file_(std::move(file)), view_(view), rows_(rows), promised_(std::move(promised)) {}

  unsigned long size() const { return rows_; }
  unsigned bits() const { return view_.bits; }
  const code_view& unchecked() const { return view_; }
  bool is_checked() const { return checked_.load(std::memory_order_acquire); }
  void release_pages() const;
  /// Throws std::runtime_error, every time, for codes that are not what was promised. The first
  /// call is O(rows).
  const code_view& checked() const {
    if (!is_checked()) check();
    return view_;
  }

 private:
  void check() const;
  std::string_view bytes() const {
    return {static_cast<const char*>(view_.data), code_bytes(view_.bits, rows_)};
  }

  std::shared_ptr<const zel::inpout::file_mapping> file_;
  code_view view_;
  unsigned long rows_;
  promise promised_;
  mutable std::mutex lock_;  // held by the one thread that looks
  mutable std::atomic<bool> checked_ = false;
};

}  // namespace orvik::impls
