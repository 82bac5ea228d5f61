// One column of a table: a name, a role, a value set, and for every row the code of its value in
// the narrowest unsigned type that holds all codes. Two-valued discrete columns without unknown
// values take one bit a row.
//
// The base class is an ignored column of the type "null": it stores nothing.
// Threads: many readers or one writer.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "impls/tables/code_view.h"
#include "impls/types.h"
#include "impls/values/o_set.h"
#include "orvik/enums.h"
#include "zel/util/nocopy.h"

namespace orvik::impls {

class column : private zel::util::nocopy {
 public:
  using role = model::column_role;
  static constexpr role DISCRETE = model::DISCRETE, CONTINUOUS = model::CONTINUOUS,
                        CLASS = model::CLASS, WEIGHTS = model::WEIGHTS, IGNORE = model::IGNORE;

  /// What a split measure says of one attribute at one node.
  struct splitting_desc {
    code_t left_code = 0;   ///< continuous: code of the last case below the cut;
                            ///< discrete: the one value that is tested, if it is one
    code_t right_code = 0;  ///< continuous: code of the first case above it
    double gain = k_no_gain;
    double split_info = 0;
  };
  /// The gain of an attribute that cannot split a node.
  static constexpr double k_no_gain = -0.001;

  /// Takes `values`, which may be null.
  column(role type, std::string name, std::unique_ptr<o_set> values);
  virtual ~column() = default;

  /// A new column of the same class and width with a deep copy of the (frozen) value set, with
  /// the codes unless `schema_only`; the caller deletes it.
  [[nodiscard]] virtual column* clone(bool schema_only) const;
  virtual void reserve(unsigned long) {}
  virtual unsigned long size() const { return 0; }
  /// Appends the code of a text of the (frozen) value set; throws for another text.
  virtual void push_back(const char* text);
  virtual void push_back(code_t) {}
  virtual code_t get_row_index(row_t) const { return k_unknown; }

  /// The cases of branch 1, 2, ... of a split at `threshold` (continuous columns: up to it, at
  /// least 1, and above it; others: the cases whose code is the branch), in the order of `cases`.
  /// A case of unknown value goes into every branch, its weight times the branch's fraction:
  /// known weight of the branch / (total_weight - weight of the unknown cases).
  /// `range` receives the lowest code of the branch and one past the highest, continuous ones
  /// both started from the threshold. @return a new list; the caller deletes it.
  [[nodiscard]] virtual case_list* partition(const case_list* cases, unsigned long branch,
                                             double total_weight, double& fraction,
                                             code_range& range, unsigned long threshold) const;
  /// The same cases; those of unknown value only `with_unknown`, weighted by `unknown_factor`.
  [[nodiscard]] virtual case_list* select(const case_list* cases, unsigned long branch,
                                          double unknown_factor, unsigned long threshold,
                                          bool with_unknown) const;
  /// Orders cases by ascending code; equal codes keep their order.
  virtual void sort(case_list::iterator first, case_list::iterator last) const;

  /// How well the column splits a node's cases. `range` holds every known code among them;
  /// `min_weight` is the least weight of a branch. With `copy` the list keeps its order,
  /// otherwise a continuous measure may leave it sorted by this column.
  virtual void quality_measure(const column& class_column, double total_weight, case_list& cases,
                               const code_range& range, double min_weight, splitting_desc& desc,
                               bool copy) const;

  /// The stored codes; no codes for a column that stores nothing.
  virtual code_view codes() const { return {}; }
  /// Their width, which is told without looking at them.
  virtual unsigned int code_bits() const { return codes().bits; }
  /// Whether they lie in a mapped file, whose pages are read as they are asked for.
  virtual bool is_mapped() const { return false; }
  /// The codes, of which none may have a value: of a mapped column that is not checked as a whole.
  virtual code_view unchecked_codes() const { return codes(); }
  /// Lets go of the pages of mapped codes, which are read again when they are asked for again.
  virtual void release_pages() const {}
  /// Appends codes.
  virtual void append(std::span<const code_t> codes);

  /// Writes the codes.
  virtual void bin_out(zel::inpout::obinstream&) const {}
  /// Reads codes into a column without rows. Throws for a code that the value set does not have.
  virtual void bin_in(zel::inpout::ibinstream&) {}

  /// "discrete", "continuous", "class", "weights", "ignore"; "unknown" for another role.
  std::string get_type() const;
  role type() const { return type_; }
  const std::string& name() const { return name_; }
  o_set* values() { return values_.get(); }
  const o_set* values() const { return values_.get(); }
  /// Freezes the value set; an error names the column.
  void freeze_values();
  /// Leaves a column without a value set, of no use but to be replaced.
  std::unique_ptr<o_set> take_values() { return std::move(values_); }
  /// A new column with the value set of this empty one, of the width that its values ask for by
  /// now.
  std::unique_ptr<column> refitted();

  /// Whether a column of this role may hold unknown values.
  static bool admits_null(const std::string& role);
  /// A new column over `values`, which it takes, of the width that its number of known values
  /// asks for; the caller deletes it. @return null, with the reason in `error` and `values`
  /// still the caller's, where role, type and values do not fit.
  [[nodiscard]] static column* NEW_COLUMN(o_set* values, const std::string& name,
                                          const std::string& role, std::string& error);
  /// The same, throwing the reason; `values` is taken where there is none.
  static std::unique_ptr<column> over(std::unique_ptr<o_set>&& values, const std::string& name,
                                      const std::string& role);

 protected:
  /// The code of a text of the value set; throws where the set does not hold it.
  code_t require_code(const char* text) const;

 private:
  static std::unique_ptr<column> of_width_for(const o_set& values, role type,
                                              const std::string& name);

  role type_;
  std::string name_;
  std::unique_ptr<o_set> values_;
};

}  // namespace orvik::impls
