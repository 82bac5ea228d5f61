// The processes that mpirun started.
#pragma once

#include <mpi.h>

#include <mutex>
#include <string>
#include <vector>

#include "zel/util/team.h"

namespace orvmpi {

/// One at a time in a process; begins and ends MPI. Errors of MPI itself end all processes.
/// Source of the shared counter: one-sided fetch-and-add, MPI 3.0, chapter 11.
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
  std::vector<unsigned long> numbers_of_all(unsigned long mine) const;

  int size_ = 1, rank_ = 0;
  std::mutex mutex_;  // one thread at a time calls MPI
  MPI_Win window_ = MPI_WIN_NULL;  // of the counter, which lies with rank 0
  unsigned long n_claimed_ = 0;    // by this process, since the last exchange
  unsigned long first_ = 0;        // the counter then
};

}  // namespace orvmpi
