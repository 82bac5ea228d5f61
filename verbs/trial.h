// What compare and select share: models that are grown on a file for what they tell, and one result
// of all.
#pragma once

#include <string>

#include "figures.h"
#include "input.h"
#include "learning.h"

namespace orvverbs {

class trial : public verb {
 public:
  void run() final;

 protected:
  void declare_file(options& all);
  void declare_output(options& all, const std::string& json_help);
  /// What the columns are, what the file looks like, and the run.
  void declare_rest(options& all);

  virtual void try_out(const training_input& in) = 0;
  virtual void write(std::ostream& out) const = 0;
  /// The members of the result.
  virtual void write(json_out& json) const = 0;

  learning learning_;
  input_options input_;

 private:
  std::string output_ = "-";
  bool json_ = false;
};

}  // namespace orvverbs
