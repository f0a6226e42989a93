#include "reports/matchrecord.h"

#include <vector>

#include "config/report.h"
#include "detail/recordclass.h"
#include "detail/scandetail.h"
#include "reports/dupfinder.h"
#include "reports/filetypes.h"

namespace tabulon {
namespace {

using Offer = void (*)(Report& report, const ScanRecord& record);

// Which reports look at records, and how, by type. The first row that fits counts.
struct OfferRow {
  uint32_t mask;
  uint32_t
      type;     // the report's type under the mask; 0: any bit of the mask, or any type without one
  bool looks;   // false: reports of this type look at no record
  Offer offer;  // null: they list what is selected
};
constexpr OfferRow kOffers[] = {
    {~0U, kReportDuplicates, true, CheckDuplicate},
    {kGroupingTypes, 0, true, ClassifyFile},
    {~0U, kReportSummary, false, nullptr},
    {~0U, kReportSidUse, false, nullptr},
    {0, 0, true, nullptr},
};

const OfferRow& OfferOf(uint32_t type) {
  const OfferRow* row = kOffers;
  while (row->mask != 0 &&
         (row->type == 0 ? (type & row->mask) == 0 : (type & row->mask) != row->type)) {
    ++row;
  }
  return *row;
}

// A report that looks at the records of the scan.
struct Watch {
  Report* report;
  Offer offer;
  RecordSelector selector;  // of a listing
};
std::vector<Watch> watches;

// A listing that chooses among all files by its filter alone.
struct FileList {
  FilterGate gate;
  Report* report;
};
std::vector<FileList> fileLists;

// Notes a record that a listing has selected.
void Note(Report& report, const ScanRecord& record) {
  if (report.format != kFormatNone && report.positions.IsOpen()) {
    const PositionPair pair = {record.view.position, record.directoryPosition};
    report.positions.Append(&pair, sizeof pair);
  }
  ++report.count;
  report.totalBytes += record.fields().size();
  report.allocatedBytes += record.allocatedSize;
}

// A listing report notes the record when its type and its filter select it.
void CheckReport(const Watch& watch, const ScanRecord& record) {
  Report& report = *watch.report;
  if (watch.selector.Selects(record) && report.plan.Passes(record)) Note(report, record);
}

void OfferRecord(const ScanRecord& record) {
  if (!record.fields().isDirectory()) {
    const unsigned char* fixed = record.fields().bytes();
    for (const FileList& list : fileLists) {
      if (list.gate.Opens(fixed) && list.report->plan.Passes(record)) Note(*list.report, record);
    }
  }
  for (const Watch& watch : watches) {
    if (watch.offer != nullptr) {
      watch.offer(*watch.report, record);
    } else {
      CheckReport(watch, record);
    }
  }
}

}  // namespace

void ScanReports() {
  watches.clear();
  fileLists.clear();
  for (Report& report : reportList) {
    const OfferRow& row = OfferOf(report.type);
    if (report.active == 0 || !row.looks) continue;
    const RecordSelector selector = SelectorOf(report.type);
    if (row.offer == nullptr && selector.SelectsEveryFile()) {
      fileLists.push_back({report.plan.Gate(), &report});
    } else {
      watches.push_back({&report, row.offer, selector});
    }
    if (row.offer == CheckDuplicate) NewDuplicateTree(report);
  }
  ScanDetail(OfferRecord);
  for (const Watch& watch : watches) {
    if (watch.offer == CheckDuplicate) DumpDuplicateTree(*watch.report);
  }
}

}  // namespace tabulon
