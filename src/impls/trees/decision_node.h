// The payload of one node of a decision tree: the statistics of the cases that reach it and, at
// a split node, the test that sends them on.
//
// Life: new (undecided) -> activated (holds its cases and the ranges of their codes) -> split
// node or leaf -> disactivated (statistics kept, cases and ranges released).
// Threads: one thread changes a node at a time; children may be activated side by side, which
// only reads their father.
#pragma once

#include <cassert>
#include <memory>
#include <ostream>
#include <span>
#include <vector>

#include "impls/decision/decision.h"
#include "impls/decision/pricing.h"
#include "impls/tables/table.h"
#include "impls/trees/candidate.h"
#include "impls/trees/routing.h"
#include "impls/trees/split_rules.h"
#include "impls/trees/split_test.h"
#include "impls/types.h"
#include "orvik/enums.h"
#include "zel/adt/bitmap.h"
#include "zel/util/default_context.h"
#include "zel/util/nocopy.h"
#include "zel/util/quick_gen.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

class decision_node : private zel::util::nocopy {
 public:
  enum status : unsigned char { UNDECIDED = 0, LEAF = 1, SPLIT_NODE = 2 };

  /// A root over `cases`, which stay the caller's, must outlive the activation, and may be
  /// reordered by split().
  explicit decision_node(case_list* cases);
  /// Child number `position` (from 1) of `father`, which must outlive it.
  decision_node(decision_node* father, unsigned int position);

  /// Computes cases, ranges and statistics; an active node stays as it is. The father must be a
  /// split node and active, or `activate_father` set: then it is activated first, and so on up.
  void activate(const table* t, bool activate_father);
  /// The same for a child, with what branches() of the active father gives for it.
  void activate_on(const table& t, branch_cases branch);
  /// Activates a child over all cases of its (active) father, as raising it would. With
  /// `take_place` it also takes the father's position, father and fraction.
  void activate_from_father(const table* t, bool take_place);
  /// Releases cases and ranges, keeps the statistics. A root forgets the caller's list.
  void disactivate();
  /// Gives a root cases to be activated on; they stay the caller's.
  void set_cases(case_list* cases) { cases_ = cases; }

  /// Chooses the node's test among the attributes of `usable` (null: all), or makes it a leaf.
  /// With `forest` only a random subset of the k usable attributes is measured.
  /// Throws std::runtime_error on a node that is not active and for an unknown split type.
  void split(const table& t, model::split_type type, double min_weight,
             const zel::adt::bitmap* usable, unsigned long k, bool forest);
  /// The same by rules, of which those that draw go on from `seed`. `in_order`, which may be null,
  /// picks the floor(log2 k) + 1 attributes of a forest's node.
  void split(const table& t, const split_rules& rules, zel::util::rand_gen* in_order,
             unsigned long seed = 0, zel::util::run_context& run = zel::util::default_context());
  /// Whether no test is looked for: at an empty or pure node, or where two branches of
  /// `min_weight` do not fit.
  bool stays_leaf(double min_weight) const;
  /// Measures `c.attribute` on the node's cases. With `copy` several may be measured at once, but
  /// not by a draw.
  void measure_candidate(const table& t, const split_rules& rules, candidate& c, bool copy,
                         zel::util::quick_gen* draw = nullptr);
  /// Number of children of a split node: 2 on a continuous attribute, else one a known value.
  unsigned long get_no_of_splits(const table& t) const;

  /// The cases of every branch of an active split node, in one pass.
  std::vector<branch_cases> branches(const table& t) const;
  /// The given cases that belong to this node's branch of its father's test. Those whose value
  /// is unknown belong to every branch, weighted by its fraction; `with_unknown` clear leaves
  /// them out. The caller deletes the list.
  [[nodiscard]] case_list* select(const table& t, const case_list* cases, bool with_unknown) const;

  void set_as_leaf();
  double get_estimated_error_if_leaf() const;
  /// The same at the price of its errors.
  double price_if_leaf(const pricing& price) const {
    return price.of_leaf({distribution_.get(), price.n_codes()}, weight_, leaf_class_);
  }
  /// get_leaf_class() at that price.
  class_t priced_class(const pricing& price) const;
  /// Its class from now on, if some weight came here.
  void set_leaf_class(code_t c) { leaf_class_ = static_cast<class_t>(c); }
  /// The majority class, of the father where no weight came here, 0 at an empty root.
  class_t get_leaf_class() const;
  /// Share of the majority class; 1.0 at an empty node.
  double get_leaf_classfreq() const;
  /// Adds `amount` of a case that ends here to the classes, in their shares of the weight; all to
  /// its class where no weight came.
  void add_shares(double amount, std::span<double> by_code) const;
  /// The same, but where no weight came in the shares of the nearest node above that has some.
  /// With a prior they lean on it.
  void add_known_shares(double amount, std::span<double> by_code, prior_shares prior = {}) const;
  /// Least m-estimate of the error rate over the class codes 1 .. nclasses - 1 (none: the largest
  /// double), or the least such cost; `prior` has the class distribution that the estimate leans
  /// on.
  double EER(unsigned long nclasses, const decision_node& prior, double m,
             const pricing& price = {}) const;
  /// Weight of the given cases whose class is not this node's.
  double get_leaf_error(const column& class_column, const case_list& cases) const;

