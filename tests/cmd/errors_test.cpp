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

struct ended {
  int status;
  std::string out;
};

ended run(const std::function<void()>& body) {
  std::ostringstream out;
  std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
  const int status = exit_status_of(body);
  std::cout.rdbuf(before);
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
      {[] { throw std::out_of_range("a\nb"); }, "a?b\n"},
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

}  // namespace
}  // namespace orvcmd
