// A generated table on disk, for as long as it is measured.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "generator.h"
#include "orvik/orvik.h"

namespace bench {

/// Table files of `rows` rows with some noise in a folder of their own, which goes with them.
class generated_table {
 public:
  /// `name` tells this table from others of the process.
  generated_table(const std::string& name, unsigned long rows)
      : folder_(std::filesystem::temp_directory_path() /
                ("orvik_" + name + "_" + std::to_string(::getpid()))) {
    std::filesystem::create_directory(folder_);
    table_options options;
    options.rows = rows;
    options.noise = 0.05;
    write_table(options, prefix());
  }
  generated_table(const generated_table&) = delete;
  generated_table& operator=(const generated_table&) = delete;
  ~generated_table() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string prefix() const { return (folder_ / "table").string(); }
  std::string data_file() const { return prefix() + ".data"; }

 private:
  std::filesystem::path folder_;
};

/// The table of prefix.names and prefix.data.
inline std::unique_ptr<orvik::table> load_table(const std::string& prefix, unsigned long workers) {
  auto t = std::make_unique<orvik::table>("bench");
  t->load_meta_data(prefix + ".names", ',', "?");
  t->load_data(prefix + ".data", ',', workers, nullptr);
  t->rescale_weights();
  return t;
}

}  // namespace bench
