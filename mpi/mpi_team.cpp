#include "mpi_team.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <stdexcept>

namespace orvmpi {

namespace {

constexpr char k_no_threads[] = "This MPI does not let threads take turns in calling it";
constexpr unsigned long k_largest_part = 1UL << 30;  // of a message: MPI counts in int

void broadcast(std::string& text, int from) {
  for (std::size_t at = 0; at < text.size(); at += k_largest_part) {
    const auto length = static_cast<int>(std::min(text.size() - at, k_largest_part));
    MPI_Bcast(text.data() + at, length, MPI_BYTE, from, MPI_COMM_WORLD);
  }
}

}  // namespace

mpi_team::mpi_team(int& argc, char**& argv) {
  int provided = MPI_THREAD_SINGLE;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_SERIALIZED, &provided);
  if (provided < MPI_THREAD_SERIALIZED) throw std::runtime_error(k_no_threads);
  MPI_Comm_size(MPI_COMM_WORLD, &size_);
  MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
  std::uint64_t* counter = nullptr;
  const MPI_Aint bytes = rank_ == 0 ? sizeof(std::uint64_t) : 0;
  MPI_Win_allocate(bytes, sizeof(std::uint64_t), MPI_INFO_NULL, MPI_COMM_WORLD, &counter, &window_);
  MPI_Win_lock_all(0, window_);
  if (rank_ == 0) {
    *counter = 0;
    MPI_Win_sync(window_);
  }
  MPI_Barrier(MPI_COMM_WORLD);
}

mpi_team::~mpi_team() {
  MPI_Win_unlock_all(window_);
  MPI_Win_free(&window_);
  MPI_Finalize();
}

unsigned long mpi_team::claim() {
  const std::uint64_t one = 1;
  std::uint64_t claimed = 0;
  const std::lock_guard lock(mutex_);
  MPI_Fetch_and_op(&one, &claimed, MPI_UINT64_T, 0, 0, MPI_SUM, window_);
  MPI_Win_flush(0, window_);
  ++n_claimed_;
  return claimed - first_;
}

unsigned long mpi_team::size_on_this_machine() const {
  MPI_Comm here = MPI_COMM_NULL;
  MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &here);
  int n = 1;
  MPI_Comm_size(here, &n);
  MPI_Comm_free(&here);
  return static_cast<unsigned long>(n);
}

std::vector<unsigned long> mpi_team::numbers_of_all(unsigned long mine) const {
  std::vector<unsigned long> all(size());
  MPI_Allgather(&mine, 1, MPI_UNSIGNED_LONG, all.data(), 1, MPI_UNSIGNED_LONG, MPI_COMM_WORLD);
  return all;
}

/// Nobody claims while anybody is here: all have done what they claimed, and so the counter stands
/// where their claims, those past the end of a loop among them, have brought it.
std::vector<std::string> mpi_team::gather(const std::string& mine) {
  const std::vector<unsigned long> claims = numbers_of_all(n_claimed_);
  first_ = std::accumulate(claims.begin(), claims.end(), first_);
  n_claimed_ = 0;
  const std::vector<unsigned long> lengths = numbers_of_all(mine.size());
  std::vector<std::string> all(size());
  for (int r = 0; r < size_; ++r) {
    std::string& text = all[static_cast<unsigned long>(r)];
    r == rank_ ? void(text = mine) : text.resize(lengths[static_cast<unsigned long>(r)]);
    broadcast(text, r);
  }
  return all;
}

}  // namespace orvmpi
