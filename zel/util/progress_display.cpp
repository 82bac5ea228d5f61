#include "zel/util/progress_display.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <deque>
#include <new>
#include <system_error>

#include "zel/util/run_context.h"

namespace zel::util::progress {

namespace {

using std::chrono::steady_clock;

constexpr std::array<const char*, 4> k_units = {"rows", "nodes", "trees", "folds"};
constexpr std::chrono::milliseconds k_first{1000}, k_next{250}, k_line{20000};
constexpr std::chrono::seconds k_window{5};  // that a rate is taken of
constexpr double k_least_seconds = 0.5;      // before a rate means something

// Saves the place of the cursor, clears to the end of the line, and goes back after the text: what
// the log writes next stands where it would without it.
constexpr char k_save_and_clear[] =
    "\x1b"
    "7\x1b[K";
constexpr char k_restore[] =
    "\x1b"
    "8";

std::string short_number(double value) {
  std::array<char, 32> room;
  const char* format = value >= 1e7   ? "%.0f M"
                       : value >= 1e4 ? "%.0f K"
                       : value >= 10  ? "%.0f"
                                      : "%.1f";
  const double scaled = value >= 1e7 ? value / 1e6 : value >= 1e4 ? value / 1e3 : value;
  std::snprintf(room.data(), room.size(), format, scaled);
  return room.data();
}

double seconds_since(steady_clock::time_point then) {
  return std::chrono::duration<double>(steady_clock::now() - then).count();
}

/// The readings of the last seconds, of one kind of work.
class window {
 public:
  std::string text_for(const reading& at, const char* stage) {
    const auto now = steady_clock::now();
    const bool other = stage != stage_ || at.of != last_.of || at.done < last_.done;
    if (other) {
      began_ = now;
      samples_.clear();
    }
    stage_ = stage;
    last_ = at;
    samples_.push_back({now, at.done});
    while (samples_.size() > 2 && now - samples_.front().first > k_window) samples_.pop_front();
    if (stage != nullptr)
      return std::string(stage) + ", " + short_number(seconds_since(began_)) + " s";
    // The first sample of all: work had begun with nothing done.
    const auto& [then, done] = samples_.front();
    return text_of(at, std::chrono::duration<double>(now - then).count(), at.done - done);
  }

 private:
  const char* stage_ = nullptr;
  reading last_{unit::rows, 0, 0};
  steady_clock::time_point began_ = steady_clock::now();
  std::deque<std::pair<steady_clock::time_point, unsigned long>> samples_;
};

}  // namespace

std::string text_of(const reading& at, double seconds, unsigned long recent) {
  if (at.done == 0) return {};
  const std::string units = k_units[static_cast<unsigned>(at.of)];
  std::string text = at.total > 0      ? std::to_string(at.done) + " of " + std::to_string(at.total)
                     : at.done < 10000 ? std::to_string(at.done)
                                       : short_number(static_cast<double>(at.done));
  text += ' ' + units;
  if (seconds < k_least_seconds || recent == 0) return text;
  const double rate = static_cast<double>(recent) / seconds;
  text += ", " + short_number(rate) + " " + units + "/s";
  if (at.total > at.done) {
    text += ", " + short_number(static_cast<double>(at.total - at.done) / rate) + " s left";
  }
  return text;
}

display::display(bool shown) : on_terminal_(isatty(STDERR_FILENO) == 1) {
  if (!shown) return;
  try {
    shower_ = std::thread([this] {
      try {
        run();
      } catch (const std::bad_alloc&) {  // nor is memory: the run decides whether it has enough
      }
    });
  } catch (const std::system_error&) {  // no thread to be had: work goes on unseen
  }
}

display::~display() {
  if (!shower_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    end_ = true;
  }
  ended_.notify_one();
  shower_.join();
}

void display::run() {
  window recent;
  bool visible = false;
  auto told = steady_clock::now();
  std::unique_lock lock(mutex_);
  for (auto wait = k_first; !ended_.wait_for(lock, wait, [this] { return end_; }); wait = k_next) {
    const std::string text = recent.text_for(default_context().progress().read(), current_stage());
    if (!on_terminal_) {
      if (steady_clock::now() - told < k_line || text.empty()) continue;
      told = steady_clock::now();
    }
    show(text);
    visible = true;
  }
  if (visible && on_terminal_) show("");
}

/// In one call, so that it does not mix with the log.
void display::show(const std::string& text) {
  const std::string bytes =
      on_terminal_ ? k_save_and_clear + (text.empty() ? "" : "  " + text) + k_restore : text + '\n';
  static_cast<void>(!write(STDERR_FILENO, bytes.data(), bytes.size()));
}

}  // namespace zel::util::progress
