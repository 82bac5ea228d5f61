// Tables from two texts: metadata and data.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "impls/tables/table.h"
#include "zel/inpout/iomem.h"
#include "zel/inpout/stream.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

/// A connection over `text` whose reads give at most `most` bytes: a stream over it takes about
/// one line a block, and the loader's workers meet at it again and again.
class dripping_text : public zel::inpout::iomem {
 public:
  dripping_text(std::string_view text, long most) : most_(most) {
    open(text.size() + 1);
    zel::inpout::iomem::write(text.data(), static_cast<long>(text.size()));
    zel::inpout::iomem::lseek(0, SEEK_SET);
  }

  long read(void* bytes, long count) override {
    if (most_ != k_all && reads_++ % 8 == 0 && at_line_start()) hand_over();
    return zel::inpout::iomem::read(bytes, std::min(count, most_));
  }

  static constexpr long k_all = 1L << 30;

 private:
  bool at_line_start() {
    const auto at = static_cast<unsigned long>(tell());
    return at == 0 || this->bytes()[at - 1] == '\n';
  }

  /// Lets another reader have the next block. The readers hold the mutex; between two lines they
  /// may do without it.
  void hand_over() {
    mutex().unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(20));
    mutex().lock();
  }

  long most_;
  unsigned long reads_ = 0;
};

/// While it lives, loops may use `n` threads.
class loop_threads {
 public:
  explicit loop_threads(unsigned long n) : before_(zel::util::parallel::n_workers) {
    zel::util::parallel::n_workers = n;
  }
  ~loop_threads() { zel::util::parallel::n_workers = before_; }
  loop_threads(const loop_threads&) = delete;
  loop_threads& operator=(const loop_threads&) = delete;

 private:
  unsigned long before_;
};

/// Reads the rows of `data` into `t` on `workers` threads, `most` bytes a read, into buffers of
/// `sizes` at first.
inline void load_rows(table& t, std::string_view data, unsigned long workers = 1,
                      char separator = ',', long most = dripping_text::k_all,
                      zel::inpout::stream::limits sizes = {}) {
  const loop_threads threads(workers);
  dripping_text text(data, most);
  zel::inpout::stream in(&text, separator, /*owns=*/false, sizes);
  t.load_data(&in, workers, nullptr);
}

/// A table "t" with the columns of `names` and no rows; "?" is the unknown value.
inline std::unique_ptr<table> make_schema(std::string_view names, char separator = ',',
                                          const std::string& missing_value = "?") {
  dripping_text text(names, dripping_text::k_all);
  zel::inpout::stream in(&text, separator, /*owns=*/false, {.capacity = names.size()});
  auto made = std::make_unique<table>("t");
  made->load_meta_data(&in, missing_value);
  return made;
}

/// A table "t" of the columns of `names` and the rows of `data`; "?" is the unknown value.
/// Throws what the loading throws.
inline std::unique_ptr<table> make_table(std::string_view names, std::string_view data,
                                         unsigned long workers = 1, char separator = ',') {
  auto made = make_schema(names, separator);
  load_rows(*made, data, workers, separator);
  return made;
}

/// A row's code of every attribute.
inline std::vector<code_t> codes_of(const table& t, row_t row) {
  std::vector<code_t> codes;
  for (unsigned long a = 0; a < t.n_attributes(); ++a)
    codes.push_back(t.column_of(a).get_row_index(row));
  return codes;
}

}  // namespace orvik::impls
