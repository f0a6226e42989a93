// A filter list laid out for speed: a row of tests, each of which says where to go on when it holds
// and when it fails. Tests change nothing, so what cannot alter the result is skipped, and in lists
// of one connector only the cheap tests stand before the dear ones.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/endian.h"
#include "base/template.h"
#include "detail/scan.h"
#include "detail/scanrecord.h"
#include "query/extensionset.h"
#include "query/query.h"
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

  bool Holds(const ScanRecord& record) const {
    return test != nullptr ? test(*this, record) : HoldsFor(record.fields().bytes());
  }
  // The same from a record's fixed part. REQUIRES: there is no function.
  bool HoldsFor(const unsigned char* fixed) const {
    return range.Has(LoadU64(fixed + fieldOffset) & fieldMask);
  }
};

class FilterPlan {
 public:
  // Where a plan ends, in place of a step's number.
  static constexpr int32_t kAccept = -1;
  static constexpr int32_t kReject = -2;

  // An empty plan passes every record.
  FilterPlan() = default;
  // The plan of a query for the records of a scan. It keeps nothing of the query.
  FilterPlan(const Query& query, const Scan& scan);

  // Whether the record passes: what CheckFilterList says.
  bool Passes(const ScanRecord& record) const { return PassesFrom(start_, record); }

  // Tests of which one must hold for a record that has come to a step: either tests of fields, or a
  // single one of the name. Without any, the plan has to be walked from there.
  struct Gate {
    std::span<const PlanStep> tests;
    int32_t next = kAccept;  // where a record goes on for which one of them holds
  };
  Gate GateAt(int32_t step) const;
  int32_t start() const { return start_; }
  // Whether a record passes that has come to a step.
  bool PassesFrom(int32_t step, const ScanRecord& record) const;

 private:
  void AddStep(const Filter& element, const Scan& scan, int32_t onTrue, int32_t onFalse);
  void NumberFromTheFront();

  int32_t start_ = kAccept;
  std::vector<PlanStep> steps_;
  std::vector<std::unique_ptr<const CompiledTemplate>> templates_;
  std::vector<std::unique_ptr<const ExtensionSet>> extensionSets_;
};

inline bool FilterPlan::PassesFrom(int32_t step, const ScanRecord& record) const {
  // Branches on every result, which most filters make easy to foresee; a chosen step number would
  // have to be waited for.
  while (step >= 0) {
    const PlanStep& test = steps_[static_cast<size_t>(step)];
    if (test.Holds(record)) {
      if (test.onTrue < 0) return test.onTrue == kAccept;
      step = test.onTrue;
    } else {
      if (test.onFalse < 0) return test.onFalse == kAccept;
      step = test.onFalse;
    }
  }
  return step == kAccept;
}

}  // namespace tabulon
