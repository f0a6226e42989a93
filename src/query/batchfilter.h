// A filter at work on a batch of records: each of its tests is made in one loop for all the records
// that the tests before have left.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "detail/recordbatch.h"
#include "query/filterplan.h"

namespace tabulon {

// Numbers of records of a batch, ascending. They need not stand there when all are chosen.
struct ChosenRecords {
  std::array<uint16_t, RecordBatch::kMost> numbers;
  size_t count = 0;
};

// Calls use(number) for each of the chosen records.
template <class Use>
void ForEachChosen(const RecordBatch& batch, const ChosenRecords& chosen, Use&& use) {
  if (chosen.count == batch.size()) {
    for (size_t i = 0; i < batch.size(); ++i) {
      batch.FetchBehind(i);
      use(i);
    }
  } else {
    for (size_t at = 0; at < chosen.count; ++at) use(size_t{chosen.numbers[at]});
  }
}

// Looks at the names of the whole batch when that is worth while for the chosen ones' sake. Returns
// whether the names are known.
bool LookAtNamesFor(RecordBatch& batch, const ChosenRecords& chosen);

// Chooses the records of the batch that pass the plan.
void ChoosePassing(const FilterPlan& plan, RecordBatch& batch, ChosenRecords& chosen);

}  // namespace tabulon
