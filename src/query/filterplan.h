// A filter list laid out for speed: a row of tests, each of which says where to go on when it holds
// and when it fails. Tests change nothing, so what cannot alter the result is skipped, and in lists
// of one connector only the cheap tests stand before the dear ones.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/template.h"
#include "detail/scanrecord.h"
#include "query/extensionset.h"
#include "query/filter.h"

namespace tabulon {

// One test of a plan. Which of the operands it uses is its function's own business.
struct PlanStep {
  bool (*test)(const PlanStep& step, const ScanRecord& record) = nullptr;
  int32_t onTrue = 0;  // number of the next step, or one of the exits below
  int32_t onFalse = 0;
  uint64_t number = 0;    // size, count, id or seconds that the record's value is compared with
  uint32_t outcomes = 0;  // bits of the results for which a comparison holds
  uint32_t mask = 0;      // attribute bits looked at,
  uint32_t bits = 0;      // and how they have to be
  bool expected = true;   // what the template, class or bit test has to say
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
  bool Passes(const ScanRecord& record) const { return steps_.empty() || Run(record); }

 private:
  bool Run(const ScanRecord& record) const;
  void AddStep(const Filter& element, int32_t onTrue, int32_t onFalse);
  void NumberFromTheFront();

  std::vector<PlanStep> steps_;
  std::vector<std::unique_ptr<const CompiledTemplate>> templates_;
  std::vector<std::unique_ptr<const ExtensionSet>> extensionSets_;
};

}  // namespace tabulon
