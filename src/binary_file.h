// Whole binary files: compressed, complete or absent, errors with the name of the file.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>

#include "zel/inpout/binstream.h"
#include "zel/inpout/iogzip.h"
#include "zel/inpout/replacing_file.h"
#include "zel/util/run_context.h"

namespace orvik {

/// Writes the file by write(path). Throws std::runtime_error, the file then as before.
template <class Write>
void replace_file(const std::string& name, const Write& write) {
  try {
    zel::inpout::replacing_file file(name);
    write(file.path());
    file.commit();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("File: " + name + " cannot be written: " + failure.what());
  }
}

/// The same by write(obinstream&), packed by so many workers.
template <class Write>
void write_binary(const std::string& name, unsigned long workers, const Write& write) {
  using namespace zel::inpout;
  replace_file(name, [&](const std::string& path) {
    auto conn = std::make_unique<iogzip>(workers);
    if (!conn->open(path)) throw std::runtime_error(system_reason(errno));
    obinstream out(conn.release(), /*owns=*/true);
    write(out);
    out.close();
  });
}

/// What read() returns; its errors then name the file and what it should hold.
template <class Read>
decltype(auto) naming_file(const std::string& name, const char* what, const Read& read) {
  try {
    return read();
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("File: " + name + " holds no binary " + what + ": " + failure.what());
  }
}

/// Reads the whole file by read(ibinstream&); `what` says for messages what it should hold.
template <class Read>
void read_binary(const std::string& name, const char* what, const Read& read) {
  zel::inpout::ibinstream in(name, /*compressed=*/true, zel::util::default_context().n_workers);
  naming_file(name, what, [&] {
    read(in);
    in.require_end();
  });
}

}  // namespace orvik
