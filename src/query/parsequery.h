// The query language, from text to query: "object operator value" tests joined by "[and]" and
// "[or]", grouped with parentheses. Keywords are taken in any letter case.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "detail/scan.h"
#include "query/query.h"
#include "query/tokenizer.h"

namespace tabulon {

// Compiles a query for a scan. `scanDateRelative`: what relative dates count back from
// (query/datevalue.h). A fault ends the run with "Syntax error: ..." and the position of the
// character read last (query/tokenizer.h). The result has at least one element, and looks at `scan`
// and `classes`.
Query ParseQuery(std::wstring_view text, const Scan& scan, const Classes& classes,
                 int scanDateRelative = 1);

// Operator bits.
inline constexpr uint32_t kOpEq = 0x1;
inline constexpr uint32_t kOpNe = 0x2;
inline constexpr uint32_t kOpLe = 0x4;
inline constexpr uint32_t kOpLt = 0x8;
inline constexpr uint32_t kOpGe = 0x10;
inline constexpr uint32_t kOpGt = 0x20;
inline constexpr uint32_t kOpIs = 0x40;
inline constexpr uint32_t kOpIsnot = 0x80;
inline constexpr uint32_t kOpMatches = 0x100;
inline constexpr uint32_t kOpBefore = 0x200;
inline constexpr uint32_t kOpUpto = 0x400;
inline constexpr uint32_t kOpAfter = 0x800;
inline constexpr uint32_t kOpSince = 0x1000;
inline constexpr uint32_t kOpIncludes = 0x2000;
inline constexpr uint32_t kOpExcludes = 0x4000;

// What is needed to understand the parts of a query.
struct QueryContext {
  const Tokenizer& tokenizer;  // tells faults
  const Scan& scan;
  const Classes& classes;
  int scanDateRelative;
};

struct FilterObject {
  std::wstring_view keyword;
  uint32_t code;       // object code, with kCifsOnly or kNfsOnly where it applies
  uint32_t operators;  // operator bits that the object accepts
  // Turns a value into what the tests need and keeps it in `element`, whose `text` is the value.
  // A value that does not fit ends the run with its message.
  void (*convert)(Filter& element, const QueryContext& context);
};
extern const std::array<FilterObject, 22> filterObjects;
constexpr uint32_t ObjectCode(const FilterObject& row) {
  return row.code & ~(kCifsOnly | kNfsOnly);
}

struct OpVerb {
  std::wstring_view keyword;
  uint32_t bit;
  Comparison comparison;  // all that is kept of the operator: synonyms behave alike
};
inline constexpr std::array<OpVerb, 15> opVerbs = {{{L"eq", kOpEq, kEqual},
                                                    {L"ne", kOpNe, kNotEqual},
                                                    {L"le", kOpLe, kLessOrEqual},
                                                    {L"lt", kOpLt, kLess},
                                                    {L"ge", kOpGe, kGreaterOrEqual},
                                                    {L"gt", kOpGt, kGreater},
                                                    {L"is", kOpIs, kEqual},
                                                    {L"isnot", kOpIsnot, kNotEqual},
                                                    {L"matches", kOpMatches, kEqual},
                                                    {L"upto", kOpUpto, kLessOrEqual},
                                                    {L"before", kOpBefore, kLess},
                                                    {L"after", kOpAfter, kGreater},
                                                    {L"since", kOpSince, kGreaterOrEqual},
                                                    {L"includes", kOpIncludes, kEqual},
                                                    {L"excludes", kOpExcludes, kNotEqual}}};

// The row of a keyword, letter case ignored; null when there is none.
const FilterObject* FindFilterObject(std::wstring_view keyword);
const OpVerb* FindOpVerb(std::wstring_view keyword);
// The row of an object code (without scan restriction bits); null when there is none.
const FilterObject* FindFilterObject(uint32_t object);

// Applies one finished token to an element: as its object, operator, value or connector, by what
// the element waits for.
void ProcessToken(Filter& element, std::wstring_view token, const QueryContext& context);

}  // namespace tabulon
