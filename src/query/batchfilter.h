// A filter at work on a batch of records: each of its tests is made in one loop for all the records
// that the tests before have left.
#pragma once

#include "detail/pass.h"
#include "query/filterplan.h"

namespace tabulon {

// Looks at the names of the whole batch when that is worth while for the chosen ones' sake. Returns
// whether the names are known.
bool LookAtNamesFor(Pass& pass);

// Chooses the records of the batch that pass the plan.
void ChoosePassing(const FilterPlan& plan, Pass& pass);

}  // namespace tabulon
