#include "forms.h"

#include <stdexcept>

namespace orvik::view {

void require_plain_shares(const orvik::dtree& model, const char* form) {
  if (model.is_calibrated()) {
    throw std::runtime_error(std::string(form) + " has no place for calibrated shares");
  }
}

orvik::tree_node chosen_tree::root() const {
  const unsigned long n = model.get_no_trees();
  if (tree != k_whole_model || n == 1) return model.get_tree(tree == k_whole_model ? 0 : tree);
  throw std::runtime_error("the model has " + std::to_string(n) +
                           " trees: --tree N, from 1, says which one to show");
}

std::vector<orvik::tree_node> chosen_tree::roots() const {
  if (tree != k_whole_model) return {root()};
  std::vector<orvik::tree_node> all;
  for (unsigned long i = 0; i < model.get_no_trees(); ++i) all.push_back(model.get_tree(i));
  return all;
}

}  // namespace orvik::view
