// Reading the Arrow C data interface: https://arrow.apache.org/docs/format/CDataInterface.html
#include <cstdint>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include "cells.h"

namespace orvpython {

namespace {

// The three structures that the interface consists of, as it lays them down.
struct arrow_schema {
  const char* format;
  const char* name;
  const char* metadata;
  std::int64_t flags;
  std::int64_t n_children;
  arrow_schema** children;
  arrow_schema* dictionary;
  void (*release)(arrow_schema*);
  void* private_data;
};
struct arrow_array {
  std::int64_t length;
  std::int64_t null_count;
  std::int64_t offset;
  std::int64_t n_buffers;
  std::int64_t n_children;
  const void** buffers;
  arrow_array** children;
  arrow_array* dictionary;
  void (*release)(arrow_array*);
  void* private_data;
};
struct arrow_array_stream {
  int (*get_schema)(arrow_array_stream*, arrow_schema*);
  int (*get_next)(arrow_array_stream*, arrow_array*);
  const char* (*get_last_error)(arrow_array_stream*);
  void (*release)(arrow_array_stream*);
  void* private_data;
};

constexpr std::int64_t k_ordered = 1;  // flag of a schema with a dictionary

/// One of the structures, released at the end.
template <class S>
struct owned : S {
  owned() : S{} {}
  explicit owned(S* from) : S(*from) { from->release = nullptr; }  // moved, as the interface says
  owned(const owned&) = delete;
  owned& operator=(const owned&) = delete;
  ~owned() {
    if (this->release != nullptr) this->release(this);
  }
};
using batch = std::shared_ptr<owned<arrow_array>>;

template <class S>
S* in_capsule(const py::handle& capsule, const char* name) {
  auto* const held = static_cast<S*>(PyCapsule_GetPointer(capsule.ptr(), name));
  if (held == nullptr) throw py::error_already_set();
  if (held->release == nullptr) throw py::value_error("an Arrow structure that was released");
  return held;
}

bool bit(const void* bits, std::int64_t i) {
  return (static_cast<const unsigned char*>(bits)[i / 8] >> (i % 8) & 1) != 0;
}

/// The NumPy type of plain numbers; empty for others.
std::string number_type(std::string_view format) {
  constexpr std::pair<char, const char*> k_types[] = {
      {'c', "i1"}, {'C', "u1"}, {'s', "i2"}, {'S', "u2"}, {'i', "i4"},
      {'I', "u4"}, {'l', "i8"}, {'L', "u8"}, {'f', "f4"}, {'g', "f8"}};
  for (const auto& [letter, type] : k_types) {
    if (format.size() == 1 && format[0] == letter) return type;
  }
  return {};
}

/// The text at place i of a column of texts; offsets of 32 or, of "U", 64 bits.
std::string_view text_at(const arrow_array& a, bool is_large, std::int64_t i) {
  const auto offset = [&](std::int64_t k) {
    return is_large ? static_cast<const std::int64_t*>(a.buffers[1])[k]
                    : static_cast<const std::int32_t*>(a.buffers[1])[k];
  };
  const std::int64_t first = offset(a.offset + i), last = offset(a.offset + i + 1);
  return {static_cast<const char*>(a.buffers[2]) + first, static_cast<std::size_t>(last - first)};
}

/// One column of all batches.
class column_reader {
 public:
  column_reader(const arrow_schema& schema, std::vector<batch> batches, std::int64_t place)
      : schema_(schema), batches_(std::move(batches)), place_(place) {
    for (const batch& b : batches_) n_ += b->length;
  }

  py::tuple read() {
    const std::string_view format = schema_.format;
    const std::string name = schema_.name == nullptr ? "" : schema_.name;
    const bool ordered = (schema_.flags & k_ordered) != 0;
    py::object values, texts = py::none();
    if (schema_.dictionary != nullptr) {
      values = dictionary_places(format, texts, name);
    } else if (const std::string type = number_type(format); !type.empty()) {
      values = numbers(py::dtype(type));
    } else if (format == "b") {
      values = flags();
      texts = py::cast(std::vector<std::string>{"False", "True"});
    } else if (format == "u" || format == "U") {
      values = text_places(format == "U", texts);
    } else if (format == "n") {
      values = py::array_t<double>(n_);
      std::memset(values.cast<py::array>().mutable_data(), 0xff, static_cast<std::size_t>(n_) * 8);
    } else {
      throw py::type_error("column '" + name + "': cells of the Arrow format \"" +
                           std::string(format) + "\" are neither numbers nor texts");
    }
    return py::make_tuple(name, values, unknown(), texts, ordered);
  }

 private:
  /// Calls take(child, i, row) for every row.
  template <class Take>
  void for_each(const Take& take) const {
    std::int64_t row = 0;
    for (const batch& b : batches_) {
      const arrow_array& child = *b->children[place_];
      for (std::int64_t i = 0; i < b->length; ++i) take(child, b->offset + i, row++);
    }
  }

  static bool is_unknown(const arrow_array& a, std::int64_t i) {
    return a.n_buffers > 0 && a.buffers[0] != nullptr && !bit(a.buffers[0], a.offset + i);
  }

  py::object unknown() const {
    bool any = false;
    py::array_t<unsigned char> marks(n_);
    unsigned char* const to = marks.mutable_data();
    for_each([&](const arrow_array& a, std::int64_t i, std::int64_t row) {
      to[row] = std::string_view(schema_.format) != "n" && is_unknown(a, i);
      any = any || to[row] != 0;
    });
    return any ? py::object(marks) : py::none();
  }

