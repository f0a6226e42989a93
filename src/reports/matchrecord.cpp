#include "reports/matchrecord.h"

#include <vector>

#include "config/report.h"
#include "detail/recordclass.h"
#include "detail/scandetail.h"
#include "reports/dupfinder.h"
#include "reports/filetypes.h"

namespace tabulon {
namespace {

// A listing report notes the record when its type and its filter select it.
void CheckReport(Report& report, const ScanRecord& record) {
  if (!RecordSelected(report.type, record) || !report.plan.Passes(record)) return;
  if (report.format != kFormatNone && report.positions.IsOpen()) {
    const PositionPair pair = {record.view.position, record.directoryPosition};
    report.positions.Append(&pair, sizeof pair);
  }
  ++report.count;
  report.totalBytes += record.fields().size();
  report.allocatedBytes += record.allocatedSize;
}

using Offer = void (*)(Report& report, const ScanRecord& record);

// Which reports look at records, and how, by type. The first row that fits counts.
struct OfferRow {
  uint32_t mask;
  uint32_t type;  // the report's type under the mask; 0: any bit of the mask
  Offer offer;    // null: reports of this type look at no record
};
constexpr OfferRow kOffers[] = {
    {~0U, kReportDuplicates, CheckDuplicate},
    {kGroupingTypes, 0, ClassifyFile},
    {~0U, kReportSummary, nullptr},
    {~0U, kReportSidUse, nullptr},
    {~0U, kReportTotals, nullptr},
    {0, 0, CheckReport},
};

Offer OfferOf(uint32_t type) {
  for (const OfferRow& row : kOffers) {
    if (row.mask == 0) return row.offer;
    if (row.type == 0 ? (type & row.mask) != 0 : (type & row.mask) == row.type) return row.offer;
  }
  return nullptr;
}

struct Watch {
  Report* report;
  Offer offer;
};
std::vector<Watch> watches;

void OfferRecord(const ScanRecord& record) {
  for (const Watch& watch : watches) watch.offer(*watch.report, record);
}

}  // namespace

void ScanReports() {
  watches.clear();
  for (Report& report : reportList) {
    const Offer offer = report.active != 0 ? OfferOf(report.type) : nullptr;
    if (offer != nullptr) watches.push_back({&report, offer});
    if (offer == CheckDuplicate) NewDuplicateTree(report);
  }
  ScanDetail(OfferRecord);
  for (const Watch& watch : watches) {
    if (watch.offer == CheckDuplicate) DumpDuplicateTree(*watch.report);
  }
}

}  // namespace tabulon
