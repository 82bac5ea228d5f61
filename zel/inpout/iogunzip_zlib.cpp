// Reading compressed files by zlib.
#include "zel/inpout/iogunzip.h"
#include "zel/inpout/iogz.h"

namespace zel::inpout {

struct iogunzip::engine {
  iogz file;
};

iogunzip::iogunzip(unsigned) : engine_(std::make_unique<engine>()) {}

iogunzip::~iogunzip() = default;

void iogunzip::close() { engine_->file.close(); }

bool iogunzip::eof() { return engine_->file.eof(); }

bool iogunzip::is_open() const { return engine_->file.is_open(); }

bool iogunzip::rewind() { return engine_->file.rewind(); }

long iogunzip::read(void* bytes, long count) {
  const long got = engine_->file.read(bytes, count);
  if (got < 0) set_error(engine_->file.error());
  return got;
}

long iogunzip::lseek(long offset, int whence) { return engine_->file.lseek(offset, whence); }

long iogunzip::tell() { return engine_->file.tell(); }

bool iogunzip::open(const std::string& name, int mode) {
  mode_ = mode;
  forget_failures();
  return engine_->file.open(name, mode_read, 1, Z_DEFAULT_STRATEGY);
}

bool iogunzip::is_compressed() { return engine_->file.is_compressed(); }

}  // namespace zel::inpout
