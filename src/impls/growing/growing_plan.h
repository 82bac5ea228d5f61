// What the growing of one or more trees on a table needs to know at every node.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "impls/tables/table.h"
#include "impls/trees/split_rules.h"
#include "orvik/enums.h"
#include "orvik/growth.h"
#include "zel/adt/bitmap.h"
#include "zel/util/default_context.h"

namespace orvik::impls {

/// Threads: many readers.
class growing_plan {
 public:
  /// `usable` holds the attributes that may be tested (null: all). It and the table must outlive
  /// this and stay as they are; `run` must outlive it too.
  growing_plan(const table& t, model::split_type type, double min_weight,
               const zel::adt::bitmap* usable,
               zel::util::run_context& run = zel::util::default_context(), const growth& how = {});

  struct attribute {
    const column* values;
    code_view codes;
    bool usable;
    bool may_be_unknown;
    unsigned int flag;    // its bit of flags(), or k_no_flag
    unsigned long owner;  // of the processes that grow a tree together, the one that measures it
  };
  static constexpr unsigned int k_no_flag = 64;

  const table& t() const { return table_; }
  zel::util::run_context& run() const { return run_; }
  const split_rules& rules() const { return rules_; }
  model::split_type type() const { return rules_.type; }
  double min_weight() const { return rules_.min_weight; }
  const growth& how() const { return rules_.how; }
  const std::vector<attribute>& attributes() const { return attributes_; }

  /// Whether this process looks at its own columns only: a mapped table, of which others have the
  /// other columns. The codes of these have no data.
  bool is_parted() const { return is_parted_; }
  /// The same with all columns.
  growing_plan whole() const;
  /// The same on a table of `n_rows` that has these codes, by attribute; those without data are not
  /// asked for. They must outlive it.
  growing_plan on_cells(std::span<const code_view> codes, unsigned long n_rows) const;

  /// Whether children that no case comes to are left out: their slots stay null.
  void leave_out_empty_leaves(bool leave_out) { leaves_out_empty_ = leave_out; }
  bool leaves_out_empty() const { return leaves_out_empty_; }
  /// Whether a list of cases that a tree is to be grown on may be emptied meanwhile.
  void empty_lists(bool empty) { empties_lists_ = empty; }
  bool empties_lists() const { return empties_lists_; }
  /// Nodes are grown on lists of cases, as where rows or codes do not fit in 32 bits: the same
  /// trees, more slowly. For tests, as such a table takes 64 GB.
  void keep_case_lists() { may_count_ = false; }
  /// Whether nodes may have their cases in a narrow form: codes fit in 32 bits.
  bool may_count() const { return may_count_; }
  /// Whether a usable attribute may be unknown: sums of fractions then depend on their order.
  bool order_matters() const { return order_matters_; }
  /// A word for every row with bits of boolean attributes side by side: set where the code is 2.
  const std::vector<std::uint64_t>& flags() const { return flags_; }
  /// Whether so few are set in a row that counting all of them costs no more than a look at one.
  bool few_are_set() const { return few_are_set_; }

 private:
  growing_plan(const growing_plan& of, std::vector<attribute> attributes, unsigned long n_rows);
  void deal_out(unsigned long n_processes);
  void gather_flags(unsigned long n_rows);

  const table& table_;
  split_rules rules_;
  zel::util::run_context& run_;
  std::vector<attribute> attributes_;
  std::vector<std::uint64_t> flags_;
  bool may_count_ = true;
  bool order_matters_ = false;
  bool few_are_set_ = false;
  bool leaves_out_empty_ = false;
  bool empties_lists_ = false;
  bool is_parted_ = false;
};

}  // namespace orvik::impls
