/// A test fixture whose current folder is a new empty one, removed afterwards.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class scratch_folder : public testing::Test {
 protected:
  scratch_folder() {
    std::string name = (std::filesystem::temp_directory_path() / "orvik_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
    std::filesystem::current_path(folder_);
  }

  ~scratch_folder() override {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
  }

  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }

  static std::string read(const std::string& name) {
    std::ostringstream content;
    content << std::ifstream(name, std::ios::binary).rdbuf();
    return content.str();
  }

  const std::filesystem::path before_ = std::filesystem::current_path();
  std::filesystem::path folder_;
};
