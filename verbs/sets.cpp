#include "sets.h"

#include <stdexcept>

#include "zel/text/message.h"

namespace orvverbs {

void asked_sets::declare(options& all) {
  all.real("--sets", request_.percent, 0.001, 99.999,
           "the set of classes that holds the true one for so many percent of the rows");
  all.flag("--by-class", request_.by_class, "the same percentage for the rows of each class");
}

void asked_sets::open(const orvik::dtree& model, const std::string& model_file) {
  if (request_.by_class && !wanted()) throw usage_error("--by-class is for --sets");
  if (!wanted()) return;
  try {
    limits_ = model.get_set_limits(request_);
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(zel::text::one_line(model_file) + ": " + failure.what());
  }
}

}  // namespace orvverbs
