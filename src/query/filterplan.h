// A filter list laid out for speed: a row of tests, each of which says where to go on when it holds
// and when it fails. Tests change nothing, so what cannot alter the result is skipped, and in lists
// of one connector only the cheap tests stand before the dear ones.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/endian.h"
#include "base/template.h"
#include "detail/scanrecord.h"
#include "query/extensionset.h"
#include "query/filter.h"
#include "query/valuerange.h"

namespace tabulon {

// One test of a plan.
struct PlanStep {
  // Tests of names, paths, targets and classes have a function. Without one, the test holds when
  // the bits of `fieldMask` in the eight bytes at `fieldOffset` of the record's fixed part are in
  // `range`.
  bool (*test)(const PlanStep& step, const ScanRecord& record) = nullptr;
  std::array<int32_t, 2> next = {};  // the next step when it fails, when it holds; or an exit
  size_t fieldOffset = 0;
  uint64_t fieldMask = 0;
  ValueRange range;
  bool expected = true;  // what the template or class has to say
  const CompiledTemplate* pattern = nullptr;
  const ExtensionSet* extensions = nullptr;
  const Filter* element = nullptr;
};

class FilterPlan {
 public:
  // An empty plan passes every record.
  FilterPlan() = default;
  // The plan of a list (null: the empty plan). The list must outlive it. The scan kind must be
  // known.
  explicit FilterPlan(const Filter* list);

  // Whether the record passes: what CheckFilterList says.
  bool Passes(const ScanRecord& record) const {
    const unsigned char* fixed = record.fields().bytes();
    int32_t at = start_;
    while (at >= 0) {
      const PlanStep& step = steps_[static_cast<size_t>(at)];
      const bool holds = step.test != nullptr
                             ? step.test(step, record)
                             : step.range.Has(LoadU64(fixed + step.fieldOffset) & step.fieldMask);
      at = step.next[holds ? 1 : 0];
    }
    return at == kAccept;
  }

 private:
  // Where a plan ends, in place of a step's number.
  static constexpr int32_t kAccept = -1;
  static constexpr int32_t kReject = -2;

  void AddStep(const Filter& element, int32_t onTrue, int32_t onFalse);
  void NumberFromTheFront();

  int32_t start_ = kAccept;
  std::vector<PlanStep> steps_;
  std::vector<std::unique_ptr<const CompiledTemplate>> templates_;
  std::vector<std::unique_ptr<const ExtensionSet>> extensionSets_;
};

}  // namespace tabulon
