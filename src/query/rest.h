// Completes the module of filters with the plain form of their test: every element, from left to
// right. The scan uses query/filterplan.h, which gives the same answers and is checked against
// this.
#pragma once

#include <cstdint>

#include "detail/scan.h"
#include "detail/scanrecord.h"
#include "query/query.h"

namespace tabulon {

// Whether the record passes the list: each value is joined to the result so far by the connector
// before it, without precedence. A null list passes every record.
bool CheckFilterList(const Filter* list, const ScanRecord& record, const Scan& scan);
// The value of one element that is no group. Objects without a test (alternate streams, security)
// give false.
bool CheckFilter(const Filter& element, const ScanRecord& record, const Scan& scan);

// The comparison rule: unequal values are ordered by their signed 64-bit difference (so values 2^63
// or more apart compare the other way round: kept so).
bool CompareTest(uint32_t comparison, uint64_t left, uint64_t right);
// The rule for dates: `time` is cut to its whole day (UTC reckoning) and compared with the
// element's date. False when the element's object lacks the bit `object`.
bool CheckDate(const Filter& element, uint32_t time, uint32_t object);
// The rule for accounts: with the object bit, 1 when `found` and the comparison is kEqual, or when
// not found and it is kNotEqual.
bool CheckSidUse(bool found, const Filter& element, uint32_t object);

}  // namespace tabulon
