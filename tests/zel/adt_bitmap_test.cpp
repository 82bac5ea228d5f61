#include <gtest/gtest.h>

#include <random>
#include <set>
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
