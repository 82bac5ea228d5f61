// Whole binary files: compressed, complete or absent, errors with the name of the file.
#pragma once

#include <zlib.h>

#include <stdexcept>
#include <string>

#include "zel/inpout/binstream.h"
#include "zel/inpout/iogz.h"
#include "zel/inpout/replacing_file.h"
#include "zel/util/run_context.h"

namespace orvik {

/// Writes the file by write(obinstream&). Throws std::runtime_error, the file then as before.
template <class Write>
void write_binary(const std::string& name, const Write& write) {
  using namespace zel::inpout;
  try {
    replacing_file file(name);
    auto conn = std::make_unique<iogz>();
    if (!conn->open(file.path(), mode_write | mode_create | mode_truncate, 1, Z_DEFAULT_STRATEGY)) {
      throw std::runtime_error(system_reason(errno));
    }
    obinstream out(conn.release(), /*owns=*/true);
    write(out);
    out.close();
    file.commit();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("File: " + name + " cannot be written: " + failure.what());
  }
}

/// Reads the whole file by read(ibinstream&); `what` says for messages what it should hold.
template <class Read>
void read_binary(const std::string& name, const char* what, const Read& read) {
  zel::inpout::ibinstream in(name, /*compressed=*/true, zel::util::default_context().n_workers);
  try {
    read(in);
    in.require_end();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("File: " + name + " holds no binary " + what + ": " + failure.what());
  }
}

}  // namespace orvik
