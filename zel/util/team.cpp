#include "zel/util/team.h"

#include <array>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>

#include "zel/util/run_context.h"

namespace zel::util {

namespace {

// What is told begins with one of these.
constexpr char k_results = 'r', k_error = 'e';

void put_number(std::string& text, std::uint64_t number) {
  std::array<char, sizeof number> bytes;
  std::memcpy(bytes.data(), &number, sizeof number);
  text.append(bytes.data(), bytes.size());
}

std::uint64_t take_number(std::string_view& text) {
  std::uint64_t number = 0;
  std::memcpy(&number, text.data(), sizeof number);
  text.remove_prefix(sizeof number);
  return number;
}

/// What this process found in its part of [0, n): number, length and bytes of each.
std::string do_part(const run_context& run, unsigned long n, unsigned long at_once,
                    const std::function<std::string(unsigned long)>& work) {
  const working_alone alone(run);
  std::string found;
  std::mutex mutex;
  const auto work_until_none_is_left = [&](unsigned long) {
    for (unsigned long i = alone.companions()->claim(); i < n; i = alone.companions()->claim()) {
      const std::string bytes = work(i);
      const std::lock_guard lock(mutex);
      put_number(found, i);
      put_number(found, bytes.size());
      found += bytes;
    }
  };
  run.for_each_index(at_once, work_until_none_is_left);
  return found;
}

/// What the error being handled is called where another process tells of it.
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

}  // namespace

std::vector<std::string> team::exchange(const std::string& told) {
  std::vector<std::string> all = gather(k_results + told);
  for (unsigned long r = 0; r < all.size(); ++r) {
    if (all[r].front() == k_error) {
      failed_ = true;
      throw std::runtime_error("process " + std::to_string(r) + ": " + all[r].substr(1));
    }
    all[r].erase(0, 1);
  }
  return all;
}

void team::tell_error(std::string_view text) {
  if (failed_) return;
  failed_ = true;
  gather(k_error + std::string(text));
}

working_alone::working_alone(const run_context& run) : run_(run), companions_(run.companions) {
  run.companions = nullptr;
}

working_alone::~working_alone() { run_.companions = companions_; }

void share_out(const run_context& run, unsigned long n, unsigned long at_once,
               const std::function<std::string(unsigned long)>& work,
               const std::function<void(unsigned long, std::string_view)>& take) {
  std::string found;
  try {
    found = do_part(run, n, at_once, work);
  } catch (...) {
    run.companions->tell_error(name_of_error());
    throw;
  }
  for (const std::string& of_process : run.companions->exchange(found)) {
    std::string_view left = of_process;
    while (!left.empty()) {
      const std::uint64_t i = take_number(left), length = take_number(left);
      take(i, left.substr(0, length));
      left.remove_prefix(length);
    }
  }
}

}  // namespace zel::util
