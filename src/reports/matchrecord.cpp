#include "reports/matchrecord.h"

#include <vector>

#include "config/report.h"
#include "config/settings.h"
#include "detail/recordclass.h"
#include "detail/scandetail.h"
#include "query/batchfilter.h"
#include "reports/dupfinder.h"
#include "reports/filetypes.h"

namespace tabulon {
namespace {

using Offer = void (*)(Report& report, Pass& pass);

Offer NewDuplicateCheck(Report& report, const Scan& scan) {
  NewDuplicateTree(report, scan);
  return CheckDuplicates;
}

// Which reports look at records, and how, by type. The first row that fits counts.
struct OfferRow {
  uint32_t mask;
  // The report's type under the mask; 0: any bit of the mask, or any type where there is no mask.
  uint32_t type;
  bool looks;  // false: reports of this type look at no record
  Offer (*prepare)(Report& report,
                   const Scan& scan);  // makes the report ready; null: it lists what is selected
};
constexpr OfferRow kOffers[] = {
    {~0U, kReportDuplicates, true, NewDuplicateCheck},
    {kGroupingTypes, 0, true, NewClassifier},
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
  Offer offer;  // null: it lists what is selected
  Report* report;
  RecordSelector selector;  // of a listing
};

// Notes a record that a listing has selected.
void Note(Report& report, const ScanRecord& record) {
  if (report.format != kFormatNone && report.positions.IsOpen()) {
    const PositionPair pair = {record.view.position, record.directoryPosition};
    report.positions.Append(&pair, sizeof pair);
  }
  ++report.count;
  report.totalBytes += record.fields().size();
  report.allocatedBytes += AllocatedSize(record.fields().size());
}

// A listing notes the records that its type and its filter select.
void OfferToList(const Watch& watch, Pass& pass) {
  ChoosePassing(watch.report->plan, pass);
  ForEachChosen(pass, [&](size_t i) {
    const ScanRecord& record = pass.batch.At(i);
    if (watch.selector.Selects(record)) Note(*watch.report, record);
  });
}

}  // namespace

PassEnd ScanReports(const Scan& scan) {
  std::vector<Watch> watches;
  for (Report& report : reportList) {
    const OfferRow& row = OfferOf(report.type);
    if (report.active == 0 || !row.looks) continue;
    const RecordSelector selector = SelectorOf(report.type, scan);
    if (row.prepare != nullptr) {
      watches.push_back({row.prepare(report, scan), &report, selector});
    } else if (!selector.never) {
      watches.push_back({nullptr, &report, selector});
    }
  }
  const auto offer = [&](Pass& pass) {
    for (const Watch& watch : watches) {
      if (watch.offer != nullptr) {
        watch.offer(*watch.report, pass);
      } else {
        OfferToList(watch, pass);
      }
    }
  };
  // With -z the duplicates reports tell of files that they fill. One record at a time, their lines
  // come in the order of the records, among themselves and between the marks of -p.
  const PassEnd end = ScanDetail(scan, offer, dbgFlag ? 1 : RecordBatch::kMost);
  for (const Watch& watch : watches) {
    if (watch.offer == CheckDuplicates) DumpDuplicateTree(*watch.report);
  }
  return end;
}

}  // namespace tabulon
