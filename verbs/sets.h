// Sets of classes with a promise: options of the verbs that put a model to rows.
#pragma once

#include <string>
#include <vector>

#include "command_line.h"
#include "orvik/orvik.h"

namespace orvverbs {

class asked_sets {
 public:
  /// Rows of the help, in the group at hand.
  void declare(options& all);
  /// Finds out which classes are in a set. Throws usage_error for options that do not fit together,
  /// and std::runtime_error, naming the file, for a model that cannot give sets.
  void open(const orvik::dtree& model, const std::string& model_file);

  bool wanted() const { return request_.wanted(); }
  const orvik::set_request& request() const { return request_; }
  /// After open(): by class code; none where no sets are wanted.
  const std::vector<double>& limits() const { return limits_; }

 private:
  orvik::set_request request_;
  std::vector<double> limits_;
};

}  // namespace orvverbs
