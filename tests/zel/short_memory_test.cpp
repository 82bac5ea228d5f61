// What is owned and what is kept for later use, after an allocation failed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <string>

#include "zel/adt/key_sort.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iomem.h"

namespace {

std::size_t allocations_left = SIZE_MAX;

}  // namespace

void* operator new(std::size_t n) {
  if (allocations_left == 0) throw std::bad_alloc();
  if (allocations_left != SIZE_MAX) --allocations_left;
  if (void* memory = std::malloc(n)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return std::malloc(n); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace zel {
namespace {

/// Calls f() with room for 0, 1, 2, ... allocations, until it has enough; after each that had not,
/// look().
template <class F, class Look>
void with_ever_more_memory(const F& f, const Look& look) {
  for (std::size_t enough = 0;; ++enough) {
    allocations_left = enough;
    try {
      f();
      allocations_left = SIZE_MAX;
      return;
    } catch (const std::bad_alloc&) {
      allocations_left = SIZE_MAX;
      look();
    }
  }
}

// A sorter is kept by its thread, which lives on after an error.
TEST(short_memory, sorter_sorts_again) {
  for (const std::size_t n : {900, 9000}) {
    adt::key_sorter sorter;
    const auto look = [&] {
      const std::span<std::uint64_t> keys = sorter.start(n);
      for (std::size_t i = 0; i < n; ++i) keys[i] = (n - i) << adt::k_key_payload_bits;
      EXPECT_TRUE(std::ranges::is_sorted(sorter.sort(n, n + 1)));
      EXPECT_EQ(keys.size(), n);
    };
    with_ever_more_memory([&] { sorter.start(n); }, look);
    look();
  }
}

TEST(short_memory, buffer_takes_its_connection_or_leaves_it) {
  auto inner = std::make_unique<inpout::iomem>();
  inner->set_name("a name that does not lie in the string itself");
  inpout::iobuf buffer;
  std::size_t failures = 0;
  with_ever_more_memory(
      [&] {
        buffer.open(inner.get(), /*owns=*/true, 5000);
        static_cast<void>(inner.release());
      },
      [&] {
        ++failures;
        EXPECT_FALSE(buffer.is_open());
      });
  EXPECT_GE(failures, 1U);  // the name, and the buffer, where arrays come from the same place
  EXPECT_TRUE(buffer.name().starts_with("a name"));
}

}  // namespace
}  // namespace zel
