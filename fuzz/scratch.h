// A folder of the process with files that a program is run on, the same ones before each run.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "require.h"

namespace orvik::fuzz {

/// The working folder of the process, removed at its end.
class scratch {
 public:
  scratch() {
    std::string name = "/dev/shm/orvik-fuzz-XXXXXX";
    path_ = ::mkdtemp(name.data());
    require(::chdir(path_.c_str()) == 0, "a folder to work in");
    require(std::freopen("/dev/null", "r", stdin) != nullptr, "an empty standard input");
  }
  ~scratch() { std::filesystem::remove_all(path_); }
  scratch(const scratch&) = delete;
  scratch& operator=(const scratch&) = delete;

  void keep(const std::string& name, const std::string& bytes) { files_.emplace_back(name, bytes); }
  /// Keeps what is in a file now.
  void keep(const std::string& name) { keep(name, bytes_of(name)); }

  /// The files that are kept, as they were, and no others.
  void restore() {
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      const std::string name = entry.path().filename();
      if (!is_kept(name)) std::filesystem::remove_all(entry.path());
    }
    for (const auto& [name, bytes] : files_) {
      if (bytes_of(name) != bytes) std::ofstream(name, std::ios::binary) << bytes;
    }
  }

  /// Every file there is and what is in it, but for `without`.
  std::string contents(const std::string& without = "") const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    std::string all;
    for (const std::string& name : names) {
      if (name != without) all += name + '\n' + bytes_of(name) + '\n';
    }
    return all;
  }

  /// Whether an output was begun and neither given its name nor removed.
  bool has_unfinished() const {
    return std::ranges::any_of(std::filesystem::directory_iterator("."), [](const auto& entry) {
      return entry.path().filename().string().find("unfinished") != std::string::npos;
    });
  }

  static std::string bytes_of(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }

 private:
  bool is_kept(const std::string& name) const {
    return std::ranges::any_of(files_, [&name](const auto& f) { return f.first == name; });
  }

  std::string path_;
  std::vector<std::pair<std::string, std::string>> files_;
};

/// What goes to standard output and the standard error stream, while it lives.
class caught_output {
 public:
  caught_output() : out_(std::cout.rdbuf(text_.rdbuf())), err_(std::cerr.rdbuf(text_.rdbuf())) {}
  ~caught_output() {
    std::cout.rdbuf(out_);
    std::cerr.rdbuf(err_);
    std::cout.clear();
    std::cerr.clear();
  }
  caught_output(const caught_output&) = delete;
  caught_output& operator=(const caught_output&) = delete;
  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::streambuf *out_, *err_;
};

/// The words of a command line, one a line, each up to its first NUL; what begins with a byte above
/// 127 is one of the names.
inline std::vector<std::string> words_of(std::string_view bytes,
                                         const std::vector<std::string>& names) {
  std::vector<std::string> words;
  while (!bytes.empty()) {
    const std::string line(bytes.substr(0, bytes.find('\n')));
    bytes.remove_prefix(std::min(line.size() + 1, bytes.size()));
    const auto first = static_cast<unsigned char>(line.empty() ? 0 : line[0]);
    words.push_back(first < 128 ? line.c_str() : names[(first - 128) % names.size()]);
  }
  return words;
}

/// Whether a command line stays in its folder and is done in a moment: no other folder is named,
/// and its numbers are small.
inline bool is_harmless(const std::vector<std::string>& words) {
  double work = 1;
  for (const std::string& word : words) {
    if (word.find('/') != std::string::npos) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
      if (!std::isdigit(static_cast<unsigned char>(word[i]))) continue;
      const char* end = word.c_str() + i;
      const long number = std::strtol(end, const_cast<char**>(&end), 10);
      if (*end == 'e' || *end == 'E' || *end == 'x' || *end == 'X') return false;
      i = static_cast<std::size_t>(end - word.c_str());
      work *= std::max(1.0, static_cast<double>(number));
    }
  }
  return words.size() < 40 && work < 3000;
}

}  // namespace orvik::fuzz
