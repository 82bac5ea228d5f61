// JSON as the library and its programs write it: compact, in UTF-8, numbers as the shortest
// decimals that read back to them, lines only where the writer of a document begins them.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <ostream>
#include <string>
#include <string_view>

#include "zel/text/decimal.h"

namespace zel::text {

/// Where a writer's bytes go. Does nothing on a stream that has failed, as the stream itself does.
class json_sink {
 public:
  using Ch = char;
  explicit json_sink(std::ostream& out) : out_(out) {}
  void Put(char c) {
    if (!out_) return;
    if (out_.rdbuf()->sputc(c) == std::ostream::traits_type::eof()) out_.setstate(std::ios::badbit);
  }
  void Flush() {}

 private:
  std::ostream& out_;
};

/// The memory of rapidjson, which writes through the null that its own allocator gives where there
/// is none: this one throws.
struct json_memory {
  static constexpr bool kNeedFree = true;
  static void* Malloc(std::size_t n) { return Realloc(nullptr, 0, n); }
  static void* Realloc(void* old, std::size_t, std::size_t n) {
    if (n == 0) return Free(old), nullptr;
    void* const got = std::realloc(old, n);
    return got != nullptr ? got : throw std::bad_alloc();
  }
  static void Free(void* old) { std::free(old); }
};

/// A stream of rapidjson's that keeps the text.
using json_buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, json_memory>;

/// Writes members and items in order. `Sink` is a json_sink or another stream of rapidjson's, which
/// must outlive this.
template <class Sink>
class json_writer
    : public rapidjson::Writer<Sink, rapidjson::UTF8<>, rapidjson::UTF8<>, json_memory> {
 public:
  explicit json_writer(Sink& out) : json_writer::Writer(out) {}

  void key(std::string_view name) { this->Key(name.data(), size_of(name)); }
  void text(std::string_view utf8) { this->String(utf8.data(), size_of(utf8)); }
  /// A number by its digits.
  void digits(std::string_view number) {
    this->RawValue(number.data(), number.size(), rapidjson::kNumberType);
  }
  /// JSON has no numbers beyond the finite ones.
  void number(double x) {
    std::isfinite(x) ? digits(shortest_decimal(x)) : static_cast<void>(this->Null());
  }
  /// An array of what each(item) writes for every item of `all`.
  template <class Range, class Each>
  void array(std::string_view name, const Range& all, const Each& each) {
    key(name);
    this->StartArray();
    for (const auto& item : all) each(item);
    this->EndArray();
  }
  /// An object of what members() writes.
  template <class Members>
  void object(const Members& members) {
    this->StartObject();
    members();
    this->EndObject();
  }

 private:
  static rapidjson::SizeType size_of(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
  }
};

}  // namespace zel::text
