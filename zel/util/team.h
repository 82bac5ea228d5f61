// Processes that make one run together.
//
// Each has the whole program and the whole data and takes the same steps in the same order; of some
// loops each does a part, and what it found is told to the others, so that all go on with the same.
// What a task gives must not hang on the process that does it. The members trust one another: what
// they tell is not checked as files are.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "zel/util/nocopy.h"

namespace zel::util {

class run_context;

/// Threads: claim() from any thread; the rest from one.
class team : private nocopy {
 public:
  virtual ~team() = default;
  virtual unsigned long size() const = 0;
  /// 0 to size() - 1; what the run gives is written by 0.
  virtual unsigned long rank() const = 0;
  /// The next of 0, 1, 2, ... that no process was given since the last exchange.
  virtual unsigned long claim() = 0;

  /// Every process gets what each has to tell, by rank. Where one told of an error instead, all the
  /// others throw it as std::runtime_error with its rank, now and ever after.
  std::vector<std::string> exchange(const std::string& told);
  /// Ends the run of all: what the others do next fails. Does nothing when they know of an error.
  void tell_error(std::string_view text);
  /// Whether an error was told, by this process or another.
  bool has_failed() const { return failed_; }

 private:
  /// Called by every process; @return what each gave, by rank.
  virtual std::vector<std::string> gather(const std::string& mine) = 0;

  bool failed_ = false;
};

/// Calls work(i) for every i of [0, n), each in one process of the team of `run`, `at_once` of them
/// at a time, and then in every process take(i, what work(i) gave), one call after another. Called
/// by all, inside with_workers() where several are at work at once. Throws in all what was thrown
/// in one. Inside work(i) the run has no team.
void share_out(const run_context& run, unsigned long n, unsigned long at_once,
               const std::function<std::string(unsigned long)>& work,
               const std::function<void(unsigned long, std::string_view)>& take);

/// While it lives the run has no team.
class working_alone : private nocopy {
 public:
  explicit working_alone(const run_context& run);
  ~working_alone();
  team* companions() const { return companions_; }

 private:
  const run_context& run_;
  team* companions_;
};

}  // namespace zel::util
