#include "reports/dupfinder.h"

#include "config/settings.h"
#include "query/batchfilter.h"

namespace tabulon {

DupLimits dupLimits;

namespace {

DupFinder& FinderOf(Report& report) {
  return static_cast<DupFinder&>(*report.work);
}

}  // namespace

DupFinder::DupFinder(const Report& report, const Scan& scan)
    : files(dbgFlag ? std::make_unique<DupDebugFiles>() : nullptr),
      candidates(scan, report.dupFields, dupLimits, dbgFlag),
      groups(files.get(), dupLimits.sorted) {}

void NewDuplicateTree(Report& report, const Scan& scan) {
  report.work = std::make_unique<DupFinder>(report, scan);
}

void CheckDuplicates(Report& report, Pass& pass) {
  DupFinder& finder = FinderOf(report);
  RecordBatch& batch = pass.batch;
  ChoosePassing(report.plan, pass);
  LookAtNamesFor(pass);
  ForEachChosen(pass, [&](size_t i) {
    if ((batch.fields(i).attributes() & kAttrDirectory) != 0) return;
    const bool runWasFull = finder.candidates.Gather(batch.At(i));
    if (runWasFull && finder.files) finder.files->NewRun();
  });
}

void DumpDuplicateTree(Report& report) {
  DupFinder& finder = FinderOf(report);
  if (finder.files) finder.files->NewRun();  // of the files since, even if there are none
  finder.candidates.ForEach([&](const Candidate& file) { finder.groups.Add(file); });
  finder.groups.Finish();
  if (finder.files) finder.files->Finish();
  const DupTotals& totals = finder.groups.totals();
  report.count += static_cast<int32_t>(totals.files);
  report.totalBytes += totals.bytes;
  report.allocatedBytes += totals.allocated;
}

}  // namespace tabulon
