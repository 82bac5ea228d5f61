#include "zel/adt/bitmap.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "zel/util/rand_gen.h"

namespace zel::adt {

namespace {

constexpr char k_too_long[] = "bitmap maximum length exceeded.";
constexpr char k_set_range[] = "bitmapp::set() out of range";
constexpr char k_reset_range[] = "bitmapp::reset() out of range";
constexpr char k_intersect_sizes[] = "intersect::intersect on different size bitmaps";
constexpr char k_no_last[] = "gest_last() on empty bitmap";

constexpr unsigned long k_largest_size = std::numeric_limits<unsigned long>::max();
constexpr unsigned long k_all_ones = ~0UL;

}  // namespace

bitmap::bitmap(const bitmap& other) {
  reserve(other.size_);
  std::copy_n(other.words(), other.n_words(), words_.get());
  size_ = other.size_;
}

bitmap& bitmap::operator=(const bitmap& other) {
  if (this != &other) *this = bitmap(other);
  return *this;
}

bitmap::bitmap(bitmap&& other) noexcept
    : words_(std::move(other.words_)),
      size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)) {}

bitmap& bitmap::operator=(bitmap&& other) noexcept {
  bitmap taken(std::move(other));
  std::swap(words_, taken.words_);
  std::swap(size_, taken.size_);
  std::swap(capacity_, taken.capacity_);
  return *this;
}

void bitmap::reserve(unsigned long n) {
  if (capacity_ >= n) return;
  const unsigned long allocated = words_for(n);
  auto words = std::make_unique<unsigned long[]>(allocated);  // zeroed
  std::copy_n(words_.get(), n_words(), words.get());
  words_ = std::move(words);
  capacity_ = allocated << BASE_log;
}

void bitmap::resize(unsigned long n) {
  if (n >= size_) {
    reserve(n);
    size_ = n;
    return;
  }
  std::fill(words_.get() + words_for(n), words_.get() + n_words(), 0);
  size_ = n;
  clear_past_size();
}

void bitmap::assign(const unsigned long* words, unsigned long n) {
  resize(0);
  resize(n);
  std::copy_n(words, n_words(), words_.get());
  clear_past_size();
}

void bitmap::push_back(bool bit) {
  make_room(1);
  ++size_;
  if (bit) set(size_ - 1);
}

void bitmap::append(unsigned long bits, unsigned n) {
  if (n == 0) return;
  make_room(n);
  const unsigned long at = size_ & k_bit_mask;
  unsigned long* const word = &words_[size_ >> BASE_log];
  *word |= bits << at;
  if (at + n > k_word_bits) word[1] |= bits >> (k_word_bits - at);
  size_ += n;
}

void bitmap::make_room(unsigned long n) {
  if (n <= capacity_ - size_) return;
  if (n > k_largest_size - size_) throw std::runtime_error(k_too_long);
  const unsigned long more = std::max(size_ / 2, k_word_bits);
  reserve(more > k_largest_size - size_ ? k_largest_size : size_ + more);
}

// Selection sampling: position i is taken with the chance (still needed) / (still to come).
void bitmap::set_random(unsigned long k) {
  if (size_ <= k) {
    set_all();
    return;
  }
  util::rand_gen random(size_, util::draw::bitmap);
  unsigned long needed = k;
  for (unsigned long i = 0; i < size_; ++i) {
    if (random.below(size_ - i) >= needed) continue;
    set(i);
    --needed;
  }
}

// Deliberate: no position is left to chance. The candidates count down together with the number
// still to pick, so every draw would pick and the first ones are always taken.
void bitmap::set_random(unsigned long k, const bitmap& mask) {
  const unsigned long picked = std::min(k, mask.count());
  unsigned long left = picked;
  for (iterator i = mask.begin(); left > 0; ++i, --left) {
    if (*i >= size_) throw std::runtime_error(k_set_range);
  }
  left = picked;
  for (iterator i = mask.begin(); left > 0; ++i, --left) set(*i);
}

unsigned long bitmap::count() const {
  unsigned long bits = 0;
  const unsigned long n = n_words();
  for (unsigned long w = 0; w < n; ++w) {
    bits += static_cast<unsigned long>(std::popcount(words_[w]));
  }
  return bits;
}

void bitmap::set(unsigned long i) {
  if (i >= size_) throw std::runtime_error(k_set_range);
  words_[i >> BASE_log] |= 1UL << (i & k_bit_mask);
}

void bitmap::reset(unsigned long i) {
  if (i >= size_) throw std::runtime_error(k_reset_range);
  words_[i >> BASE_log] &= ~(1UL << (i & k_bit_mask));
}

void bitmap::base_set(unsigned long value) {
  if (size_ == 0) return;
  words_[0] = size_ < k_word_bits ? value & ((1UL << size_) - 1) : value;
}

unsigned long bitmap::base_get() const { return words_ ? words_[0] : 0; }

void bitmap::reset_all() { std::fill_n(words_.get(), n_words(), 0); }

void bitmap::set_all() {
  std::fill_n(words_.get(), n_words(), k_all_ones);
  clear_past_size();
}

bool bitmap::intersect(const bitmap& other) const {
  if (size_ != other.size_) throw std::runtime_error(k_intersect_sizes);
  const unsigned long n = n_words();
  for (unsigned long w = 0; w < n; ++w) {
    if (words_[w] & other.words_[w]) return true;
  }
  return false;
}

bool bitmap::is_zero() const {
  return std::all_of(words(), words() + n_words(), [](unsigned long word) { return word == 0; });
}

unsigned long bitmap::get_last() const {
  for (unsigned long w = n_words(); w-- > 0;) {
    if (words_[w] == 0) continue;
    return (w << BASE_log) + static_cast<unsigned long>(std::bit_width(words_[w])) - 1;
  }
  throw std::runtime_error(k_no_last);
}

bool bitmap::and_op(const bitmap& other) {
  if (size_ != other.size_) return false;
  const unsigned long n = n_words();
  for (unsigned long w = 0; w < n; ++w) words_[w] &= other.words_[w];
  return true;
}

bool bitmap::minus_op(const bitmap& other) {
  if (size_ != other.size_) return false;
  const unsigned long n = n_words();
  for (unsigned long w = 0; w < n; ++w) words_[w] &= ~other.words_[w];
  return true;
}

bool bitmap::or_op(const bitmap& other) {
  if (size_ != other.size_) return false;
  const unsigned long n = n_words();
  for (unsigned long w = 0; w < n; ++w) words_[w] |= other.words_[w];
  return true;
}

void bitmap::not_op() {
  const unsigned long n = n_words();
  for (unsigned long w = 0; w < n; ++w) words_[w] = ~words_[w];
  clear_past_size();
}

std::string bitmap::toCSV() const {
  std::string csv;
  for (const unsigned long i : *this) {
    if (!csv.empty()) csv += ',';
    csv += std::to_string(i);
  }
  return csv;
}

void bitmap::clear_past_size() {
  const unsigned long used = size_ & k_bit_mask;
  if (used != 0) words_[size_ >> BASE_log] &= (1UL << used) - 1;
}

}  // namespace zel::adt
