#include "mpi_team.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace orvmpi {

namespace {

constexpr char k_no_threads[] = "This MPI does not let threads take turns in calling it";
// What others tell the first process: that they want the number of a task, or wait for all.
constexpr int k_question = 1, k_answer = 2, k_dealt = 3;  // tags
constexpr char k_next = 'n', k_waits = 'w';

constexpr std::chrono::microseconds k_pause{1000}, k_short_pause{50};

constexpr unsigned long k_largest_part = 1UL << 30;  // of a message: MPI counts in int

/// Calls each(at, length) for the parts of a text that messages can have.
template <class Each>
void for_each_part(unsigned long size, const Each& each) {
  for (std::size_t at = 0; at < size; at += k_largest_part) {
    each(at, static_cast<int>(std::min(size - at, k_largest_part)));
  }
}

void broadcast(std::string& text, int from) {
  for_each_part(text.size(), [&](std::size_t at, int length) {
    MPI_Bcast(text.data() + at, length, MPI_BYTE, from, MPI_COMM_WORLD);
  });
}

}  // namespace

mpi_team::mpi_team(int& argc, char**& argv) {
  int provided = MPI_THREAD_SINGLE;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_SERIALIZED, &provided);
  if (provided < MPI_THREAD_SERIALIZED) throw std::runtime_error(k_no_threads);
  MPI_Comm_size(MPI_COMM_WORLD, &size_);
  MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
  if (rank_ != 0 || size_ == 1) return;
  answering_ = std::jthread([this](const std::stop_token& end) {
    while (!end.stop_requested()) {
      std::this_thread::sleep_for(k_pause);
      const std::lock_guard lock(mutex_);
      answer_all();
    }
  });
}

mpi_team::~mpi_team() {
  answering_ = {};  // which ends it
  MPI_Finalize();
}

unsigned long mpi_team::claim() {
  const std::lock_guard lock(mutex_);
  if (rank_ == 0) {
    answer_all();
    return next_++;
  }
  unsigned long number = 0;
  MPI_Send(&k_next, 1, MPI_CHAR, 0, k_question, MPI_COMM_WORLD);
  MPI_Recv(&number, 1, MPI_UNSIGNED_LONG, 0, k_answer, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
  return number;
}

/// In the first process, with the mutex held: what others have asked until now.
void mpi_team::answer_all() {
  while (true) {
    int asked = 0;
    MPI_Status from;
    MPI_Iprobe(MPI_ANY_SOURCE, k_question, MPI_COMM_WORLD, &asked, &from);
    if (asked == 0) return;
    char what = k_next;
    MPI_Recv(&what, 1, MPI_CHAR, from.MPI_SOURCE, k_question, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    if (what == k_waits) {
      ++n_waiting_;
      continue;
    }
    MPI_Send(&next_, 1, MPI_UNSIGNED_LONG, from.MPI_SOURCE, k_answer, MPI_COMM_WORLD);
    ++next_;
  }
}

/// All must know that nobody asks for a task any more: who waits for the others does not answer.
void mpi_team::await_all() {
  if (rank_ != 0) {
    MPI_Send(&k_waits, 1, MPI_CHAR, 0, k_question, MPI_COMM_WORLD);
    return;
  }
  for (answer_all(); n_waiting_ < size_ - 1; answer_all())
    std::this_thread::sleep_for(k_short_pause);
  n_waiting_ = 0;
  next_ = 0;
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

std::vector<std::string> mpi_team::gather(const std::string& mine) {
  const std::lock_guard lock(mutex_);
  await_all();
  const std::vector<unsigned long> lengths = numbers_of_all(mine.size());
  std::vector<std::string> all(size());
  for (int r = 0; r < size_; ++r) {
    std::string& text = all[static_cast<unsigned long>(r)];
    r == rank_ ? void(text = mine) : text.resize(lengths[static_cast<unsigned long>(r)]);
    broadcast(text, r);
  }
  return all;
}

void mpi_team::swap(const std::vector<std::string>& told, std::vector<std::string>& found) {
  const std::lock_guard lock(mutex_);
  std::vector<MPI_Request> under_way;
  for (int r = 0; r < size_; ++r) {
    if (r == rank_) continue;
    std::string& from_it = found[static_cast<unsigned long>(r)];
    for_each_part(from_it.size(), [&](std::size_t at, int length) {
      MPI_Irecv(from_it.data() + at, length, MPI_BYTE, r, k_dealt, MPI_COMM_WORLD,
                &under_way.emplace_back());
    });
    const std::string& to_it = told[static_cast<unsigned long>(r)];
    for_each_part(to_it.size(), [&](std::size_t at, int length) {
      MPI_Isend(to_it.data() + at, length, MPI_BYTE, r, k_dealt, MPI_COMM_WORLD,
                &under_way.emplace_back());
    });
  }
  MPI_Waitall(static_cast<int>(under_way.size()), under_way.data(), MPI_STATUSES_IGNORE);
}

}  // namespace orvmpi
