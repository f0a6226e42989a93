// Reports as accumulators: parts that took a scan in turns and were merged write what one
// accumulator that saw everything writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <random>
#include <string>
#include <vector>

#include "base/localetext.h"
#include "base/loganderr.h"
#include "detail/scandetail.h"
#include "query/parsequery.h"
#include "reports/capture.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

std::mt19937 random(15);

template <class Row>
Row Pick(std::initializer_list<Row> rows) {
  return rows.begin()[random() % rows.size()];
}

RecordSpec RandomFile() {
  RecordSpec file = FileRecord(
      std::string(Pick({"a", "B", "PROGRA~1", "caf\xC3\xA9", "x\xE2\x82\xAC"})) +
          Pick({"", ".txt", ".TXT", ".Doc", ".\xC3\xA9", ".x1", ".y1"}),
      {.flags = Pick({0U, 0U, kRecordSymlink, kRecordNoOwner, kRecordNfsStub, kRecordMountPoint}),
       .attributes = Pick({0U, 0100644U, kAttrOffline, kAttrCompressed}),
       .created = 1600000000 + static_cast<uint32_t>(random() % 3) * 86400,
       .modified = 1700000000 + static_cast<uint32_t>(random() % 3) * 86400,
       .size = Pick({0UL, 10UL, 5000UL, 1UL << 40}),
       .uid = static_cast<uint32_t>(random() % 50),
       .gid = static_cast<uint32_t>(random() % 3)});
  if ((file.flags & kRecordHasTarget) != 0) file.target = "there";
  return file;
}

ScanSpec RandomScan(ScanKind kind) {
  ScanSpec scan{.kind = kind, .revision = 8 | kRevisionSubdirCounts, .rootPath = "/r"};
  for (int i = 0; i < 600; ++i) {
    scan.records.push_back(random() % 9 == 0 ? DirectoryRecord("/d" + std::to_string(random() % 20))
                                             : RandomFile());
    if (kind == ScanKind::kCifs && random() % 9 == 0) {
      scan.records.back() = WithStreams(RandomFile(), {{"s1", 7}, {"s2\xC3\xA9", 8}});
    }
  }
  return scan;
}

// A report of every kind that the scan has, as text or CSV, some with a filter.
std::list<ReportDefinition> EveryReport(const Scan& scan, const Settings& settings) {
  std::list<ReportDefinition> reports;
  for (const ReportKind& kind : kReportKinds) {
    if ((kind.scans & (scan.isCifs() ? kNfsOnly : kCifsOnly)) != 0) continue;
    if (kind.code == kReportDuplicates) continue;  // not gathered in parts
    for (const int format : {kFormatText, kFormatCsv, kFormatNone}) {
      ReportDefinition& report = reports.emplace_back();
      report.kind = &kind;
      report.title = kind.keyword;
      report.format = format;
      report.flags = kFlagTotals | (reports.size() % 2 == 0 ? kFlagFullPath : kFlagShowLink);
      if (format == kFormatCsv) {
        report.filter = ParseQuery(L"name matches *t* [or] size gt 0", scan, Classes());
      }
      InitializeReportEntry(report, settings, scan);
    }
  }
  return reports;
}

class Merging : public testing::Test {
 protected:
  void SetUp() override {
    std::setlocale(LC_ALL, "C.UTF-8");
    SettleTimeZone();
    settings_.csvSep = L',';
    settings_.adsFull = true;
    settings_.fileIncr = 512;
    settings_.maxPath = 12;
    settings_.sizeBands = {0, 100, 1 << 20, INT64_MAX};
    settings_.cdateBands = settings_.mdateBands = {1600050000, 1700090000, 1800000000};
  }

  // The texts of all reports on a scan whose records were dealt out to `parts` sets of them, in
  // stretches of random length.
  std::vector<std::string> Texts(const Scan& scan, size_t parts) {
    std::list<ReportDefinition> reports = EveryReport(scan, settings_);
    ReportRun run{scan, settings_, "x.dtl", L"/r"};
    run.dupLimits = {.runFiles = 100, .gathered = 40, .sorted = 16, .written = 5};
    run.threads = parts;
    if (parts > 1) run.linesAtOnce = 1 + random() % 50;
    run.typeLimits.entries = 3;
    run.typeLimits.spooled = 300;
    std::vector<std::unique_ptr<ReportSet>> sets;
    sets.push_back(std::make_unique<ReportSet>(reports, run));
    while (sets.size() < parts) sets.push_back(sets.front()->NewPart());
    size_t stretch = 0;  // batches
    size_t part = 0;
    const auto take = [&](Pass& pass) {
      if (stretch == 0) part = random() % parts;
      stretch = stretch == 0 ? random() % 9 : stretch - 1;
      sets[part]->Add(pass);
    };
    ScanDetail(scan, take, {.most = 1 + random() % 40});
    // In any order and grouping.
    std::shuffle(sets.begin() + 1, sets.end(), random);
    while (sets.size() > 1) {
      const size_t into = random() % (sets.size() - 1);
      sets[into]->Merge(*sets.back());
      sets.pop_back();
    }
    sets.front()->Finish();
    const bool unicode = settings_.textFormat == kTextUnicode;
    const TextEncoding encoding = unicode ? TextEncoding::kUtf16Le : TextEncoding::kLocale;
    std::vector<UniqueFd> files;
    for (ReportDefinition& report : reports) {
      files.emplace_back(memfd_create("report", 0));
      report.file.stream.Attach(dup(files.back().get()), true, encoding, "report");
    }
    sets.front()->Write(nullptr);
    std::vector<std::string> texts;
    for (const UniqueFd& file : files) texts.push_back(TextOf(file.get()));
    return texts;
  }

  CapturedLog log_;
  Settings settings_;
};

TEST_F(Merging, GivesTheOutputOfTheWhole) {
  for (const ScanKind kind : {ScanKind::kNfs, ScanKind::kCifs}) {
    const Scan scan = OpenInMemory(BuildDtl(RandomScan(kind)));
    const std::vector<std::string> whole = Texts(scan, 1);
    size_t bytes = 0;
    for (const std::string& text : whole) bytes += text.size();
    ASSERT_GT(bytes, 50'000U);
    for (size_t parts = 2; parts <= 9; ++parts) {
      for (int i = 0; i < 3; ++i) ASSERT_EQ(Texts(scan, parts), whole) << parts;
    }
    settings_.textFormat = kTextUnicode;
    EXPECT_EQ(Texts(scan, 3), Texts(scan, 1));
    settings_.textFormat = kTextStandard;
  }
}

}  // namespace
}  // namespace tabulon
