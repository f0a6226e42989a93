// A filter at work on a batch of records: each of its tests is made in one loop for all the records
// that the tests before have left.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "detail/recordbatch.h"
#include "query/filterplan.h"

namespace tabulon {

// Numbers of records of a batch, ascending.
struct ChosenRecords {
  std::array<uint16_t, RecordBatch::kMost> numbers;
  size_t count = 0;

  uint16_t* begin() { return numbers.data(); }
  uint16_t* end() { return numbers.data() + count; }
  const uint16_t* begin() const { return numbers.data(); }
  const uint16_t* end() const { return numbers.data() + count; }
};

// Calls use(number) for each of the chosen records. All of them are counted off, which takes less
// time than their numbers.
template <class Use>
void ForEachChosen(const RecordBatch& batch, const ChosenRecords& chosen, Use&& use) {
  if (chosen.count == batch.size()) {
    for (size_t i = 0; i < batch.size(); ++i) use(i);
  } else {
    for (const uint16_t i : chosen) use(size_t{i});
  }
}

// Looks at the names of the whole batch when that is worth while for the chosen ones' sake. Returns
// whether they are known.
bool LookAtNamesFor(RecordBatch& batch, const ChosenRecords& chosen);

// Chooses the records of the batch that pass the plan.
void ChoosePassing(const FilterPlan& plan, RecordBatch& batch, ChosenRecords& chosen);

}  // namespace tabulon
