// Which attributes of a node are measured, and which of those measured becomes its test.
#pragma once

#include <vector>

#include "impls/tables/column.h"
#include "orvik/enums.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

/// Shorter case lists are measured in place: each sort leaves them in the order of the last one.
constexpr unsigned long k_copied_cases = 50;

struct candidate {
  unsigned int attribute;
  column::splitting_desc desc;
};

/// Throws std::runtime_error for a type that is none.
void require_known(model::split_type type);
/// Keeps floor(log2 k) + 1 of the candidates, drawn in order from k.
void keep_random(std::vector<candidate>& candidates, unsigned long k, zel::util::rand_gen& draw);
/// The candidate of the greatest value, the first of equals; null if none passes.
const candidate* best_of(const std::vector<candidate>& candidates, model::split_type type);
/// The threshold of a test on the column; 0 where it is not continuous.
double threshold_of(const column& tested, const column::splitting_desc& desc);

}  // namespace orvik::impls
