// Processes of a run that are threads of one.
#pragma once

#include <atomic>
#include <barrier>
#include <cstddef>
#include <string>
#include <vector>

#include "zel/util/team.h"

namespace zel::util {

/// What the members of a team of threads have in common.
struct meeting_place {
  explicit meeting_place(unsigned long n)
      : told(n), dealt(n), all_here(static_cast<std::ptrdiff_t>(n)) {}
  std::vector<std::string> told;
  std::vector<const std::vector<std::string>*> dealt;
  std::barrier<> all_here;
  std::atomic<unsigned long> next = 0;
};

class thread_team : public team {
 public:
  thread_team(meeting_place& place, unsigned long rank) : place_(place), rank_(rank) {}
  unsigned long size() const override { return place_.told.size(); }
  unsigned long rank() const override { return rank_; }
  unsigned long claim() override { return place_.next++; }

 private:
  std::vector<std::string> gather(const std::string& mine) override {
    place_.told[rank_] = mine;
    place_.all_here.arrive_and_wait();
    std::vector<std::string> all = place_.told;
    if (rank_ == 0) place_.next = 0;
    place_.all_here.arrive_and_wait();
    return all;
  }
  void swap(const std::vector<std::string>& told, std::vector<std::string>& found) override {
    place_.dealt[rank_] = &told;
    place_.all_here.arrive_and_wait();
    for (unsigned long r = 0; r < size(); ++r) {
      if (r != rank_) found[r] = (*place_.dealt[r])[rank_];
    }
    place_.all_here.arrive_and_wait();
  }

  meeting_place& place_;
  unsigned long rank_;
};

}  // namespace zel::util
