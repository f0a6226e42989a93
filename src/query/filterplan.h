// A filter list laid out for speed: a row of tests, each of which says where to go on when it holds
// and when it fails. Tests change nothing, so what cannot alter the result is skipped, and in lists
// of one connector only the cheap tests stand before the dear ones.
#pragma once

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
  int32_t onTrue = 0;  // the next step, or an exit
  int32_t onFalse = 0;
  size_t fieldOffset = 0;
  uint64_t fieldMask = 0;
  ValueRange range;
  bool expected = true;  // what the template or class has to say
  const CompiledTemplate* pattern = nullptr;
  const ExtensionSet* extensions = nullptr;
  const Filter* element = nullptr;

  bool Holds(const ScanRecord& record) const {
    if (test != nullptr) return test(*this, record);
    return range.Has(LoadU64(record.fields().bytes() + fieldOffset) & fieldMask);
  }
};

// A number test that holds for every record that passes a plan. Small and kept close together,
// gates turn most records away before the plans are looked at.
struct FilterGate {
  size_t fieldOffset = 0;
  uint64_t fieldMask = 0;
  ValueRange range;  // as it is, with the mask of 0: every record goes in
  bool Opens(const unsigned char* fixed) const {
    return range.Has(LoadU64(fixed + fieldOffset) & fieldMask);
  }
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
    // Branches on every result, which most filters make easy to foresee; a chosen step number would
    // have to be waited for.
    for (int32_t at = start_; at >= 0;) {
      const PlanStep& step = steps_[static_cast<size_t>(at)];
      if (step.Holds(record)) {
        if (step.onTrue < 0) return step.onTrue == kAccept;
        at = step.onTrue;
      } else {
        if (step.onFalse < 0) return step.onFalse == kAccept;
        at = step.onFalse;
      }
    }
    return true;
  }

  // The plan's first test, when a record that fails it is rejected at once; else one that is always
  // open.
  FilterGate Gate() const;

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
