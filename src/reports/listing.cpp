#include "reports/listing.h"

#include <array>
#include <string>

#include "base/utils.h"
#include "config/settings.h"
#include "detail/recordreader.h"
#include "reports/csvcolumns.h"
#include "reports/linewriter.h"
#include "reports/matchrecord.h"
#include "reports/reportdir.h"
#include "reports/reportwriter.h"

namespace tabulon {
namespace {

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 8;

// One listing while it is written. Records and their directories are read again, in ascending
// order but for a step back from a window's start to the directory of its first records.
class Listing {
 public:
  Listing(Report& report, const Scan& scan)
      : report_(report),
        scan_(scan),
        writer_(report),
        times_(dateFmt),
        records_(scan),
        root_(writer_.NewText()),
        directory_(writer_.NewText()),
        prefix_(writer_.NewText()) {
    root_.Add(scan.rootPath);
    prefix_.Add(scan.pathSep);
  }

  void WriteTitle() {
    if (report_.format == kFormatCsv) {
      if (csvHdrs != 0) FormatCsvColHdrs(report_, writer_);
    } else if (!EqualIgnoringCase(report_.title, L"none")) {
      ReportEntry(report_, L"\n---- %ls ----\n\n", report_.title);
    }
  }

  void Prefetch(const PositionPair& pair) { records_.Prefetch(pair.record); }

  void WriteRecord(const PositionPair& pair) {
    if (pair.directory != directoryPosition_) UpdateDirPath(pair.directory);
    if (!records_.Read(pair.record, view_)) return;
    if (view_.streamCount > 0 && adsFull) {
      // Reading the streams moves the window, so the texts are kept aside.
      name_.AssignCopy(view_.name);
      target_.AssignCopy(view_.target);
      fixed_.assign(reinterpret_cast<const char*>(view_.fields.bytes()), scan_.layout().fixedSize);
      view_.fields =
          RecordFields(reinterpret_cast<const unsigned char*>(fixed_.data()), &scan_.layout());
    } else {
      view_.LookAtName(name_);
      target_.Assign(view_.target);
    }
    WriteLine({}, view_.fields.size(), 0);
    if (adsFull) WriteStreams();
  }

 private:
  void UpdateDirPath(uint64_t position) {
    directoryPosition_ = position;
    if (records_.Read(position, view_)) {
      view_.LookAtName(name_);
    } else {
      name_.Assign({});
    }
    directory_.Clear();
    prefix_.Clear();
    const wchar_t last = AddDirectory(report_, scan_, root_, name_, directory_);
    prefix_.Add(directory_);
    if (last != scan_.pathSep) prefix_.Add(scan_.pathSep);
    if (!ShowsFullPaths(report_)) WriteDirectoryHeading(report_, writer_, directory_);
  }

  void WriteStreams() {
    uint64_t at = view_.streams;
    StreamEntry entry;
    RecordText streamName;
    for (int32_t i = 0; i < view_.streamCount && records_.ReadStream(at, entry); ++i) {
      streamName.Assign(entry.name);
      WriteLine(streamName.Wide(), 0, entry.size);
    }
  }

  void WriteLine(std::wstring_view streamName, uint64_t size, uint64_t streamSize) {
    const ListingLine line = {.fields = view_.fields,
                              .name = &name_,
                              .streamName = streamName,
                              .target = &target_,
                              .size = size,
                              .streamSize = streamSize,
                              .directory = &directory_,
                              .directoryPrefix = &prefix_};
    if (report_.format == kFormatCsv) {
      FormatCsvLine(report_, line, times_, writer_);
    } else {
      OutputToReport(line);
    }
  }

  void OutputToReport(const ListingLine& line) {
    if (ShowsFullPaths(report_)) {
      writer_.Add(prefix_);
    } else {
      writer_.Add(std::string_view("  "));
    }
    writer_.Add(*line.name).Add(line.streamName).EndPiece();
    if ((report_.flags & kFlagShowLink) != 0 && view_.hasTarget &&
        !target_.Visit([](auto text) { return text.empty(); })) {
      writer_.Add(std::string_view("  =>  ")).Add(target_).EndPiece();
    }
    writer_.EndLine();
  }

  Report& report_;
  const Scan& scan_;
  LineWriter writer_;
  FileTimeFormatter times_;
  RecordReader records_;
  RecordView view_;
  RecordText name_;
  RecordText target_;
  std::string fixed_;
  EncodedText root_;
  EncodedText directory_;
  EncodedText prefix_;
  uint64_t directoryPosition_ = 0;  // files before the first directory have no heading
};

}  // namespace

void DisplayReport(Report& report, const Scan& scan) {
  DisplayReportFile(report);
  Listing listing(report, scan);
  listing.WriteTitle();
  if (!report.positions.IsOpen()) return;
  report.positions.Rewind();
  // A few positions are known ahead of the one that is written.
  std::array<PositionPair, kLookAhead> ahead;
  size_t taken = 0;
  size_t written = 0;
  while (true) {
    PositionPair& slot = ahead[taken % kLookAhead];
    const bool more = report.positions.Read(&slot, sizeof slot);
    if (more) {
      listing.Prefetch(slot);
      if (++taken - written < kLookAhead) continue;
    }
    if (written == taken) return;
    listing.WriteRecord(ahead[written++ % kLookAhead]);
  }
}

}  // namespace tabulon
