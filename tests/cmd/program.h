/// Runs the built program as a user does, through the shell.
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

struct program_result {
  int status;       ///< exit status, -1 if a signal ended the program
  std::string out;  ///< standard output
};

inline program_result run_shell(const std::string& command) {
  program_result result{-1, ""};
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return result;
  std::array<char, 4096> block;
  while (const std::size_t n = fread(block.data(), 1, block.size(), pipe)) {
    result.out.append(block.data(), n);
  }
  const int ended = pclose(pipe);
  if (WIFEXITED(ended)) result.status = WEXITSTATUS(ended);
  return result;
}

/// `arguments` is shell text: quotes and redirections work. So is `before`, which the shell does
/// first: "ulimit -v 4000000;".
inline program_result run_program(const std::string& arguments, const std::string& before = "") {
  return run_shell(before + "exec '" + ORVCMD + "' " + arguments);
}
