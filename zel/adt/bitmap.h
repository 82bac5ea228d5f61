// Growable set of small integers, one bit each, in 64-bit words.
//
// Shape: bit i is bit i % 64 (least significant first) of word i / 64.
// Invariant: every bit at or past size() is zero in every allocated word. It lets counting and
// the set operations work on whole words, and lets a bitmap grow within its capacity for free.
// Threads: many readers or one writer.
#pragma once

#include <bit>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>

namespace zel::adt {

class bitmap {
 public:
  /// log2 of the bits of a word.
  static constexpr unsigned long BASE_log = 6;

  class iterator;

  /// An empty bitmap without memory.
  bitmap() = default;
  /// A copy with words of its own, as many as `other` uses.
  bitmap(const bitmap& other);
  bitmap& operator=(const bitmap& other);
  /// The source becomes an empty bitmap.
  bitmap(bitmap&& other) noexcept;
  bitmap& operator=(bitmap&& other) noexcept;
  virtual ~bitmap() = default;

  /// Makes room for n bits, keeping size() and the bits; capacity() becomes a multiple of 64.
  virtual void reserve(unsigned long n);
  /// Cuts the bits from n on, or adds zero bits up to n.
  virtual void resize(unsigned long n);
  virtual unsigned long size() const { return size_; }
  virtual unsigned long capacity() const { return capacity_; }
  /// Appends a bit; amortised O(1). Throws std::runtime_error at the largest size.
  virtual void push_back(bool bit);

  /// Sets k positions below size() in addition to the bits already set, every choice of k
  /// positions alike; all positions if k >= size(). O(size).
  virtual void set_random(unsigned long k);
  /// Sets the first min(k, mask.count()) positions of `mask` here.
  /// Throws std::runtime_error, changing nothing, if one of them is >= size().
  virtual void set_random(unsigned long k, const bitmap& mask);

  /// @return bit i; i must be below the capacity.
  virtual bool operator[](unsigned long i) const { return bit_at(i); }
  virtual bool get(unsigned long i) const { return bit_at(i); }

  /// Appends the n lowest bits of `bits`, the rest of which are zero; n <= 64. Amortised O(1).
  void append(unsigned long bits, unsigned n);
  /// @return the number of set bits; O(words).
  virtual unsigned long count() const;
  /// Sets or clears bit i. Throw std::runtime_error if i >= size(), changing nothing.
  virtual void set(unsigned long i);
  virtual void reset(unsigned long i);

  /// The first 64 bits as a number, to enumerate the subsets of a small set: base_set() drops
  /// the bits of `value` past size(), base_get() is 0 for an empty bitmap.
  virtual void base_set(unsigned long value);
  virtual unsigned long base_get() const;

  /// Clears or sets all size() bits; O(words).
  virtual void reset_all();
  virtual void set_all();

  /// @return whether both have a bit in common. Throws std::runtime_error if the sizes differ.
  virtual bool intersect(const bitmap& other) const;
  /// @return whether no bit is set.
  virtual bool is_zero() const;
  /// @return the highest set position. Throws std::runtime_error if there is none.
  virtual unsigned long get_last() const;

  /// Keep the bits also set in `other`, drop them, add them; O(words).
  /// @return false, changing nothing, when the sizes differ.
  virtual bool and_op(const bitmap& other);
  virtual bool minus_op(const bitmap& other);
  virtual bool or_op(const bitmap& other);
  /// Inverts all size() bits.
  virtual void not_op();

  /// @return the set positions in ascending order with "," between them.
  std::string toCSV() const;

  /// The set positions in ascending order; any change of the bitmap ends the iteration.
  iterator begin() const;
  iterator end() const;

  /// Becomes the first n bits of `words`, which holds n / 64 of them, rounded up.
  void assign(const unsigned long* words, unsigned long n);
  /// The words in use, for kernels: null before the first allocation.
  const unsigned long* words() const { return words_.get(); }
  unsigned long n_words() const { return words_for(size_); }

 private:
  static constexpr unsigned long k_word_bits = 1UL << BASE_log;
  static constexpr unsigned long k_bit_mask = k_word_bits - 1;

  static unsigned long words_for(unsigned long bits) {
    return (bits >> BASE_log) + ((bits & k_bit_mask) != 0);
  }
  void make_room(unsigned long n);
  bool bit_at(unsigned long i) const { return (words_[i >> BASE_log] >> (i & k_bit_mask)) & 1; }
  void clear_past_size();

  std::unique_ptr<unsigned long[]> words_;
  unsigned long size_ = 0;      // bits
  unsigned long capacity_ = 0;  // allocated bits
};

/// Walks the set positions, skipping empty words.
class bitmap::iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = unsigned long;
  using difference_type = std::ptrdiff_t;
  using pointer = const unsigned long*;
  using reference = unsigned long;

  iterator() = default;
  unsigned long operator*() const {
    return (static_cast<unsigned long>(word_ - first_) << BASE_log) + bit_;
  }
  iterator& operator++() {
    next_set();
    return *this;
  }
  iterator operator++(int) {
    iterator before = *this;
    next_set();
    return before;
  }
  /// Moves to the next set bit, or to the end.
  void next_set() {
    // Two shifts, as one by 64 is undefined.
    seek((*word_ >> bit_ >> 1) << bit_ << 1);
  }
  bool operator==(const iterator& other) const {
    return word_ == other.word_ && bit_ == other.bit_;
  }

 private:
  friend class bitmap;
  iterator(const unsigned long* first, const unsigned long* end, const unsigned long* word)
      : first_(first), end_(end), word_(word) {
    if (word_ != end_) seek(*word_);
  }
  /// Stops at the lowest bit of `rest`, what is left of the current word, or of a later word.
  void seek(unsigned long rest) {
    while (rest == 0) {
      if (++word_ == end_) {
        bit_ = 0;
        return;
      }
      rest = *word_;
    }
    bit_ = static_cast<unsigned>(std::countr_zero(rest));
  }

  const unsigned long* first_ = nullptr;
  const unsigned long* end_ = nullptr;
  const unsigned long* word_ = nullptr;
  unsigned bit_ = 0;
};

inline bitmap::iterator bitmap::begin() const { return {words(), words() + n_words(), words()}; }
inline bitmap::iterator bitmap::end() const {
  return {words(), words() + n_words(), words() + n_words()};
}

}  // namespace zel::adt
