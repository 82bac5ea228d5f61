// Binary streams over memory.
#pragma once

#include <string>
#include <string_view>

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

}  // namespace orvik::impls
