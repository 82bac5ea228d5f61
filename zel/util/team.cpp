#include "zel/util/team.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <new>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "zel/util/run_context.h"

namespace zel::util {

namespace {

// What is told begins with one of these.
constexpr char k_results = 'r', k_error = 'e';

constexpr char k_short_result[] = "a task's result ends early";
constexpr unsigned long k_nobody = ~0UL;

using work_function = std::function<std::string(unsigned long)>;
using take_function = std::function<void(unsigned long, std::string_view)>;

void put_result(std::string& found, unsigned long task, std::string_view bytes) {
  put_items(found, std::array{task});
  put_items(found, bytes);
}

/// Calls take(task, result) for all that was put.
void take_results(std::string_view found, const take_function& take) {
  while (!found.empty()) {
    const unsigned long task = take_items<unsigned long>(found).at(0);
    const std::vector<char> bytes = take_items<char>(found);
    take(task, {bytes.data(), bytes.size()});
  }
}

/// One loop, with the tasks that the store has.
class shared_loop {
 public:
  shared_loop(const run_context& run, unsigned long n, const kept_form* form)
      : run_(run), n_(n), form_(form), alone_(run) {
    if (form_ != nullptr && alone_.store() != nullptr) loop_ = alone_.store()->begin_loop(n);
  }

  bool has_team() const { return alone_.companions() != nullptr; }

  void do_alone(unsigned long at_once, const work_function& work, const take_function& take) {
    std::atomic<unsigned long> next = 0;
    std::mutex mutex;
    for_each_claimed(
        at_once, [&] { return next++; }, n_,
        [&](unsigned long i) {
          const std::string bytes = result(i, work);
          const std::lock_guard lock(mutex);
          take(i, bytes);
        });
  }

  void do_in_team(unsigned long at_once, const work_function& work, const take_function& take) {
    for (const std::string& found : together([&] { return do_part(at_once, work); })) {
      take_results(found, take);
    }
  }

 private:
  template <class Claim, class Do>
  void for_each_claimed(unsigned long at_once, const Claim& claim, unsigned long n,
                        const Do& each) const {
    run_.for_each_index(at_once, [&](unsigned long) {
      for (unsigned long i = claim(); i < n; i = claim()) {
        run_.require_not_cancelled();
        each(i);
      }
    });
  }

  /// What each process has to tell; all hear of what one throws.
  template <class Find>
  std::vector<std::string> together(const Find& find) const {
    std::string mine;
    try {
      mine = find();
    } catch (...) {
      alone_.companions()->tell_error(name_of_error());
      throw;
    }
    return alone_.companions()->exchange(mine);
  }

  std::optional<std::string> restored(unsigned long i) const {
    if (!loop_) return std::nullopt;
    std::optional<std::string> kept = alone_.store()->find(*loop_, i);
    if (!kept || !form_->restore) return kept;
    try {
      return form_->restore(i, *kept);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error("File " + alone_.store()->name() + ": " + error.what());
    }
  }

  std::string made(unsigned long i, const work_function& work) const {
    std::string bytes = work(i);
    if (loop_) alone_.store()->keep(*loop_, i, form_->keep ? form_->keep(bytes) : bytes);
    return bytes;
  }

  std::string result(unsigned long i, const work_function& work) const {
    const std::optional<std::string> before = restored(i);
    return before ? *before : made(i, work);
  }

  /// What this process found in its part, and what its store has that no earlier process's has.
  std::string do_part(unsigned long at_once, const work_function& work) {
    alone_.companions()->require_no_failure();
    std::string found;
    const std::vector<unsigned long> missing = loop_ ? missing_beside(found) : all_tasks();
    std::mutex mutex;
    const auto claim = [&] { return alone_.companions()->claim(); };
    for_each_claimed(at_once, claim, missing.size(), [&](unsigned long at) {
      const std::string bytes = made(missing[at], work);
      const std::lock_guard lock(mutex);
      put_result(found, missing[at], bytes);
    });
    return found;
  }

  std::vector<unsigned long> all_tasks() const {
    std::vector<unsigned long> all(n_);
    std::iota(all.begin(), all.end(), 0UL);
    return all;
  }

