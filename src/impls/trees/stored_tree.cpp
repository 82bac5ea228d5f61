#include "impls/trees/stored_tree.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace orvik::impls {

namespace {

bool is_zero(double x) { return std::bit_cast<std::uint64_t>(x) == 0; }

}  // namespace

double stored_tree::node::errors_of_children() const {
  double sum = 0;
  for (unsigned int i = 0; i < n_children_; ++i) {
    if (const node* const child = get_child(i)) sum += child->estimated_error();
  }
  return sum;
}

/// As decision_node has it.
bool stored_tree::node::is_empty_leaf(unsigned long n_codes) const {
  if (is_split() || n_cases() != 0 || majority_class() != 0 || !is_zero(weight())) return false;
  const node* const above = father();
  return is_zero(fraction()) && is_zero(estimated_error()) && above != nullptr &&
         above->weight() > 0 && std::all_of(class_weights(), class_weights() + n_codes, is_zero);
}

/// Reads nodes without recursion: trees may be as deep as they have cases.
class stored_tree::reader {
 public:
  reader(stored_tree& to, zel::inpout::ibinstream& in, const table& t) : to_(to), in_(in), t_(t) {}

  void read() {
    begin(k_none, 0);
    while (!path_.empty()) {
      if (const step& top = path_.back(); children_.size() - top.first_child < top.n) {
        zel::inpout::require(in_.read_presence(), k_no_child);
        const auto position = static_cast<unsigned int>(children_.size() - top.first_child + 1);
        begin(top.number, position);  // `top` is gone from here
      } else {
        end();
      }
    }
  }

 private:
  /// A node whose children are read.
  struct step {
    std::size_t number;
    unsigned long n;          // of its children
    std::size_t first_child;  // in children_
  };

  void begin(std::size_t father, unsigned int position) {
    const std::size_t number = to_.nodes_.size();
    to_.weights_.resize((number + 1) * to_.n_codes_);
    node& made = to_.nodes_.emplace_back();
    made.record_ = read_node(in_, t_, position, &to_.weights_[number * to_.n_codes_]);
    made.of_ = &to_;
    made.number_ = number;
    made.father_ = father;
    made.position_ = position;
    const unsigned long n = read_n_children(in_, t_, made.record_);
    path_.push_back({number, n, children_.size()});
  }

  /// The node's own children come to lie together; it becomes one of its father's.
  void end() {
    const auto [number, n, first] = path_.back();
    path_.pop_back();
    node& done = to_.nodes_[number];
    done.children_ = to_.children_.size();
    done.n_children_ = static_cast<unsigned int>(n);
    const auto own = children_.begin() + static_cast<std::ptrdiff_t>(first);
    to_.children_.insert(to_.children_.end(), own, children_.end());
    children_.erase(own, children_.end());
    const bool empty = n == 0 && done.is_empty_leaf(to_.n_codes_);
    if (!path_.empty()) children_.push_back(empty ? k_none : number);
    if (empty) to_.nodes_.pop_back();  // the latest: it has no children
  }

  stored_tree& to_;
  zel::inpout::ibinstream& in_;
  const table& t_;
  std::vector<step> path_;
  std::vector<std::size_t> children_;  // of the nodes of the path, those that are read
};

void stored_tree::read(zel::inpout::ibinstream& in, const table& t) {
  n_codes_ = t.n_class_codes();
  nodes_.clear();
  weights_.clear();
  children_.clear();
  reader(*this, in, t).read();
}

}  // namespace orvik::impls