  /// A copy of statistics and test under another father; the caller deletes it.
  [[nodiscard]] decision_node* clone(const table& t, decision_node* father) const;

  /// Writes a leaf's class and weight, or a split node's condition for a branch (from 0).
  void toTEXT(const table& t, std::ostream& out, unsigned long branch) const;

  /// Writes the PMML predicate that leads here, and of a leaf or an active node the weight of
  /// every class.
  void toXML(const table& t, std::ostream& out) const;
  /// Writes position, statistics and test; neither cases nor ranges, whether active or not.
  void bin_out(zel::inpout::obinstream& out, const table* t) const;
  /// Reads what bin_out() wrote into a new node, past cases and working data if there are any.
  /// Throws std::runtime_error for what does not fit the table or the node's place.
  void bin_in(zel::inpout::ibinstream& in, const table* t);

  status get_status() const { return status_; }
  bool is_split() const { return status_ == SPLIT_NODE; }
  bool is_active() const { return activated_; }
  decision_node* father() const { return father_; }
  /// 1 for the first branch of the father's split; 0 at the root.
  unsigned int position() const { return position_; }
  double weight() const { return weight_; }
  unsigned long n_cases() const { return n_cases_; }
  /// Weight of a class code; the node must have been activated once.
  double class_weight(code_t c) const {
    assert(distribution_ != nullptr);
    return distribution_[c];
  }
  /// By class code.
  const double* class_weights() const { return distribution_.get(); }
  double fraction() const { return fraction_; }
  class_t majority_class() const { return leaf_class_; }
  double estimated_error() const { return error_; }
  void set_estimated_error(double error) { error_ = error; }
  /// Of a split node.
  const split_test& test() const { return test_; }
  unsigned int attribute() const { return test_.attribute; }
  const case_list* cases() const { return cases_; }
  /// The codes of an attribute that cases here may have; the node must be active.
  const code_range& range(unsigned long attribute) const {
    assert(activated_);
    return ranges_[attribute];
  }

  /// Makes it a split node with the given test, as if split() had chosen it.
  void set_test(const split_test& test);
  /// The same for a measured candidate, with the cut in the middle of its gap.
  void set_test(const table& t, const candidate& chosen);
  /// Sets the statistics of a node that is built without cases.
  void set_statistics(std::unique_ptr<double[]> distribution, unsigned long n_codes,
                      unsigned long n_cases, double fraction);
  /// All that a node keeps without cases, but its test.
  struct statistics {
    std::unique_ptr<double[]> by_code;
    double weight, fraction, error;
    unsigned long n_cases;
    class_t majority;
  };
  /// The same with all of them given; without a test it becomes a leaf.
  void set_statistics(statistics all);
  /// Whether it is that of set_as_empty_leaf(), to the last bit, and its father has some weight.
  bool is_empty_leaf(unsigned long n_codes) const;
  /// Puts a child in its place below another node with the test of its father.
  void set_father(decision_node* father) { father_ = father; }
  /// Makes a new node the leaf that no case came to.
  void set_as_empty_leaf(unsigned long n_codes);

 private:
  void measure(const table& t, const split_rules& rules, zel::util::rand_gen* in_order,
               unsigned long seed, std::vector<candidate>& candidates, zel::util::run_context& run);
  void own_cases(std::unique_ptr<case_list> cases);
  void copy_ranges(const decision_node& from, unsigned long n);
  void require_split_father() const;
  void activate_root(const table& t);
  void activate_branch(const table& t);
  void compute_statistics(const table& t);
  void sum_up(unsigned long n_codes);

  status status_ = UNDECIDED;
  bool activated_ = false;
  class_t leaf_class_ = 0;
  unsigned int position_ = 0;
  split_test test_;        // split nodes
  decision_node* father_;  // null at the root
  double weight_ = 0;
  double fraction_ = 1.0;
  double error_ = 0;
  unsigned long n_cases_ = 0;
  std::unique_ptr<double[]> distribution_;  // by class code
  std::unique_ptr<code_range[]> ranges_;    // by attribute, while active
  // What the node works on: the caller's list at the root, own_cases_ elsewhere.
  case_list* cases_ = nullptr;
  std::unique_ptr<case_list> owned_cases_;
};

}  // namespace orvik::impls