  /// The tasks that no process's store has; `found` receives the results that this one gives.
  std::vector<unsigned long> missing_beside(std::string& found) const {
    const std::map<unsigned long, std::string> mine = kept_here();
    const std::vector<unsigned long> owner = owners(mine);
    for (const auto& [i, bytes] : mine) {
      if (owner[i] == alone_.companions()->rank()) put_result(found, i, bytes);
    }
    std::vector<unsigned long> missing = all_tasks();
    std::erase_if(missing, [&](unsigned long i) { return owner[i] != k_nobody; });
    return missing;
  }

  std::map<unsigned long, std::string> kept_here() const {
    std::map<unsigned long, std::string> kept;
    for (unsigned long i = 0; i < n_; ++i) {
      if (std::optional<std::string> bytes = restored(i)) kept.emplace(i, std::move(*bytes));
    }
    return kept;
  }

  /// By task: the first process whose store has it.
  std::vector<unsigned long> owners(const std::map<unsigned long, std::string>& mine) const {
    std::vector<unsigned long> tasks;
    tasks.reserve(mine.size());
    for (const auto& [i, bytes] : mine) tasks.push_back(i);
    const std::vector<std::string> all = alone_.companions()->exchange(bytes_of_items(tasks));
    std::vector<unsigned long> owner(n_, k_nobody);
    for (unsigned long r = all.size(); r-- > 0;) {
      std::string_view bytes = all[r];
      for (const unsigned long i : take_items<unsigned long>(bytes)) owner.at(i) = r;
    }
    return owner;
  }

  const run_context& run_;
  unsigned long n_;
  const kept_form* form_;
  working_alone alone_;
  std::optional<unsigned long> loop_;  // in the store
};

// ---- tasks that draw

/// What a task gave, and where the sequences stood when it began and when it ended.
struct turn {
  seed_source::places begin{}, end{};
  std::string bytes;

  std::string packed() const {
    std::string all;
    put_items(all, begin);
    put_items(all, end);
    return all + bytes;
  }
  static turn of(std::string_view bytes) {
    turn made;
    for (seed_source::places* each : {&made.begin, &made.end}) {
      const std::vector<unsigned long> numbers = take_items<unsigned long>(bytes);
      if (numbers.size() != each->size()) throw_short_result();
      std::ranges::copy(numbers, each->begin());
    }
    made.bytes = bytes;
    return made;
  }
};

/// Where `n` tasks that draw alike after `from` end.
seed_source::places after(seed_source::places from, const seed_source::places& drawn,
                          unsigned long n) {
  for (std::size_t i = 0; i < from.size(); ++i) from[i] += drawn[i] * n;
  return from;
}

/// Tasks of a team that draw: those that began where they should, from the first on, and the rest.
class turns {
 public:
  turns(run_context& run, unsigned long n, const seed_source::places& drawn,
        const work_function& work)
      : run_(run), work_(work), drawn_(drawn), start_(run.seeds().where()), done_(n) {}

  /// Does those that did not begin where they should, or would not by what is known now.
  void do_missing(const kept_form* form) {
    std::vector<unsigned long> missing;
    std::vector<seed_source::places> begins;
    for (unsigned long i = n_settled_; i < done_.size(); ++i) {
      const seed_source::places begin = after(start_, drawn_, i - n_settled_);
      if (is_done_ && done_[i].begin == begin) continue;
      missing.push_back(i);
      begins.push_back(begin);
    }
    const auto from = [&](unsigned long at) {
      run_.seeds().go_to(begins[at]);
      const std::string bytes = work_(missing[at]);
      return turn{begins[at], run_.seeds().where(), bytes}.packed();
    };
    share_out(
        run_, missing.size(), /*at_once=*/1, from,
        [&](unsigned long at, std::string_view bytes) { done_[missing[at]] = turn::of(bytes); },
        form);
    is_done_ = true;
    settle();
  }

  bool all_settled() const { return n_settled_ == done_.size(); }
  /// Once all are.
  const std::vector<turn>& all() const { return done_; }

 private:
  void settle() {
    for (; n_settled_ < done_.size() && done_[n_settled_].begin == start_; ++n_settled_) {
      const turn& last = done_[n_settled_];
      for (std::size_t i = 0; i < drawn_.size(); ++i) drawn_[i] = last.end[i] - last.begin[i];
      start_ = last.end;
    }
    run_.seeds().go_to(start_);
  }

