#include "reports/siduse.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

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

// Textual SIDs are never produced; this is shown in their column.
constexpr std::wstring_view kNoSidString = L"SidString Not Available";

bool ShowsSidString(const ReportDefinition& report, const SidObject& sid) {
  return (report.flags & kFlagShowSids) != 0 && sid.type != kClassUnmapped;
}

void WriteTextRow(ReportOutput& output, const SidObject& sid) {
  const std::wstring account = AccountText(sid);
  if (ShowsSidString(output.report(), sid)) {
    ReportEntry(output, L"  (%d/%d) [%ls] [%ls]\n", sid.firstCount, sid.secondCount, account,
                kNoSidString);
  } else {
    ReportEntry(output, L"  (%d/%d) [%ls]\n", sid.firstCount, sid.secondCount, account);
  }
}

void WriteCsvRow(ReportOutput& output, const SidObject& sid) {
  const wchar_t csvSep = output.settings().csvSep;
  const std::wstring account = AccountText(sid);
  const std::wstring_view description = ClassDescription(sid.type);
  if (ShowsSidString(output.report(), sid)) {
    ReportEntry(output, L"%ls%c%ls%c%d%c%d%c%ls\n", description, csvSep, account, csvSep,
                sid.firstCount, csvSep, sid.secondCount, csvSep, kNoSidString);
  } else {
    ReportEntry(output, L"%ls%c%ls%c%d%c%d\n", description, csvSep, account, csvSep, sid.firstCount,
                csvSep, sid.secondCount);
  }
}

void WriteHeading(ReportOutput& output) {
  const wchar_t csvSep = output.settings().csvSep;
  if (output.report().format != kFormatCsv) {
    ReportEntry(output, L"---- %ls\n\n", output.report().title);
  } else if (output.settings().csvHdrs != 0) {
    ReportEntry(output, L"Class%cDomain\\Account%cUse count%cOwner count\n", csvSep, csvSep,
                csvSep);
  }
}

class SidUse : public ReportAccumulator {
 public:
  explicit SidUse(const Scan& scan) : scan_(scan) {}
  void Write(ReportOutput& output) override { DisplaySidUse(output, scan_); }

 private:
  const Scan& scan_;
};

}  // namespace

std::unique_ptr<ReportAccumulator> MakeSidUse(const ReportDefinition&, ReportRun& run) {
  return std::make_unique<SidUse>(run.scan);
}

void DisplaySidUse(ReportOutput& output, const Scan& scan) {
  DisplayReportFile(output);
  WriteHeading(output);
  if (scan.security == nullptr) return;
  Tree* const tree = SidsForDisplay(*scan.security);

  const SidObject* written = nullptr;  // the row above
  for (KeyRecord record = TreeLowKey(tree); record; record = TreeNextKey(tree)) {
    const auto& sid = FromKey<SidObject>(record.key());
    if (sid.firstCount == 0) continue;
    if (output.report().format == kFormatCsv) {
      WriteCsvRow(output, sid);
    } else {
      if (written == nullptr || written->type != sid.type) {
        ReportEntry(output, L"%ls\n", ClassDescription(sid.type));
      }
      WriteTextRow(output, sid);
    }
    written = &sid;
  }
}

}  // namespace tabulon
