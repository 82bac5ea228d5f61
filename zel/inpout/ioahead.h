// Connection that reads another one ahead of its caller, on a thread of its own.
#pragma once

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// Hides the time that an input takes, such as one that is unpacked, behind that of its reader.
/// The thread starts when the first read has not met the end, and on more than one processor only;
/// it ends with the input, or when anything but a read is asked for.
/// Invariant: without the thread and without pieces the inner connection is where the caller is.
class ioahead : public ioconn {
 public:
  /// The most that one read delivers.
  static constexpr long k_piece = 1L << 19;

  /// Takes `inner`, not null, which is open for reading.
  explicit ioahead(std::unique_ptr<ioconn> inner);
  ~ioahead() override;

  void close() override;
  bool eof() override;
  [[nodiscard]] bool is_open() const override { return inner_->is_open(); }
  [[nodiscard]] int get_mode() const override { return inner_->get_mode(); }
  bool rewind() override;
  long write(const void* bytes, long count) override;
  /// What the inner connection gave in one read, and its failure behind what came before it.
  long read(void* bytes, long count) override;
  [[nodiscard]] bool is_random() const override { return inner_->is_random(); }
  long lseek(long offset, int whence) override;
  long tell() override;

 private:
  /// What one read gave.
  struct piece {
    std::unique_ptr<char[]> bytes;
    long size = 0;  // less than 1: the end, or a failure
    long taken = 0;
  };

  void start();
  void read_ahead();
  long read_inner(char* bytes, long count, std::string& error);
  void halt();
  void rest();

  std::unique_ptr<ioconn> inner_;  // the thread's while it runs
  std::thread thread_;
  long position_ = 0;  // of the caller, while the thread may be ahead
  piece* current_ = nullptr;

  std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  std::array<piece, 3> pieces_;  // a ring
  unsigned long filled_ = 0;     // pieces that the thread has filled,
  unsigned long emptied_ = 0;    // and that the caller is done with
  bool stop_ = false;
  std::string failure_;
};

}  // namespace zel::inpout
