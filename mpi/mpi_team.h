// The processes that mpirun started.
//
// The first process numbers the tasks. Others ask it by messages, which every network has; it
// answers whenever it takes a number itself, and besides on a thread of its own, as it may be at
// work for long.
#pragma once

#include <mpi.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zel/util/team.h"

namespace orvmpi {

/// One at a time in a process; begins and ends MPI. Errors of MPI itself end all processes.
class mpi_team : public zel::util::team {
 public:
  mpi_team(int& argc, char**& argv);
  ~mpi_team() override;

  unsigned long size() const override { return static_cast<unsigned long>(size_); }
  unsigned long rank() const override { return static_cast<unsigned long>(rank_); }
  unsigned long claim() override;
  /// Processes of the team on this machine.
  unsigned long size_on_this_machine() const;

 private:
  std::vector<std::string> gather(const std::string& mine) override;
  void swap(const std::vector<std::string>& told, std::vector<std::string>& found) override;
  std::vector<unsigned long> numbers_of_all(unsigned long mine) const;
  void answer_all();
  void await_all();

  int size_ = 1, rank_ = 0;
  std::mutex mutex_;  // one thread at a time calls MPI
  // Of the first process:
  unsigned long next_ = 0;  // number of a task
  int n_waiting_ = 0;       // processes that have come to the exchange
  std::jthread answering_;
};

}  // namespace orvmpi
