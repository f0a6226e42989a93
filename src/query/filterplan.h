// A filter list laid out for speed: a row of tests, each of which names the next step when it holds
// and when it fails. Tests have no side effects. So a test that cannot change the result is
// skipped, and in a list with only one kind of connector the cheap tests come before the dear ones.
// A test of a number costs about a nanosecond, one of a path twenty and more: most records are
// settled by the cheap ones.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/bytes.h"
#include "base/template.h"
#include "detail/scan.h"
#include "detail/scanrecord.h"
#include "query/classes.h"
#include "query/query.h"

namespace tabulon {

// The values for which a comparison holds: a range of 64-bit numbers that may go on from the
// highest number to 0. So a test of a record's number is one subtraction and one comparison for
// every operator: no switch and no branch in the loop.
struct ValueRange {
  uint64_t low = 0;   // first number
  uint64_t span = 0;  // how many follow it
  bool Has(uint64_t value) const { return value - low <= span; }
};

// The values for which CompareTest(comparison, value, number) holds.
ValueRange RangeOf(uint32_t comparison, uint64_t number);
// The 32-bit times whose whole day compares so with a date (CheckDate). With the range, a test need
// not divide the time to find its day.
ValueRange DayRangeOf(uint32_t comparison, int64_t date);

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
  bool expected = true;  // the answer of the template or class with which the test holds
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

  // For a record at a given step: tests of which at least one must hold. If there are none, the
  // plan has to be walked record by record.
  struct Gate {
    enum class Of { kNothing, kFields, kNames, kPaths } of = Of::kNothing;
    std::span<const PlanStep> tests = {};
    int32_t next = kAccept;  // the step of a record for which one of them holds
  };
  // REQUIRES: step >= 0.
  const Gate& GateAt(int32_t step) const { return gates_[static_cast<size_t>(step)]; }
  int32_t start() const { return start_; }
  // Whether a record that has reached a step passes.
  bool PassesFrom(int32_t step, const ScanRecord& record) const;

 private:
  void AddStep(const Filter& element, const Scan& scan, int32_t onTrue, int32_t onFalse);
  void NumberFromTheFront();
  Gate MakeGate(size_t step) const;

  int32_t start_ = kAccept;
  std::vector<PlanStep> steps_;
  std::vector<Gate> gates_;  // of each step; their tests are steps_
  std::vector<std::unique_ptr<const CompiledTemplate>> templates_;
  std::vector<std::unique_ptr<const ExtensionSet>> extensionSets_;
};

inline bool FilterPlan::PassesFrom(int32_t step, const ScanRecord& record) const {
  // A branch on every result. With most filters the processor predicts it and goes on with the next
  // test at once; it would have to wait for a step number that is computed from the result.
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
