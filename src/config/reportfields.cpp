#include "config/reportfields.h"

#include <algorithm>

#include "base/loganderr.h"
#include "config/keywords.h"

namespace tabulon {
namespace {

// Whether no two rows of a table share the keyword or the code.
template <class Rows, class Code>
constexpr bool RowsAreUnique(const Rows& rows, Code code) {
  for (size_t i = 0; i < rows.size(); ++i) {
    for (size_t j = 0; j < i; ++j) {
      if (rows[i].keyword == rows[j].keyword || code(rows[i]) == code(rows[j])) return false;
    }
  }
  return true;
}

constexpr auto kFieldOf = [](const FieldDef& row) { return row.code & kFieldCodeMask; };

static_assert(RowsAreUnique(fldDefs, kFieldOf));
static_assert(RowsAreUnique(smryDefs, kFieldOf));
static_assert(RowsAreUnique(dupFlds, kFieldOf));
// An array that is longer than its rows would end in rows without a keyword.
static_assert(!fldDefs.back().keyword.empty() && !smryDefs.back().keyword.empty() &&
              !dupFlds.back().keyword.empty());

}  // namespace

std::string ValidateFieldList(std::wstring_view value) {
  std::string codes(1, char{kFieldName});
  ForEachItem(value, [&](std::wstring_view item) {
    const FieldDef* field = FindKeywordExactly(fldDefs, item);
    if (field == nullptr) ErrExit(L"Invalid field list: %ls\n", value);
    if (field->code != kFieldName) codes.push_back(static_cast<char>(field->code));
  });
  return codes;
}

std::string ValidateSummaryFields(std::wstring_view value) {
  std::string codes;
  ForEachItem(value, [&](std::wstring_view item) {
    const FieldDef* field = FindKeywordExactly(smryDefs, item);
    if (field == nullptr) ErrExit(L"Invalid summary field list: %ls\n", value);
    codes.push_back(static_cast<char>(field->code));
  });
  return codes;
}

uint32_t ValidateDupFields(std::wstring_view value) {
  uint32_t bits = 0;
  ForEachItem(value, [&](std::wstring_view item) {
    const FieldDef* field = FindKeyword(dupFlds, item);
    if (field == nullptr) ErrExit(L"Invalid duplicate field check list: %ls\n", value);
    bits |= field->code;
  });
  return bits;
}

void CheckFieldTypes(ReportDefinition& report, const Scan& scan) {
  const bool nfs = !scan.isCifs();
  const uint8_t refused = nfs ? kFieldCifsOnly : kFieldNfsOnly;
  for (char& byte : report.fields) {
    const auto code = static_cast<uint8_t>(byte);
    if ((code & refused) != 0) {
      const auto* field = std::ranges::find(fldDefs, code, &FieldDef::code);
      ErrExit(L"In report: %ls\n  CSV field type '%ls' is only valid for %ls detail files\n",
              report.title, field->keyword, nfs ? L"CIFS" : L"NFS");
    }
    byte = static_cast<char>(code & kFieldCodeMask);
  }
}

}  // namespace tabulon
