#include "reports/siduse.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/endian.h"
#include "config/settings.h"
#include "reports/reportwriter.h"

namespace tabulon {
namespace {

constexpr int32_t kClassUnmapped = -3;

// Account classes: the program's own (below 0) and the Windows account types (SID_NAME_USE).
struct SidClass {
  int32_t code;
  std::wstring_view description;
};
constexpr std::array<SidClass, 12> sidDesc = {{
    {kClassUnmapped, L"Unmapped SIDs"},
    {-2, L"Local users"},
    {-1, L"Local groups"},
    {1, L"Domain users"},
    {2, L"Domain groups"},
    {3, L"Domains"},
    {4, L"Alias SIDs"},
    {5, L"Wellknown groups"},
    {6, L"Deleted accounts"},
    {7, L"Invalid SIDs"},
    {8, L"Unknown SIDs"},
    {9, L"Computers"},
}};

std::wstring_view ClassDescription(int32_t code) {
  for (const SidClass& row : sidDesc) {
    if (row.code == code) return row.description;
  }
  return L"Not possible";
}

std::wstring AccountText(const SidObject& sid) {
  if (sid.type == kClassUnmapped) return L"unmapped";
  if (sid.name.empty()) return L"unknown";
  std::wstring text(sid.domain);
  if (!text.empty()) text += L'\\';
  text += sid.name;
  return text;
}

// Textual SIDs are never produced; this stands in their column.
constexpr std::wstring_view kNoSidString = L"SidString Not Available";

bool ShowsSidString(const Report& report, const SidObject& sid) {
  return (report.flags & kFlagShowSids) != 0 && sid.type != kClassUnmapped;
}

void WriteTextRow(Report& report, const SidObject& sid) {
  const std::wstring account = AccountText(sid);
  if (ShowsSidString(report, sid)) {
    ReportEntry(report, L"  (%d/%d) [%ls] [%ls]\n", sid.firstCount, sid.secondCount, account,
                kNoSidString);
  } else {
    ReportEntry(report, L"  (%d/%d) [%ls]\n", sid.firstCount, sid.secondCount, account);
  }
}

void WriteCsvRow(Report& report, const SidObject& sid) {
  const std::wstring account = AccountText(sid);
  const std::wstring_view description = ClassDescription(sid.type);
  if (ShowsSidString(report, sid)) {
    ReportEntry(report, L"%ls%c%ls%c%d%c%d%c%ls\n", description, csvSep, account, csvSep,
                sid.firstCount, csvSep, sid.secondCount, csvSep, kNoSidString);
  } else {
    ReportEntry(report, L"%ls%c%ls%c%d%c%d\n", description, csvSep, account, csvSep, sid.firstCount,
                csvSep, sid.secondCount);
  }
}

// A key of the tree.
struct DisplayKey {
  const SidObject* sid;
};
static_assert(sizeof(DisplayKey) == 8);

void WriteHeading(Report& report) {
  if (report.format != kFormatCsv) {
    ReportEntry(report, L"---- %ls\n\n", report.title);
  } else if (csvHdrs != 0) {
    ReportEntry(report, L"Class%cDomain\\Account%cUse count%cOwner count\n", csvSep, csvSep,
                csvSep);
  }
}

}  // namespace

void DisplaySidUse(Report& report, const Scan& scan) {
  DisplayReportFile(report);
  WriteHeading(report);
  if (scan.security == nullptr) return;
  Tree* const tree = scan.security->sidDisplayTree.get();

  const SidObject* written = nullptr;  // the row above
  for (KeyRecord record = TreeLowKey(tree); record; record = TreeNextKey(tree)) {
    const SidObject* sid = LoadLittle<DisplayKey>(record.key()).sid;
    if (sid->firstCount == 0) continue;
    if (report.format == kFormatCsv) {
      WriteCsvRow(report, *sid);
    } else {
      if (written == nullptr || written->type != sid->type) {
        ReportEntry(report, L"%ls\n", ClassDescription(sid->type));
      }
      WriteTextRow(report, *sid);
    }
    written = sid;
  }
}

}  // namespace tabulon
