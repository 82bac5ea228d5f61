#include "progress.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <system_error>

#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

using std::chrono::steady_clock;
using zel::util::progress::reading;
using zel::util::progress::unit;

constexpr std::array<const char*, 4> k_units = {"rows", "nodes", "trees", "folds"};
constexpr std::chrono::milliseconds k_first{1000}, k_next{250};
constexpr double k_least_seconds = 0.5;  // before a rate means something

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

}  // namespace

std::string progress_text(const reading& at, double seconds) {
  if (at.done == 0) return {};
  const std::string units = k_units[static_cast<unsigned>(at.of)];
  std::string text = at.total > 0      ? std::to_string(at.done) + " of " + std::to_string(at.total)
                     : at.done < 10000 ? std::to_string(at.done)
                                       : short_number(static_cast<double>(at.done));
  text += ' ' + units;
  if (seconds < k_least_seconds) return text;
  const double rate = static_cast<double>(at.done) / seconds;
  text += ", " + short_number(rate) + " " + units + "/s";
  if (at.total > at.done) {
    text += ", " + short_number(static_cast<double>(at.total - at.done) / rate) + " s left";
  }
  return text;
}

progress_display::progress_display(const options& opt) {
  if (!opt.log_stdout || isatty(STDERR_FILENO) == 0) return;
  try {
    shower_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {  // no thread to be had: work goes on unseen
  }
}

progress_display::~progress_display() {
  if (!shower_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    end_ = true;
  }
  ended_.notify_one();
  shower_.join();
}

void progress_display::run() {
  unit shown = unit::rows;
  unsigned long last = 0;
  auto since = steady_clock::now();
  bool visible = false;
  std::unique_lock lock(mutex_);
  for (auto wait = k_first; !ended_.wait_for(lock, wait, [this] { return end_; }); wait = k_next) {
    const reading at = zel::util::default_context().progress().read();
    if (at.of != shown || at.done < last) since = steady_clock::now();
    shown = at.of;
    last = at.done;
    show(progress_text(at, std::chrono::duration<double>(steady_clock::now() - since).count()));
    visible = true;
  }
  if (visible) show("");
}

/// In one call, so that it does not mix with the log.
void progress_display::show(const std::string& text) {
  const std::string bytes = k_save_and_clear + (text.empty() ? "" : "  " + text) + k_restore;
  static_cast<void>(!write(STDERR_FILENO, bytes.data(), bytes.size()));
}

}  // namespace orvcmd
