// The cells of the cases of one node, as those who have the columns tell them to a process that
// lacks them: of attributes that may still be tested only, packed as closely as their ranges there
// allow.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "impls/growing/growing_node.h"
#include "impls/growing/growing_plan.h"

namespace orvik::impls::growing {

/// How the codes of one attribute at one node are told: from 0, or from 1 where some may be
/// unknown.
struct cell_form {
  std::uint32_t first;  // what is told is added to it
  std::uint32_t end;    // above all codes
  bool may_be_unknown;

  cell_form(const growing_plan::attribute& of, const narrow_range& range);
  std::size_t n_codes() const { return end - first; }
  std::uint32_t told(std::uint32_t code) const { return code == k_unknown ? 0 : code - first; }
  std::uint32_t code(std::uint32_t told) const {
    return may_be_unknown && told == 0 ? 0 : told + first;
  }
};

/// Bytes that the cells of so many cases of a node take.
std::size_t bytes_of_cells(const growing_plan& plan, const growing_node& of, std::size_t n_cases,
                           std::span<const candidate> candidates);

/// Moves `told`, by process, from where the cells of a node begin to behind them.
void pass_cells(const growing_plan& plan, const growing_node& of, std::size_t n_cases,
                std::span<const candidate> candidates, std::span<const char*> told);

/// Appends the cells of one attribute, which the plan has.
template <class Case>
void tell_cells(const growing_plan& plan, const growing_node& of, unsigned int attribute,
                std::span<const Case> cases, std::string& to);

/// The codes of a node's cases, by attribute, as columns of as many rows.
class gathered_cells {
 public:
  /// `told`: by process, where what it told of the node begins; k_room_behind_codes must follow.
  gathered_cells(const growing_plan& plan, const growing_node& of, std::size_t n_cases,
                 std::span<const candidate> candidates, std::vector<const char*> told);

  /// By attribute; without data where it is no candidate.
  std::span<const code_view> codes() const { return codes_; }

 private:
  void take(const cell_form& form, std::size_t n_cases, const char* told, code_view& codes);

  std::vector<std::vector<std::uint64_t>> memory_;  // by candidate
  std::vector<code_view> codes_;
};

}  // namespace orvik::impls::growing
