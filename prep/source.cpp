#include "source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "zel/inpout/iofile.h"
#include "zel/inpout/iogunzip.h"

namespace orvprep {

namespace {

constexpr char k_utf32[] = "text in UTF-32; convert it to UTF-8, as by iconv";
constexpr char k_unmarked[] =
    "text in UTF-16 without a byte order mark; convert it to UTF-8, as by iconv -f UTF-16";
constexpr char k_bad_utf16[] = "text in UTF-16 with half a character";
constexpr char k_mixed[] =
    "most of it is UTF-8, and some bytes are not; --encoding says how to take it";
constexpr char k_other[] = "not in UTF-8";
constexpr char k_no_temporary[] = "cannot make a temporary copy of the pipe: ";

constexpr std::size_t k_read_at_once = 1UL << 17;

std::string temporary_folder() {
  const char* folder = std::getenv("TMPDIR");
  return folder == nullptr || *folder == '\0' ? "/tmp" : folder;
}

/// Whether one half of the first characters is NUL throughout, and the other one never.
bool is_half_nul(std::string_view bytes) {
  constexpr std::size_t k_least = 4, k_looked_at = 256;
  const std::size_t n = std::min(bytes.size(), k_looked_at) / 2 * 2;
  if (n < k_least) return false;
  std::size_t even = 0, odd = 0;
  for (std::size_t i = 0; i < n; i += 2) {
    even += bytes[i] == '\0';
    odd += bytes[i + 1] == '\0';
  }
  return even + odd == n / 2 && (even == 0 || odd == 0);
}

}  // namespace

source::source(const std::string& name, encoding wanted)
    : name_(name),
      path_(name),
      buffer_(k_read_at_once),
      encoding_(wanted),
      checked_(wanted != encoding::find_out) {
  struct stat status = {};
  if (name != "-" && ::stat(name.c_str(), &status) != 0) fail(std::strerror(errno));
  if (name == "-" || S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) spool();
  open();
}

source::~source() {
  if (copy_ != -1) ::close(copy_);
}

void source::fail(const std::string& reason) const {
  throw std::runtime_error(name_ + ": " + reason);
}

/// Copies the pipe to a file without a name.
void source::spool() {
  std::string path = temporary_folder() + "/orvprep-XXXXXX";
  copy_ = ::mkostemp(path.data(), O_CLOEXEC);
  if (copy_ == -1) fail(k_no_temporary + std::string(std::strerror(errno)));
  ::unlink(path.c_str());
  zel::inpout::iofile in, out;
  const bool opened = name_ == "-" ? in.open(::dup(STDIN_FILENO)) : in.open(name_, 2, 0);
  if (!opened) fail(std::strerror(errno));
  out.open(::dup(copy_));
  for (;;) {
    const long got = in.read(buffer_.data(), static_cast<long>(buffer_.size()));
    if (got < 0) fail(in.error());
    if (got == 0) break;
    for (long done = 0; done < got;) {
      const long put = out.write(buffer_.data() + done, got - done);
      if (put < 1) fail(k_no_temporary + out.error());
      done += put;
    }
  }
  path_ = "/proc/self/fd/" + std::to_string(copy_);
}

void source::open() {
  auto conn = std::make_unique<zel::inpout::iogunzip>();
  errno = 0;
  if (!conn->open(path_)) fail(std::strerror(errno));
  conn_ = std::move(conn);
  at_start_ = at_line_ = true;
  in_comment_ = in_quotes_ = false;
  lines_left_ = first_lines_;
  utf8_ = {};
  utf16_ = utf16_decoder(encoding_ == encoding::utf16_little);
  lines_ = 1;
}

void source::pass_over(unsigned long first_lines, char comment) {
  first_lines_ = first_lines;
  comment_ = comment;
  at_start_ = false;
}

void source::rewind() {
  if (!at_start_) open();
}

std::string_view source::read() {
  for (;;) {
    const long got = conn_->read(buffer_.data(), static_cast<long>(buffer_.size()));
    if (got < 0) fail(conn_->error());
    std::string_view text(buffer_.data(), static_cast<std::size_t>(got));
    if (at_start_) find_mark(text);
    at_start_ = false;
    text = decoded(text);
    if (lines_left_ > 0) text = without_first_lines(text);
    if (comment_ != 0) text = without_comments(text);
    if (got == 0 || !text.empty()) return text;
  }
}

/// Takes the byte order mark off the first bytes.
void source::find_mark(std::string_view& bytes) {
  if (bytes.starts_with(std::string_view("\xff\xfe\0\0", 4)) ||
      bytes.starts_with(std::string_view("\0\0\xfe\xff", 4))) {
    fail(k_utf32);
  }
  if (bytes.starts_with("\xff\xfe") || bytes.starts_with("\xfe\xff")) {
    encoding_ = bytes[0] == '\xff' ? encoding::utf16_little : encoding::utf16_big;
    utf16_ = utf16_decoder(encoding_ == encoding::utf16_little);
    bytes.remove_prefix(2);
  }
  if (bytes.starts_with("\xef\xbb\xbf")) bytes.remove_prefix(3);
  const bool marked = encoding_ == encoding::utf16_little || encoding_ == encoding::utf16_big;
  if (!marked && is_half_nul(bytes)) fail(k_unmarked + std::string(bytes[0] == '\0' ? "BE" : "LE"));
}

/// The bytes of a block, none at the end of the file, as UTF-8.
std::string_view source::decoded(std::string_view bytes) {
  if (encoding_ == encoding::utf16_little || encoding_ == encoding::utf16_big) {
    text_.clear();
    if (!utf16_.feed(bytes, text_) || (bytes.empty() && !utf16_.is_complete())) fail(k_bad_utf16);
    return text_;
  }
  if (!checked_) check(bytes);
  if (encoding_ != encoding::cp1252) return bytes;
  if (first_odd_line_ == 0) count_to_odd(bytes);
  if (is_ascii(bytes)) return bytes;
  text_ = from_cp1252(bytes);
  return text_;
}

/// Of the encoding that is found out, on the first reading to the end.
void source::check(std::string_view bytes) {
  const bool good = utf8_.feed(bytes) && (!bytes.empty() || utf8_.is_complete());
  checked_ = bytes.empty();
  if (encoding_ == encoding::find_out && good) return;
  if (utf8_.has_long()) fail(k_mixed);
  if (encoding_ == encoding::cp1252) return;
  encoding_ = encoding::cp1252;
  throw other_encoding(name_ + ": " + k_other);
}

void source::count_to_odd(std::string_view bytes) {
  const auto odd = std::ranges::find_if(bytes, [](char c) { return (c & 0x80) != 0; });
  lines_ += static_cast<unsigned long>(std::count(bytes.begin(), odd, '\n'));
  if (odd != bytes.end()) first_odd_line_ = lines_;
}

/// Leaves the line ends, so that lines keep their numbers.
std::string_view source::without_first_lines(std::string_view text) {
  filtered_.clear();
  std::size_t at = 0;
  while (lines_left_ > 0 && at < text.size()) {
    const std::size_t end = text.find('\n', at);
    if (end == text.npos) return filtered_;
    filtered_ += '\n';
    at = end + 1;
    --lines_left_;
  }
  filtered_ += text.substr(at);
  return filtered_;
}

std::string_view source::without_comments(std::string_view text) {
  std::string left;
  for (const char c : text) {
    if (at_line_ && !in_quotes_) in_comment_ = c == comment_;
    at_line_ = c == '\n' || c == '\r';
    if (in_comment_ && !at_line_) continue;
    in_comment_ = false;
    if (c == '"') in_quotes_ = !in_quotes_;
    left += c;
  }
  filtered_ = std::move(left);
  return filtered_;
}

}  // namespace orvprep
