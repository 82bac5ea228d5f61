#include <gtest/gtest.h>

#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/error_of.h"
#include "zel/adt/bitmap.h"
#include "zel/util/seed.h"

namespace zel::adt {
namespace {

bitmap of(unsigned long size, const std::vector<unsigned long>& positions) {
  bitmap bits;
  bits.resize(size);
  for (const unsigned long i : positions) bits.set(i);
  return bits;
}

TEST(bitmap, uses_one_word_per_64_bits_and_nothing_past_its_size) {
  for (const unsigned long size : {1UL, 63UL, 64UL, 65UL, 128UL, 129UL}) {
    bitmap bits = of(size, {});
    EXPECT_EQ(bits.n_words(), (size + 63) / 64);
    EXPECT_EQ(bits.capacity(), 64 * bits.n_words());
    bits.set_all();
    EXPECT_EQ(bits.count(), size);
    EXPECT_EQ(bits.get_last(), size - 1);
    bits.not_op();
    EXPECT_TRUE(bits.is_zero()) << size;
    bits.not_op();
    EXPECT_EQ(bits.count(), size);
  }
}

TEST(bitmap, re_exposes_zeros_after_shrinking) {
  for (const unsigned long cut : {0UL, 1UL, 63UL, 64UL, 65UL, 127UL, 130UL, 192UL}) {
    bitmap bits = of(200, {});
    bits.set_all();
    bits.resize(cut);
    bits.resize(200);
    EXPECT_EQ(bits.count(), cut);
  }
}

TEST(bitmap, copies_are_deep_and_moves_leave_an_empty_bitmap) {
  bitmap first = of(70, {3, 69});
  bitmap copy(first);
  bitmap assigned = of(5, {1});
  assigned = first;
  first.reset(69);
  EXPECT_EQ(copy.toCSV(), "3,69");
  EXPECT_EQ(assigned.toCSV(), "3,69");
  EXPECT_EQ(copy.capacity(), 128);
  const bitmap moved(std::move(copy));
  EXPECT_EQ(moved.toCSV(), "3,69");
  EXPECT_EQ(copy.size(), 0);
  copy.push_back(true);
  EXPECT_EQ(copy.toCSV(), "0");
}

TEST(bitmap, grows_by_half_its_size_and_at_least_one_word) {
  bitmap bits;
  std::vector<unsigned long> capacities;
  for (int i = 0; i < 200; ++i) {
    bits.push_back(i % 2 == 0);
    if (capacities.empty() || capacities.back() != bits.capacity()) {
      capacities.push_back(bits.capacity());
    }
  }
  EXPECT_EQ(capacities, (std::vector<unsigned long>{64, 128, 192, 320}));
  EXPECT_EQ(bits.count(), 100);
}

TEST(bitmap, reports_misuse_and_stays_unchanged) {
  bitmap bits = of(64, {0});
  const bitmap other = of(65, {0, 64});
  EXPECT_EQ(error_of([&] { bits.set(64); }), "bitmapp::set() out of range");
  EXPECT_EQ(error_of([&] { bits.reset(64); }), "bitmapp::reset() out of range");
  EXPECT_EQ(error_of([&] { bits.intersect(other); }),
            "intersect::intersect on different size bitmaps");
  EXPECT_EQ(error_of([&] { bits.set_random(2, of(99, {7, 70})); }), "bitmapp::set() out of range");
  EXPECT_EQ(error_of([] { bitmap().get_last(); }), "gest_last() on empty bitmap");
  EXPECT_EQ(error_of([] { of(130, {}).get_last(); }), "gest_last() on empty bitmap");
  EXPECT_FALSE(bits.and_op(other));
  EXPECT_FALSE(bits.minus_op(other));
  EXPECT_FALSE(bits.or_op(other));
  EXPECT_EQ(bits.toCSV(), "0");
}

TEST(bitmap, is_a_number_in_its_first_word) {
  bitmap small = of(3, {});
  small.base_set(0b1101);
  EXPECT_EQ(small.toCSV(), "0,2");
  EXPECT_EQ(small.base_get(), 5);
  bitmap large = of(65, {64});
  large.base_set(~0UL);
  EXPECT_EQ(large.count(), 65);
  bitmap empty;
  empty.base_set(1);
  EXPECT_EQ(empty.base_get(), 0);
}

TEST(bitmap, draws_as_many_bits_as_asked_at_every_place) {
  util::set_seed(11);
  std::vector<int> drawn(100);
  for (int round = 0; round < 200; ++round) {
    bitmap bits = of(100, {});
    bits.set_random(30);
    EXPECT_EQ(bits.count(), 30);
    for (const unsigned long i : bits) ++drawn[i];
  }
  // 60 times each on average with a deviation of 6.5.
  for (const int n : drawn) EXPECT_NEAR(n, 60, 30);
  util::clear_seed();
}

TEST(bitmap, draws_in_addition_to_the_bits_it_has) {
  bitmap bits = of(100, {99});
  bits.set_random(0);
  EXPECT_EQ(bits.toCSV(), "99");
  bits.set_random(100);
  EXPECT_EQ(bits.count(), 100);
}

TEST(bitmap, takes_the_first_positions_of_a_mask) {
  struct row {
    unsigned long k;
    const char* result;
  };
  const bitmap mask = of(100, {2, 5, 7, 9});
  for (const row& r : {row{3, "1,2,5,7"}, row{0, "1"}, row{9, "1,2,5,7,9"}}) {
    bitmap bits = of(10, {1});
    bits.set_random(r.k, mask);
    EXPECT_EQ(bits.toCSV(), r.result);
  }
}

// The same random operations on a bitmap and on a set of integers.
class bitmap_and_model {
 public:
  explicit bitmap_and_model(unsigned seed) : random_(seed) {}