  run_context& run_;
  const work_function& work_;
  seed_source::places drawn_, start_;  // of the first task that is not settled
  std::vector<turn> done_;
  unsigned long n_settled_ = 0;
  bool is_done_ = false;
};

void take_turns_alone(run_context& run, unsigned long n, const work_function& work,
                      const take_function& take, const kept_form& form) {
  const auto from_here = [&](unsigned long i) {
    const seed_source::places begin = run.seeds().where();
    const std::string bytes = work(i);
    return turn{begin, run.seeds().where(), bytes}.packed();
  };
  const auto go_on = [&](unsigned long i, std::string_view bytes) {
    const turn done = turn::of(bytes);
    run.seeds().go_to(done.end);
    take(i, done.bytes);
  };
  share_out(run, n, /*at_once=*/1, from_here, go_on, &form);
}

}  // namespace

std::string name_of_error() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown error";
  }
}

void throw_short_result() { throw std::runtime_error(k_short_result); }

void team::require_no_failure() const {
  if (has_failed()) throw std::runtime_error(failure_);
}

std::vector<std::string> team::exchange(const std::string& told) {
  require_no_failure();
  std::vector<std::string> all = gather(k_results + told);
  for (unsigned long r = 0; r < all.size(); ++r) {
    if (all[r].front() == k_error) {
      failure_ = "process " + std::to_string(r) + ": " + all[r].substr(1);
      require_no_failure();
    }
    all[r].erase(0, 1);
  }
  return all;
}

/// All know the lengths before, and by that that none has failed.
std::vector<std::string> team::deal(std::vector<std::string> told) {
  std::vector<std::uint64_t> lengths;
  lengths.reserve(told.size());
  for (const std::string& text : told) lengths.push_back(text.size());
  const std::vector<std::string> all = exchange(bytes_of_items(lengths));
  std::vector<std::string> found(all.size());
  for (unsigned long r = 0; r < all.size(); ++r) {
    std::string_view bytes = all[r];
    if (r != rank()) found[r].resize(take_items<std::uint64_t>(bytes).at(rank()));
  }
  found[rank()] = std::move(told[rank()]);
  swap(told, found);
  return found;
}

void team::tell_error(std::string_view text) {
  if (has_failed()) return;
  failure_ = text.empty() ? "unknown error" : text;
  gather(k_error + failure_);
}

working_alone::working_alone(const run_context& run)
    : run_(run),
      companions_(std::exchange(run.companions, nullptr)),
      store_(std::exchange(run.store, nullptr)) {}

working_alone::~working_alone() {
  run_.companions = companions_;
  run_.store = store_;
}

bool is_shared_out(const run_context& run, bool with_store) {
  return run.companions != nullptr || (with_store && run.store != nullptr);
}

void share_out(const run_context& run, unsigned long n, unsigned long at_once,
               const work_function& work, const take_function& take, const kept_form* form) {
  shared_loop loop(run, n, form);
  loop.has_team() ? loop.do_in_team(at_once, work, take) : loop.do_alone(at_once, work, take);
}

void share_out_in_turn(run_context& run, unsigned long n, const seed_source::places& drawn,
                       const work_function& work, const take_function& take,
                       const std::function<void(std::string_view)>& is_whole) {
  const bool alone = run.companions == nullptr;
  const seed_source::places start = run.seeds().where();
  const kept_form form{nullptr, [&](unsigned long i, std::string_view bytes) {
                         const turn kept = turn::of(bytes);
                         is_whole(kept.bytes);
                         const bool fits =
                             kept.begin == (alone ? run.seeds().where() : after(start, drawn, i));
                         return fits ? std::optional<std::string>(bytes) : std::nullopt;
                       }};
  if (alone) return take_turns_alone(run, n, work, take, form);
  turns all(run, n, drawn, work);
  all.do_missing(&form);
  while (!all.all_settled()) all.do_missing(nullptr);
  for (unsigned long i = 0; i < n; ++i) take(i, all.all()[i].bytes);
}

}  // namespace zel::util
