/// Runs the built program as a user does, through the shell.
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

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

/// The lines of an experiment in a log, behind its header, which begins with `first`: cells by the
/// names of the columns, one behind them under no name. Other lines have fewer tabs.
inline std::vector<std::map<std::string, std::string>> experiment_in(const std::string& log,
                                                                     const std::string& first) {
  std::istringstream text(log);
  std::vector<std::string> names;
  std::vector<std::map<std::string, std::string>> rows;
  for (std::string line; std::getline(text, line);) {
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, '\t');) cells.push_back(cell);
    if (line.starts_with(first + '\t')) {
      names = cells;
    } else if (!names.empty() && cells.size() >= names.size()) {
      rows.emplace_back();
      names.resize(cells.size());
      for (std::size_t i = 0; i < cells.size(); ++i) rows.back()[names[i]] = cells[i];
    }
  }
  return rows;
}