  void step() {
    const unsigned long i = bits_.size() ? random_() % bits_.size() : 0;
    switch (random_() % 8) {
      case 0:
        resize(random_() % 300);
        break;
      case 1:
        bits_.push_back(true);
        model_.insert(bits_.size() - 1);
        break;
      case 2:
        if (bits_.size()) bits_.reset(i), model_.erase(i);
        break;
      case 3:
        bits_.not_op();
        for (unsigned long k = 0; k < bits_.size(); ++k) flip(k);
        break;
      case 4:
        combine();
        break;
      default:
        if (bits_.size()) bits_.set(i), model_.insert(i);
    }
  }

  void check() const {
    const std::vector<unsigned long> expected(model_.begin(), model_.end());
    ASSERT_EQ(std::vector<unsigned long>(bits_.begin(), bits_.end()), expected);
    ASSERT_EQ(bits_.count(), model_.size());
    ASSERT_EQ(bits_.is_zero(), model_.empty());
    if (!model_.empty()) {
      ASSERT_EQ(bits_.get_last(), *model_.rbegin());
    }
    for (unsigned long i = 0; i < bits_.size(); ++i) ASSERT_EQ(bits_[i], model_.contains(i));
  }

 private:
  void resize(unsigned long n) {
    bits_.resize(n);
    model_.erase(model_.lower_bound(n), model_.end());
  }
  void flip(unsigned long i) {
    if (!model_.erase(i)) model_.insert(i);
  }
  void combine() {
    bitmap other = of(bits_.size(), {});
    bool common = false;
    const auto operation = random_() % 3;
    for (unsigned long i = 0; i < bits_.size(); ++i) {
      const bool in_other = random_() % 3 == 0;
      const bool here = model_.contains(i);
      common |= in_other && here;
      if (in_other) other.set(i);
      if (operation == 0 && !in_other) model_.erase(i);
      if (operation == 1 && in_other) model_.erase(i);
      if (operation == 2 && in_other) model_.insert(i);
    }
    EXPECT_EQ(bits_.intersect(other), common);
    EXPECT_TRUE(operation == 0   ? bits_.and_op(other)
                : operation == 1 ? bits_.minus_op(other)
                                 : bits_.or_op(other));
  }

  std::mt19937 random_;
  bitmap bits_;
  std::set<unsigned long> model_;
};

TEST(bitmap, agrees_with_a_set_of_integers_under_random_operations) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    bitmap_and_model both(seed);
    for (int i = 0; i < 300; ++i) {
      both.step();
      ASSERT_NO_FATAL_FAILURE(both.check()) << "seed " << seed << " step " << i;
    }
  }
}

}  // namespace
}  // namespace zel::adt
