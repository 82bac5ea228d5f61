#include "files.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace orvverbs {

namespace {

namespace fs = std::filesystem;

constexpr unsigned long k_default_width = 80;

bool is_same(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty() || is_standard(a) || is_standard(b)) return false;
  std::error_code error;
  if (fs::exists(a, error) && !fs::is_regular_file(a, error)) return false;
  if (fs::equivalent(a, b, error)) return true;
  const fs::path one = fs::weakly_canonical(fs::absolute(a), error);
  const fs::path other = fs::weakly_canonical(fs::absolute(b), error);
  return !error && one == other;
}

/// Hours of work should not end in a folder that is not there.
void require_writable(const std::string& file) {
  if (file.empty() || is_standard(file)) return;
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (fs::is_directory(status)) throw cannot_write(file, "it is a folder");
  if (fs::exists(status) && access(file.c_str(), W_OK) != 0)
    throw cannot_write(file, std::strerror(errno));
  if (fs::exists(status) && !fs::is_regular_file(status)) return;
  const fs::path folder = fs::absolute(file).parent_path();
  if (access(folder.c_str(), W_OK | X_OK) != 0) throw cannot_write(file, std::strerror(errno));
}

unsigned long window_width() {
  winsize window{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0) return window.ws_col;
  const char* const columns = std::getenv("COLUMNS");
  const unsigned long width = columns == nullptr ? 0 : std::strtoul(columns, nullptr, 10);
  return width == 0 ? k_default_width : width;
}

/// Whether the locale's encoding is UTF-8.
bool shows_unicode() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string_view locale(value);
    return locale.find("UTF-8") != locale.npos || locale.find("utf8") != locale.npos;
  }
  return false;
}

}  // namespace

void check_files(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    require_writable(outputs[i]);
    for (const std::string& input : inputs) {
      if (is_same(outputs[i], input)) {
        throw cannot_write(outputs[i], "it is the same file as " + input);
      }
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (is_same(outputs[i], outputs[j])) {
        throw cannot_write(outputs[i], "something else is written to the same file");
      }
    }
  }
}

void flush_standard_output() {
  if (std::cout.flush()) return;
  pollfd out{STDOUT_FILENO, 0, 0};
  if (poll(&out, 1, 0) == 1 && (out.revents & POLLERR) != 0) throw closed_pipe();
  throw cannot_write("standard output", std::strerror(errno));
}

std::string with_size(const std::string& file) {
  std::error_code error;
  const auto bytes = static_cast<double>(fs::file_size(file, error));
  if (error) return file;
  std::array<char, 32> text;
  const bool large = bytes >= 1e6;
  std::snprintf(text.data(), text.size(), bytes < 1000 ? " (%.0f bytes)" : " (%.1f %cB)",
                bytes < 1000 ? bytes : bytes / (large ? 1e6 : 1e3), large ? 'M' : 'K');
  return file + text.data();
}

orvik::view::terminal terminal_of(bool to_stdout, const std::string& color) {
  const bool shown = to_stdout && isatty(STDOUT_FILENO) == 1;
  const bool plain = std::getenv("NO_COLOR") != nullptr;
  return {window_width(), color == "always" || (color == "auto" && shown && !plain),
          shows_unicode()};
}

}  // namespace orvverbs
