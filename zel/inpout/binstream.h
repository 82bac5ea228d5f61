// Binary streams: values as fixed bytes, little-endian, without padding between them.
//
//   bool, char               1 byte; a bool is 0 or 1
//   short, int, long         2, 4 and 8 bytes
//   float, double            IEEE 754, 4 and 8 bytes
//   long double              16 bytes as x86-64 keeps it, the last 6 of them 0
//   text                     1, the length as 8 bytes, the characters; a null text a single 0
//   array                    its items back to back
//   bitmap                   its bits as 8 bytes, then its words
//
// What is read is untrusted: an input that ends early is an error, and memory grows with the
// bytes that came, never with a number that says how many will.
#pragma once

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "zel/adt/bitmap.h"
#include "zel/inpout/ioconn.h"
#include "zel/util/nocopy.h"

namespace zel::inpout {

template <class T>
concept fixed_width = std::is_arithmetic_v<T>;

/// Turns between the bytes of a value in memory and in a file, in place.
template <fixed_width T>
void swap_little_endian(T* values, std::size_t n) {
  if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1) {
    for (std::size_t i = 0; i < n; ++i) {
      auto* bytes = reinterpret_cast<unsigned char*>(values + i);
      std::reverse(bytes, bytes + sizeof(T));
    }
  }
}

/// The system's description of an error number, or that there is none.
std::string system_reason(int code);

class obinstream : private zel::util::nocopy {
 public:
  /// Writes to `conn`, not null; `owns`: the destructor closes and deletes it, else it must
  /// outlive this.
  obinstream(ioconn* conn, bool owns) : conn_(conn), owns_(owns) {}
  virtual ~obinstream();

  // Losses are noticed by close().
  template <fixed_width T>
  obinstream& operator<<(T value) {
    if constexpr (std::is_same_v<T, long double>) {
      write_array(std::span<const T>(&value, 1));
    } else {
      swap_little_endian(&value, 1);
      write(&value, sizeof(value));
    }
    return *this;
  }
  /// A counted text; may be null.
  obinstream& operator<<(const char* text);
  obinstream& operator<<(const std::string& text);

  obinstream& operator<<(const adt::bitmap& bits);

  /// The items without their number, in as few transfers as the connection takes.
  template <fixed_width T>
  void write_array(std::span<const T> items) {
    constexpr bool as_it_is =
        std::endian::native == std::endian::little && !std::is_same_v<T, long double>;
    if constexpr (as_it_is) {
      write(items.data(), items.size_bytes());
    } else {
      for (T item : items) write_item(item);
    }
  }

  /// Closes the connection. Throws std::runtime_error with the connection's reason if anything
  /// written since it was opened was lost.
  void close();

 private:
  template <fixed_width T>
  void write_item(T item) {
    swap_little_endian(&item, 1);
    write(&item, sizeof(item));
  }
  void write_item(long double item);
  void write(const void* bytes, unsigned long count);

  ioconn* conn_;
  bool owns_;
};

/// Throws std::runtime_error of `otherwise` unless what was read is good.
inline void require(bool good, const char* otherwise) {
  if (!good) throw std::runtime_error(otherwise);
}

class ibinstream : private zel::util::nocopy {
 public:
  /// Reads from `conn`, not null; `owns`: the destructor closes and deletes it, else it must
  /// outlive this.
  ibinstream(ioconn* conn, bool owns) : conn_(conn), owns_(owns) {}
  /// Opens a file for reading, `compressed` through gzip, which takes a file that is not
  /// compressed as it stands; with several workers one of them unpacks it ahead. Throws
  /// std::runtime_error when it cannot be opened: its name and the reason.
  ibinstream(const std::string& file_name, bool compressed, unsigned long workers = 1);
  virtual ~ibinstream();

  // All throw std::runtime_error where the input ends early or its device fails.
  template <fixed_width T>
  ibinstream& operator>>(T& value) {
    read(&value, sizeof(value));
    swap_little_endian(&value, 1);
    return *this;
  }
  /// Throws also for a byte other than 0 and 1.
  ibinstream& operator>>(bool& value);
  /// Throws also where a number is written in another way than x86-64 keeps it.
  ibinstream& operator>>(long double& value);
  /// Up to its first NUL; a null text is empty.
  ibinstream& operator>>(std::string& text);
  /// All bytes of a text; of a null text none. Throws also for one of more than `most` bytes.
  std::string read_text(unsigned long most = ~0UL);
  /// Bits past the last one are dropped.
  ibinstream& operator>>(adt::bitmap& bits);

  /// A bool, as every optional item has in front.
  bool read_presence();
  /// n items.
  template <fixed_width T>
  std::vector<T> read_array(unsigned long n) {
    std::vector<T> items;
    while (items.size() < n) {
      const std::size_t at = items.size();
      const std::size_t step = std::min<std::size_t>(n - at, std::max(at, k_first_items));
      items.resize(at + step);
      if constexpr (std::is_same_v<T, long double> || std::is_same_v<T, bool>) {
        for (std::size_t i = at; i < items.size(); ++i) *this >> items[i];
      } else {
        read(items.data() + at, step * sizeof(T));
        swap_little_endian(items.data() + at, step);
      }
    }
    return items;
  }
  /// As many items as there is room for.
  template <fixed_width T>
  void read_to(std::span<T> items) {
    static_assert(!std::is_same_v<T, long double> && !std::is_same_v<T, bool>);
    read(items.data(), items.size_bytes());
    swap_little_endian(items.data(), items.size());
  }
  /// Reads past `count` bytes.
  void skip(unsigned long count);
  /// Whether all was read.
  bool at_end();
  /// Throws unless all was read, and where the end of a compressed file shows that it is damaged.
  void require_end();

 private:
  static constexpr std::size_t k_first_items = 65536;

  void read(void* bytes, unsigned long count) {
    if (count > held()) return read_on(bytes, count);
    std::memcpy(bytes, next_, count);
    next_ += count;
    position_ += count;
  }
  unsigned long held() const { return static_cast<unsigned long>(end_ - next_); }
  void read_on(void* bytes, unsigned long count);
  bool refill();
  long read_some(void* bytes, unsigned long count);

  ioconn* conn_;
  bool owns_;
  unsigned long position_ = 0;  // bytes given
  // Bytes that were read and not given yet: of a file its next ones, of a connection only the one
  // that at_end() asked for.
  unsigned long room_ = 1;
  std::unique_ptr<char[]> buffer_;
  const char* next_ = nullptr;
  const char* end_ = nullptr;
};

}  // namespace zel::inpout
