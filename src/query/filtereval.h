// Testing records against filter lists.
#pragma once

#include <cstdint>
#include <vector>

#include "detail/scanrecord.h"
#include "query/filter.h"

namespace tabulon {

// A filter list laid out for speed: a row of tests, each of which says where to go on when it holds
// and when it fails. Cheap tests stand before dear ones wherever the result cannot differ.
class FilterPlan {
 public:
  // An empty plan passes every record.
  FilterPlan() = default;
  // The plan of a list (null: the empty plan). The list must outlive it.
  explicit FilterPlan(const Filter* list);

  // Whether the record passes.
  bool Passes(const ScanRecord& record) const {
    return steps_.empty() || Run(record);
  }

  struct Step;

 private:
  bool Run(const ScanRecord& record) const;
  std::vector<Step> steps_;
};

// Whether the record passes the list, every element evaluated from left to right: the plain form of
// FilterPlan::Passes, for single lists and as its check. A null list passes every record.
bool CheckFilterList(const Filter* list, const ScanRecord& record);
// The value of one element that is no group.
bool CheckFilter(const Filter& element, const ScanRecord& record);

// The comparison rule: unequal values are ordered by their signed 64-bit difference (so values 2^63
// or more apart compare the other way round: kept so).
bool CompareTest(uint32_t comparison, uint64_t left, uint64_t right);
// The rule for dates: `time` is cut to its whole day (UTC reckoning) and compared with the element's
// date. False when the element's object lacks the bit `object`.
bool CheckDate(const Filter& element, uint32_t time, uint32_t object);
// The rule for accounts: with the object bit, 1 when `found` and the comparison is kEqual, or when
// not found and it is kNotEqual.
bool CheckSidUse(bool found, const Filter& element, uint32_t object);

}  // namespace tabulon
