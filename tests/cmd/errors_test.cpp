#include "errors.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace orvcmd {
namespace {

/// Sends std::cout to `target` for its life.
class redirected_output {
 public:
  explicit redirected_output(std::streambuf* target) : before_(std::cout.rdbuf(target)) {}
  ~redirected_output() {
    std::cout.rdbuf(before_);
    std::cout.clear();
  }

 private:
  std::streambuf* before_;
};

struct ended {
  int status;
  std::string out;
};

ended run(const std::function<void()>& body) {
  std::ostringstream out;
  const redirected_output redirected(out.rdbuf());
  const int status = exit_status_of(body);
  return {status, out.str()};
}

struct failing_body {
  void (*body)();
  const char* line;
};

TEST(exit_status, every_error_is_one_line_and_255) {
  const failing_body rows[] = {
      {[] { throw std::runtime_error("File: x not found or inaccessible"); },
       "File: x not found or inaccessible\n"},
      {[] { throw std::out_of_range("a\nb\r\tc\x7f"); }, "a?b??c?\n"},
      {[] { throw std::runtime_error("caf\xc3\xa9"); }, "caf\xc3\xa9\n"},
      {[] { throw std::bad_alloc(); }, "out of memory\n"},
      {[] { throw new std::runtime_error("on the heap"); }, "on the heap\n"},
      {[] { throw static_cast<std::runtime_error*>(nullptr); }, "unknown error\n"},
      {[] { throw 7; }, "unknown error\n"},
  };
  for (const failing_body& row : rows) {
    const ended end = run(row.body);
    EXPECT_EQ(end.out, row.line);
    EXPECT_EQ(end.status, 255) << row.line;
  }
}

TEST(exit_status, is_255_for_an_error_in_a_thread_of_others) {
  const auto fail_in_a_thread = [] {
    guard_process();
    dup2(STDERR_FILENO, STDOUT_FILENO);  // where the line can be checked
    std::thread([] { throw std::runtime_error("no more threads"); }).join();
  };
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(fail_in_a_thread(), testing::ExitedWithCode(255), "^no more threads\n$");
}

TEST(exit_status, is_255_when_standard_output_failed) {
  struct : std::streambuf {
  } closed;
  const redirected_output redirected(&closed);
  EXPECT_EQ(exit_status_of([] { std::cout << "report"; }), 255);
}

}  // namespace
}  // namespace orvcmd
