// Filter plans at work on batches.
#pragma once

#include "detail/pass.h"
#include "query/filterplan.h"

namespace tabulon {

// Looks at the names of the whole batch when enough of its records are chosen. Returns whether the
// names are known.
bool LookAtNamesFor(Pass& pass);

// Chooses the records of the batch that pass the plan: each test is one loop over the records that
// passed the tests before it. So a test of a number is a short loop with all it needs in registers,
// and without a branch that depends on the record.
void ChoosePassing(const FilterPlan& plan, Pass& pass);

}  // namespace tabulon
