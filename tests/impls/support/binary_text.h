// Binary streams over memory.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "impls/tables/table.h"
#include "zel/inpout/binstream.h"
#include "zel/inpout/iomem.h"

namespace orvik::impls {

/// What write(obinstream&) writes.
template <class Write>
std::string binary_of(const Write& write) {
  zel::inpout::iomem memory;
  memory.open(1024);
  zel::inpout::obinstream out(&memory, /*owns=*/false);
  write(out);
  return std::string(memory.bytes());
}

/// Gives all of `bytes` to read(ibinstream&).
template <class Read>
void read_all(std::string_view bytes, const Read& read) {
  zel::inpout::iomem memory;
  std::string copy(bytes);
  memory.open(copy.data(), copy.size(), copy.size());
  zel::inpout::ibinstream in(&memory, /*owns=*/false);
  read(in);
  in.require_end();
}

inline std::string bytes_of(const table& t) {
  return binary_of([&t](auto& out) { out << &t; });
}

/// Null for a record that holds none.
inline std::unique_ptr<table> table_of(std::string_view bytes) {
  std::unique_ptr<table> t;
  read_all(bytes, [&t](auto& in) {
    table* read = nullptr;
    in >> read;
    t.reset(read);
  });
  return t;
}

}  // namespace orvik::impls