  /// One batch where it lies; several in an array of their own.
  py::array numbers(const py::dtype& type) const {
    const auto size = static_cast<std::size_t>(type.itemsize());
    const auto first_of = [&](const arrow_array& a, std::int64_t from) {
      return static_cast<const char*>(a.buffers[1]) +
             static_cast<std::size_t>(a.offset + from) * size;
    };
    if (batches_.size() == 1) {
      const batch& only = batches_[0];
      const py::capsule keeper(new batch(only),
                               [](void* held) { delete static_cast<batch*>(held); });
      return py::array(type, py::array::ShapeContainer{n_},
                       py::array::StridesContainer{static_cast<std::int64_t>(size)},
                       first_of(*only->children[place_], only->offset), keeper);
    }
    py::array all(type, py::array::ShapeContainer{n_});
    auto* to = static_cast<char*>(all.mutable_data());
    for (const batch& b : batches_) {
      const std::size_t bytes = static_cast<std::size_t>(b->length) * size;
      if (bytes > 0) std::memcpy(to, first_of(*b->children[place_], b->offset), bytes);
      to += bytes;
    }
    return all;
  }

  py::array flags() const {
    py::array_t<unsigned char> all(n_);
    unsigned char* const to = all.mutable_data();
    for_each([&](const arrow_array& a, std::int64_t i, std::int64_t row) {
      to[row] = bit(a.buffers[1], a.offset + i);
    });
    return all;
  }

  py::array text_places(bool is_large, py::object& texts) const {
    std::unordered_map<std::string_view, std::int32_t> places;
    std::vector<std::string_view> found;
    py::array_t<std::int32_t> all(n_);
    std::int32_t* const to = all.mutable_data();
    for_each([&](const arrow_array& a, std::int64_t i, std::int64_t row) {
      to[row] = -1;
      if (is_unknown(a, i)) return;
      const std::string_view text = text_at(a, is_large, i);
      const auto next = static_cast<std::int32_t>(found.size());
      const auto [at, added] = places.emplace(text, next);
      if (added) found.push_back(text);
      to[row] = at->second;
    });
    texts = py::cast(std::vector<std::string>(found.begin(), found.end()));
    return all;
  }

  py::array dictionary_places(std::string_view format, py::object& texts, const std::string& name) {
    const std::string_view of = schema_.dictionary->format;
    if (of != "u" && of != "U") {
      throw py::type_error("column '" + name + "': a dictionary of other values than texts");
    }
    std::unordered_map<std::string, std::int64_t> places;
    std::vector<std::string> found;
    py::array_t<std::int64_t> all(n_);
    std::int64_t* to = all.mutable_data();
    const py::dtype type(number_type(format));
    for (const batch& b : batches_) {
      const arrow_array& a = *b->children[place_];
      std::vector<std::int64_t> place_of;  // each batch has a dictionary of its own
      for (std::int64_t i = 0; i < a.dictionary->length; ++i) {
        const auto next = static_cast<std::int64_t>(found.size());
        const auto [at, added] = places.emplace(text_at(*a.dictionary, of == "U", i), next);
        if (added) found.push_back(at->first);
        place_of.push_back(at->second);
      }
      const py::array_t<std::int64_t, py::array::forcecast> codes(
          column_reader(schema_, {b}, place_).numbers(type));
      for (std::int64_t i = 0; i < b->length; ++i) {
        const std::int64_t code = codes.at(i);
        const bool known = code >= 0 && code < static_cast<std::int64_t>(place_of.size());
        *to++ = known ? place_of[static_cast<std::size_t>(code)] : -1;
      }
    }
    texts = py::cast(found);
    return all;
  }

  const arrow_schema& schema_;
  std::vector<batch> batches_;
  std::int64_t place_;
  std::int64_t n_ = 0;
};

std::vector<batch> batches_of(arrow_array_stream& stream) {
  std::vector<batch> all;
  for (;;) {
    auto next = std::make_shared<owned<arrow_array>>();
    if (stream.get_next(&stream, next.get()) != 0) {
      const char* why = stream.get_last_error(&stream);
      throw py::value_error(std::string("the Arrow stream: ") + (why == nullptr ? "failed" : why));
    }
    if (next->release == nullptr) return all;
    all.push_back(std::move(next));
  }
}

py::list columns_of(const arrow_schema& schema, const std::vector<batch>& batches) {
  if (std::string_view(schema.format) != "+s") throw py::type_error("Arrow data without columns");
  for (const batch& b : batches) {
    if (b->n_children != schema.n_children) throw py::value_error("Arrow data of another schema");
  }
  py::list columns;
  for (std::int64_t i = 0; i < schema.n_children; ++i) {
    columns.append(column_reader(*schema.children[i], batches, i).read());
  }
  return columns;
}

}  // namespace

py::list arrow_columns(const py::object& from) {
  if (py::hasattr(from, "__arrow_c_stream__")) {
    const py::object capsule = from.attr("__arrow_c_stream__")();
    owned<arrow_array_stream> stream(in_capsule<arrow_array_stream>(capsule, "arrow_array_stream"));
    owned<arrow_schema> schema;
    if (stream.get_schema(&stream, &schema) != 0) {
      throw py::value_error("the Arrow stream has no schema");
    }
    return columns_of(schema, batches_of(stream));
  }
  const py::tuple pair = from.attr("__arrow_c_array__")();
  const owned<arrow_schema> schema(in_capsule<arrow_schema>(pair[0], "arrow_schema"));
  const auto only =
      std::make_shared<owned<arrow_array>>(in_capsule<arrow_array>(pair[1], "arrow_array"));
  return columns_of(schema, {only});
}

}  // namespace orvpython
