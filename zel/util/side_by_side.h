// Results of a loop, made by all workers and all processes of a run.
#pragma once

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "zel/util/run_context.h"
#include "zel/util/team.h"

namespace zel::util {

/// A result as bytes: pack(result) gives them, unpack(bytes) the result again.
template <class T>
struct result_bytes;

template <class T>
struct result_bytes<std::vector<T>> {
  static std::string pack(const std::vector<T>& items) { return bytes_of_items(items); }
  static std::vector<T> unpack(std::string_view bytes) { return take_items<T>(bytes); }
};

/// Of a record: items_of(record) ties its vectors and texts; what else it has is left as it is
/// made.
template <class T>
requires requires(T& record) { items_of(record); }
struct result_bytes<T> {
  static std::string pack(T record) {
    std::string bytes;
    std::apply([&](auto&... each) { (put_items(bytes, each), ...); }, items_of(record));
    return bytes;
  }
  static T unpack(std::string_view bytes) {
    T record;
    std::apply([&](auto&... each) { (take_into(bytes, each), ...); }, items_of(record));
    return record;
  }

 private:
  template <class Items>
  static void take_into(std::string_view& bytes, Items& items) {
    const auto taken = take_items<typename Items::value_type>(bytes);
    items.assign(taken.begin(), taken.end());
  }
};

template <>
struct result_bytes<std::string> {
  static std::string pack(const std::string& text) { return text; }
  static std::string unpack(std::string_view bytes) { return std::string(bytes); }
};

/// Makes results[i] = make(i) for all, side by side, each in one process; `kept`: also in the store
/// of the run, as they are, so that any results of their type must do. Called inside
/// with_workers().
template <class T, class Make>
void make_side_by_side(const run_context& run, std::vector<T>& results, const Make& make,
                       bool kept = false) {
  const auto make_one = [&](unsigned long i) { results[i] = make(i); };
  if (!is_shared_out(run, kept)) return run.for_each_index(results.size(), make_one);
  const kept_form as_it_is{};
  share_out(
      run, results.size(), run.n_slots(),
      [&](unsigned long i) { return result_bytes<T>::pack(make(i)); },
      [&](unsigned long i, std::string_view bytes) { results[i] = result_bytes<T>::unpack(bytes); },
      kept ? &as_it_is : nullptr);
}

}  // namespace zel::util
