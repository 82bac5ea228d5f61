// Processes that make one run together, and results that outlast a run.
//
// Each has the whole program and the whole data and takes the same steps in the same order; of some
// loops each does a part, and what it found is told to the others, so that all go on with the same.
// What a task gives must not hang on the process that does it. The members trust one another: what
// they tell is not checked as files are.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "zel/util/nocopy.h"
#include "zel/util/seed.h"

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
  /// Every process gets what each has for it alone, by rank; `told` is for each. Errors as above.
  std::vector<std::string> deal(std::vector<std::string> told);
  /// Ends the run of all: what the others do next fails. Does nothing when they know of an error.
  void tell_error(std::string_view text);
  /// Whether an error was told, by this process or another.
  bool has_failed() const { return !failure_.empty(); }
  void require_no_failure() const;

 private:
  /// Called by every process; @return what each gave, by rank.
  virtual std::vector<std::string> gather(const std::string& mine) = 0;
  /// Called by every process; sends told[r] to process r and receives as many bytes from it as its
  /// text in `found` is long. What is for this one is there already.
  virtual void swap(const std::vector<std::string>& told, std::vector<std::string>& found) = 0;

  std::string failure_;  // the first error that was told, and by whom
};

/// What the error being handled is called where another process tells of it.
std::string name_of_error();

/// Results of tasks of an earlier run like this one, and place for those of this run. Loops are
/// numbered in the order in which a run comes to them.
/// Threads: keep() from any thread; the rest from one, between the loops.
class task_store : private nocopy {
 public:
  virtual ~task_store() = default;
  /// @return the number of a loop of n tasks that begins.
  virtual unsigned long begin_loop(unsigned long n) = 0;
  /// What was kept of a task; nothing if it was not.
  virtual std::optional<std::string> find(unsigned long loop, unsigned long task) const = 0;
  /// Throws std::runtime_error where it cannot.
  virtual void keep(unsigned long loop, unsigned long task, std::string_view result) = 0;
  /// In messages.
  virtual std::string name() const = 0;
};

/// How the results of a loop are kept in a store. What comes from there is untrusted.
struct kept_form {
  /// From what work() gave; null: as it is.
  std::function<std::string(std::string_view)> keep;
  /// Task and what was kept of it, to what work() would have given; nothing: it is to be done
  /// again. Throws std::runtime_error where it is damaged.
  std::function<std::optional<std::string>(unsigned long, std::string_view)> restore;
};

/// Calls work(i) for every i of [0, n), each in one process of the team of `run`, if there is one,
/// `at_once` of them at a time, and then in every process take(i, what work(i) gave), one call
/// after another. With a `form` tasks that the store of the run has are not done, and others are
/// kept there as they finish. Called by all processes, inside with_workers() where several are at
/// work at once. Throws in all what was thrown in one. Inside work(i) the run has no team and no
/// store.
void share_out(const run_context& run, unsigned long n, unsigned long at_once,
               const std::function<std::string(unsigned long)>& work,
               const std::function<void(unsigned long, std::string_view)>& take,
               const kept_form* form = nullptr);

/// Whether share_out() does more than a plain loop: else what work() gives need not become bytes.
bool is_shared_out(const run_context& run, bool with_store);

/// The same, one task at a time, for tasks that draw seeds from the sequences of the run: each goes
/// on where the one before it ended, and take() is called in their order. Processes begin with
/// tasks in the middle, so they need to know what is drawn by those before: `drawn` by each, as far
/// as the caller can tell. What began elsewhere is done again. Without a team, and with one
/// process, a plain loop. Results may be kept; `is_whole` throws for those that are not.
void share_out_in_turn(run_context& run, unsigned long n, const seed_source::places& drawn,
                       const std::function<std::string(unsigned long)>& work,
                       const std::function<void(unsigned long, std::string_view)>& take,
                       const std::function<void(std::string_view)>& is_whole);

/// While it lives the run has no team and no store.
class working_alone : private nocopy {
 public:
  explicit working_alone(const run_context& run);
  ~working_alone();
  team* companions() const { return companions_; }
  task_store* store() const { return store_; }

 private:
  const run_context& run_;
  team* companions_;
  task_store* store_;
};

// Results as bytes of this machine's kind: processes of a team run the same program.

/// Appends the number of items, such as those of a vector or a text, and the items.
template <class Items>
void put_items(std::string& bytes, const Items& items) {
  using item = typename Items::value_type;
  static_assert(std::is_trivially_copyable_v<item>);
  const std::uint64_t n = items.size();
  bytes.append(reinterpret_cast<const char*>(&n), sizeof n);
  bytes.append(reinterpret_cast<const char*>(items.data()), n * sizeof(item));
}
template <class Items>
std::string bytes_of_items(const Items& items) {
  std::string bytes;
  put_items(bytes, items);
  return bytes;
}

[[noreturn]] void throw_short_result();

/// Takes them from the front. Throws std::runtime_error where there are fewer.
template <class T>
std::vector<T> take_items(std::string_view& bytes) {
  std::uint64_t n = 0;
  if (bytes.size() < sizeof n) throw_short_result();
  std::memcpy(&n, bytes.data(), sizeof n);
  bytes.remove_prefix(sizeof n);
  if (n > bytes.size() / sizeof(T)) throw_short_result();
  std::vector<T> items(n);
  if (n > 0) std::memcpy(items.data(), bytes.data(), n * sizeof(T));
  bytes.remove_prefix(n * sizeof(T));
  return items;
}

}  // namespace zel::util
