#include "reports/listing.h"

#include <array>
#include <string>

#include "base/utils.h"
#include "query/filterplan.h"
#include "reports/csvcolumns.h"
#include "reports/linewriter.h"
#include "reports/positions.h"

namespace tabulon {
namespace {

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 8;

// Lines are handed over in runs of about so many bytes, which the stream need not copy.
constexpr size_t kGathered = TextStream::kBufferSize;

// One listing while it is written. Records and their directories are read again, in ascending
// order but for a step back from a window's start to the directory of its first records.
class ListingWriter {
 public:
  ListingWriter(ReportOutput& output, const Scan& scan)
      : output_(output),
        report_(output.report()),
        scan_(scan),
        writer_(LineForm::Of(output)),
        columns_(report_, output.settings()),
        times_(output.settings().dateFmt),
        records_(scan),
        root_(writer_.NewText()),
        directory_(writer_.NewText()),
        prefix_(writer_.NewText()) {
    root_.Add(scan.rootPath);
    prefix_.Add(scan.pathSep);
  }

  void WriteTitle() {
    if (report_.format == kFormatCsv) {
      if (output_.settings().csvHdrs != 0) FormatCsvColHdrs(columns_, writer_);
    } else if (!EqualIgnoringCase(report_.title, L"none")) {
      ReportEntry(output_, L"\n---- %ls ----\n\n", report_.title);
    }
  }

  void Prefetch(const PositionPair& pair) { records_.Prefetch(pair.record); }

  void WriteRecord(const PositionPair& pair) {
    if (pair.directory != directoryPosition_) UpdateDirPath(pair.directory);
    if (!records_.Read(pair.record, view_)) return;
    if (view_.streamCount > 0 && output_.settings().adsFull) {
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
    if (output_.settings().adsFull) WriteStreams();
    if (writer_.gathered().size() >= kGathered) HandOver();
  }

  void HandOver() {
    output_.stream().WriteBytes(writer_.gathered());
    writer_.Drop();
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
    if (!ShowsFullPaths(report_)) WriteDirectoryHeading(output_, writer_, directory_);
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
      FormatCsvLine(columns_, line, times_, writer_);
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

  ReportOutput& output_;
  const ReportDefinition& report_;
  const Scan& scan_;
  LineWriter writer_;
  CsvColumns columns_;
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

// The records that a listing selects, by their positions.
class Listing : public ReportAccumulator {
 public:
  // `whole`: the one that this is a part of; null: none.
  Listing(const ReportDefinition& report, const ReportRun& run, const Listing* whole = nullptr)
      : report_(report), run_(run), selector_(report.kind->selects) {
    if (whole == nullptr) {
      positions_.Create();
    } else {
      positions_.CreateAsPartOf(whole->positions_);
    }
  }

  bool wantsRecords() const override { return run_.scan.isCifs() || !selector_.cifsOnly; }
  void Add(Pass& pass) override;
  std::unique_ptr<ReportAccumulator> NewPart() override {
    return std::make_unique<Listing>(report_, run_, this);
  }
  void Merge(ReportAccumulator& part) override;
  void Write(ReportOutput& output) override;

 private:
  void Note(const ScanRecord& record);

  const ReportDefinition& report_;
  const ReportRun& run_;
  RecordSelector selector_;
  PositionStore positions_;
};

void Listing::Add(Pass& pass) {
  ChoosePassing(report_.plan, pass);
  ForEachChosen(pass, [&](size_t i) {
    const ScanRecord& record = pass.batch.At(i);
    if (selector_.Selects(record, run_.settings)) Note(record);
  });
}

void Listing::Note(const ScanRecord& record) {
  if (report_.format != kFormatNone) {
    positions_.Append({record.view.position, record.directoryPosition});
  }
  const uint64_t size = record.fields().size();
  ++counts_.count;
  counts_.totalBytes += size;
  counts_.allocatedBytes += AllocatedSize(size, run_.settings.fileIncr);
}

void Listing::Merge(ReportAccumulator& part) {
  MergeCounts(part);
  positions_.Merge(static_cast<Listing&>(part).positions_);
}

void Listing::Write(ReportOutput& output) {
  DisplayReportFile(output);
  ListingWriter writer(output, run_.scan);
  writer.WriteTitle();
  positions_.Rewind();
  // A few positions are read ahead of the record that is written, so that the processor can fetch
  // their records.
  std::array<PositionPair, kLookAhead> ahead;
  size_t taken = 0;
  size_t written = 0;
  while (true) {
    PositionPair& slot = ahead[taken % kLookAhead];
    const bool more = positions_.Read(slot);
    if (more) {
      writer.Prefetch(slot);
      if (++taken - written < kLookAhead) continue;
    }
    if (written == taken) break;
    writer.WriteRecord(ahead[written++ % kLookAhead]);
  }
  writer.HandOver();
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeListing(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<Listing>(report, run);
}

}  // namespace tabulon
