// Files of one test, and what the tests of connections do with them again and again.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/error_of.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/iogz.h"
#include "zel/inpout/stream.h"

namespace scratch {

/// A folder that lives as long as the object.
class folder {
 public:
  folder() {
    std::string name = (std::filesystem::temp_directory_path() / "inpoutXXXXXX").string();
    path_ = ::mkdtemp(name.data());
  }
  ~folder() { std::filesystem::remove_all(path_); }
  folder(const folder&) = delete;
  folder& operator=(const folder&) = delete;

  [[nodiscard]] std::string at(const std::string& name) const { return path_ / name; }
  std::string put(const std::string& name, const std::string& content) const {
    std::ofstream(at(name), std::ios::binary) << content;
    return at(name);
  }

 private:
  std::filesystem::path path_;
};

inline std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// One gzip member holding `text`.
inline std::string gzipped(const folder& files, const std::string& text) {
  zel::inpout::iogz file;
  file.open(files.at("member"), 100, 6, Z_DEFAULT_STRATEGY);
  file.write(text.data(), static_cast<long>(text.size()));
  file.close();
  return content_of(files.at("member"));
}

/// All that the connection still gives, asked for in pieces of `piece` bytes.
inline std::string drain(zel::inpout::ioconn& conn, long piece = 777) {
  std::string all;
  std::string part(static_cast<std::size_t>(piece), '\0');
  for (long got; (got = conn.read(part.data(), piece)) > 0;) {
    all.append(part, 0, static_cast<std::size_t>(got));
  }
  return all;
}

/// The lines of a stream up to its end or its error, whose text is `error`.
struct reading {
  std::vector<std::string> lines;
  std::string error;
};
inline reading read_all(zel::inpout::stream& in) {
  reading all;
  all.error = error_of([&] {
    while (in.read_line()) all.lines.emplace_back(in.line(), in.line_length());
    EXPECT_FALSE(in.read_line()) << "the end must stay the end";
  });
  return all;
}
inline reading read_file(const std::string& name) {
  reading all;
  const std::string error = error_of([&] {
    zel::inpout::stream in(zel::inpout::ioconn::get_default_input(name), ',', true);
    all = read_all(in);
  });
  if (!error.empty()) all.error = error;
  return all;
}

/// Input from memory that delivers at most `most` bytes a read and fails after `good` bytes.
class faulty_input : public zel::inpout::ioconn {
 public:
  faulty_input(std::string bytes, long most, std::size_t good = ~0UL)
      : bytes_(std::move(bytes)), most_(most), good_(good) {
    set_name("faulty");
  }
  void close() override {}
  [[nodiscard]] bool is_open() const override { return true; }
  [[nodiscard]] int get_mode() const override { return zel::inpout::mode_read; }
  long write(const void*, long) override { return -1; }
  long read(void* to, long count) override {
    std::this_thread::yield();  // lets a reader without the lock come between
    const std::size_t end = std::min(bytes_.size(), good_);
    const std::size_t given =
        std::min({static_cast<std::size_t>(count), static_cast<std::size_t>(most_), end - at_});
    if (given == 0 && good_ <= bytes_.size()) {
      set_error("cable cut");
      return -1;
    }
    bytes_.copy(static_cast<char*>(to), given, at_);
    at_ += given;
    return static_cast<long>(given);
  }

 private:
  std::string bytes_;
  long most_;
  std::size_t good_;
  std::size_t at_ = 0;
};

}  // namespace scratch
