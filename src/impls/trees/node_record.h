// What a model file says of a node, beside its class weights.
#pragma once

#include "impls/tables/table.h"
#include "impls/trees/split_test.h"
#include "impls/types.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

struct node_record {
  double weight = 0;
  double fraction = 0;
  double error = 0;
  unsigned long n_cases = 0;
  split_test test;  // of a split
  class_t majority = 0;
  bool is_split = false;
};

/// Reads what decision_node::bin_out() wrote of the node at a position (from 1; 0 at the root),
/// past cases and working data if there are any; `by_code` receives its class weights. Throws
/// std::runtime_error for what does not fit the table or the place.
node_record read_node(zel::inpout::ibinstream& in, const table& t, unsigned int position,
                      double* by_code);
/// The same of the number of its children, which it must have by its test.
unsigned long read_n_children(zel::inpout::ibinstream& in, const table& t, const node_record& of);

/// What is said where a child is not there though its father counts it.
inline constexpr char k_no_child[] = "a child is missing";

/// Number of branches of a test: 2 on a continuous attribute, else one a known value.
unsigned long n_branches_of(const split_test& test, const table& t);

}  // namespace orvik::impls
