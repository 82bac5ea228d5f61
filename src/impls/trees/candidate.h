// A test that a node might have.
#pragma once

#include "impls/tables/column.h"

namespace orvik::impls {

/// An attribute that a node may test, and what its measure says.
struct candidate {
  unsigned int attribute;
  column::splitting_desc desc;
};

}  // namespace orvik::impls
