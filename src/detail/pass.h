// What one thread works with on its way through a scan: the batch of records in hand, and the
// numbers of those that a report has chosen.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "detail/recordbatch.h"

namespace tabulon {

// Numbers of records of a batch, ascending. When `count` is the size of the batch all are chosen,
// and `numbers` need not be filled.
struct ChosenRecords {
  std::array<uint16_t, RecordBatch::kMost> numbers;
  size_t count = 0;
};

struct Pass {
  explicit Pass(const Scan& scan) : batch(scan) {}

  RecordBatch batch;     // with the record put together last, and its path
  ChosenRecords chosen;  // by the report that looks at the batch at the moment
};

// Takes the records of a scan: one call a batch.
using BatchSink = std::function<void(Pass& pass)>;

// Calls use(number) for each of the chosen records. A loop over all of them also fetches the next
// batch (FetchBehind).
template <class Use>
void ForEachChosen(const Pass& pass, Use&& use) {
  const RecordBatch& batch = pass.batch;
  if (pass.chosen.count == batch.size()) {
    for (size_t i = 0; i < batch.size(); ++i) {
      batch.FetchBehind(i);
      use(i);
    }
  } else {
    for (size_t at = 0; at < pass.chosen.count; ++at) use(size_t{pass.chosen.numbers[at]});
  }
}

}  // namespace tabulon
