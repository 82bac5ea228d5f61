#include "zel/util/cronos.h"

#include <sys/times.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <stdexcept>

namespace zel::util {

namespace {

constexpr char k_sleep_too_long[] = "cronos::sleep() called with too much time";

constexpr unsigned long k_us_per_ms = 1000;
constexpr unsigned long k_longest_ms = std::numeric_limits<unsigned long>::max() / k_us_per_ms;

timeval wall_now() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return now;
}

double process_now() {
  tms ticks{};
  times(&ticks);
  const double per_second = static_cast<double>(sysconf(_SC_CLK_TCK));
  const auto seconds = [per_second](clock_t t) { return static_cast<double>(t) / per_second; };
  return seconds(ticks.tms_utime) + seconds(ticks.tms_stime) + seconds(ticks.tms_cutime) +
         seconds(ticks.tms_cstime);
}

long microseconds(const timeval& t) { return t.tv_sec * 1000000L + t.tv_usec; }

}  // namespace

void cronos::start() {
  elapsed_ = 0;
  process_ = 0;
  restart();
}

void cronos::stop() {
  elapsed_ += static_cast<double>(microseconds(wall_now()) - microseconds(wall_start_)) / 1e6;
  process_ += process_now() - process_start_;
}

void cronos::restart() {
  wall_start_ = wall_now();
  process_start_ = process_now();
}

std::string cronos::get_current_time() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char text[26];  // what asctime_r asks for
  if (!localtime_r(&now, &local) || !asctime_r(&local, text)) return "\n";
  return text;
}

void cronos::sleep(unsigned long ms) {
  if (ms >= k_longest_ms) throw std::runtime_error(k_sleep_too_long);
  constexpr unsigned long k_step_ms = 1000000;  // usleep() counts in 32 bits
  while (ms > 0) {
    const unsigned long step = std::min(ms, k_step_ms);
    if (usleep(static_cast<useconds_t>(step * k_us_per_ms)) != 0) return;
    ms -= step;
  }
}

}  // namespace zel::util
