#include "source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "zel/inpout/iofile.h"
#include "zel/inpout/iogunzip.h"

namespace orvprep {

namespace {

constexpr char k_utf16[] = "text in UTF-16 or UTF-32; convert it to UTF-8, as by iconv";
constexpr char k_no_temporary[] = "cannot make a temporary copy of the pipe: ";

constexpr std::size_t k_block = 1UL << 17;

std::string temporary_folder() {
  const char* folder = std::getenv("TMPDIR");
  return folder == nullptr || *folder == '\0' ? "/tmp" : folder;
}

}  // namespace

source::source(const std::string& name) : name_(name), path_(name), buffer_(k_block) {
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
  at_start_ = true;
}

void source::rewind() {
  if (!at_start_) open();
}

std::string_view source::read() {
  const long got = conn_->read(buffer_.data(), static_cast<long>(buffer_.size()));
  if (got < 0) fail(conn_->error());
  std::string_view bytes(buffer_.data(), static_cast<std::size_t>(got));
  if (at_start_) {
    if (bytes.starts_with("\xff\xfe") || bytes.starts_with("\xfe\xff")) fail(k_utf16);
    if (bytes.starts_with("\xef\xbb\xbf")) {
      bytes.remove_prefix(3);
      at_start_ = false;
      if (bytes.empty()) return read();
    }
  }
  at_start_ = false;
  return bytes;
}

}  // namespace orvprep
