// Connection over a file descriptor: regular files, FIFOs, pipe ends.
#pragma once

#include <string>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// Unbuffered connection over a file descriptor, which it owns and closes.
class iofile : public ioconn {
 public:
  iofile() = default;
  ~iofile() override;

  void close() override;
  [[nodiscard]] bool is_open() const override { return fd_ != -1; }
  [[nodiscard]] int get_mode() const override { return mode_; }
  /// One system call, repeated when a signal interrupts it; 0 for a count below 1.
  long write(const void* bytes, long count) override;
  using ioconn::copy;
  /// As the base, after reserving the room when `source` is random. Throws what source.size()
  /// throws, so a gzip source cannot be copied.
  long copy(ioconn& source) override;
  /// One system call, repeated when a signal interrupts it; 0 for a count below 1.
  long read(void* bytes, long count) override;
  /// True for a regular file.
  [[nodiscard]] bool is_random() const override;
  /// @return the new position; -1 on failure and for an unknown `whence`.
  long lseek(long offset, int whence) override;
  /// Size by the descriptor's status. Throws std::runtime_error when it cannot be had.
  long size() override;

  /// Opens `name` after closing what was open. `mode`: mode_bits; neither read nor write means
  /// read only. `perms`: permissions of a file created by this call.
  virtual bool open(const std::string& name, int mode, int perms);
  /// The same opening for mapped use. Deliberate: always true; callers test is_open().
  virtual bool open_mmap(const std::string& name, int mode, int perms);
  /// Adopts `fd` after closing what was open. The mode is read and write as the owner's
  /// permission bits of the file say. @return fd >= 0.
  virtual bool open(int fd);
  /// Cuts or extends the file to `length` bytes, keeping the position when it grows.
  /// @return 1 on success, 0 when closed, `length` < 0 or a call failed, -1 without the write bit.
  virtual long resize(long length);
  /// Shared mapping of `length` bytes at `offset`, readable and writable as the mode says.
  /// @return its address, or MAP_FAILED.
  virtual void* mem_map(long offset, long length);
  /// Unmaps; true for a null address and on success.
  virtual bool mem_unmap(void* address, long length);
  /// Writes changed pages back before it returns; true for a null address and on success.
  virtual bool mem_sync(void* address, long length);

  /// True when `path` exists and is a FIFO.
  static bool is_pipe(const char* path);
  /// Unit of mapping offsets: the page size, asked once; 0 when unknown.
  static unsigned long allocation_granularity();

 private:
  int mode_ = 0;
  int fd_ = -1;
};

}  // namespace zel::inpout
