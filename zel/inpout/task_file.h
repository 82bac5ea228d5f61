// A file that keeps the results of finished tasks, so that a run that was ended can go on.
//
//   begin    "orvtasks", layout as 4 bytes, and what the run is: three numbers of 8 bytes; crc-32
//   record   loop, tasks of the loop, task, length of the result, 8 bytes each; the result; crc-32
//
// A record is appended by one write when its task ends: a process that is killed loses at most the
// one it was writing, and a file that ends within a record is cut off there. Anything else that is
// not as it should be is an error: what is read is as untrusted as any file. Numbers are
// little-endian.
#pragma once

#include <array>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "zel/util/team.h"

namespace zel::inpout {

/// What results hang on, as numbers that hardly ever are equal by chance: the program, what it was
/// asked for, the data.
struct run_mark {
  std::uint64_t program, options, data;
};

class task_file : public zel::util::task_store {
 public:
  /// Keeps results in `own`, which is begun where there is none, and finds those in it and in
  /// `others`. Throws std::runtime_error, with the name, for a file that cannot be used, is of
  /// another run, is damaged, or is in use by another process.
  task_file(const std::string& own, const std::vector<std::string>& others, const run_mark& run);
  ~task_file() override;

  unsigned long begin_loop(unsigned long n) override;
  std::optional<std::string> find(unsigned long loop, unsigned long task) const override;
  void keep(unsigned long loop, unsigned long task, std::string_view result) override;
  std::string name() const override { return name_; }

 private:
  struct piece {
    int file;
    unsigned long n;  // tasks of the loop
    unsigned long at, length;
  };

  int open_file(const std::string& name, int flags);
  void begin(const std::string& name, int file, const run_mark& run) const;
  unsigned long index(const std::string& name, int file);

  std::string name_;
  std::vector<int> files_;                                           // the first is the own one
  std::map<std::pair<unsigned long, unsigned long>, piece> pieces_;  // by loop and task
  std::vector<unsigned long> loops_;                                 // tasks, of this run
  mutable std::mutex mutex_;
};

}  // namespace zel::inpout
