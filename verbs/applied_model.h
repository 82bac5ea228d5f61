// What predict and test share: a model, and a file of rows that it is put to.
#pragma once

#include <memory>
#include <string>

#include "learning.h"
#include "new_rows.h"

namespace orvverbs {

class applied_model {
 public:
  void declare_files(options& all);
  /// What the file looks like, and the workers.
  void declare_layout(options& all);

  /// Reads the model, opens the file and tells on standard error of its columns; `output` and
  /// `second`, which may be empty, must be other files. Throws usage_error and std::runtime_error,
  /// naming the file.
  void open(const std::string& output, const std::string& second = "");

  const std::string& file() const { return file_; }
  const std::string& model_file() const { return model_file_; }
  // After open():
  const orvik::dtree& model() const { return *model_; }
  new_rows& rows() { return *rows_; }

 private:
  std::string model_file_, file_, separator_ = "auto";
  learning run_;
  std::unique_ptr<orvik::dtree> model_;
  reading how_;
  std::unique_ptr<new_rows> rows_;
};

}  // namespace orvverbs
