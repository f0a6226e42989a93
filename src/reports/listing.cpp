#include "reports/listing.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/utils.h"
#include "query/choosepassing.h"
#include "reports/csvcolumns.h"
#include "reports/filetimes.h"
#include "reports/linewriter.h"
#include "reports/orderedlines.h"
#include "reports/positions.h"

namespace tabulon {
namespace {

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 8;

void WriteTitle(ReportOutput& output) {
  const ReportDefinition& report = output.report();
  if (report.format == kFormatCsv) {
    if (output.settings().csvHdrs == 0) return;
    LineWriter writer(output);
    FormatCsvColHdrs(CsvColumns(report, output.settings()), writer);
  } else if (!EqualIgnoringCase(report.title, L"none")) {
    ReportEntry(output, L"\n---- %ls ----\n\n", report.title);
  }
}

// What a thread writes at a time.
struct ListingPiece {
  uint64_t number = 0;
  uint64_t directoryBefore = 0;  // of the record before it, from which its first heading depends
  std::vector<PositionPair> records;
};

// The lines of a listing as one thread writes them. Records and their directories are read again,
// in ascending order but for steps back to the directory of a piece's first record. Every thread
// maps a window of its own: unlike in the pass, what they do between two moves of the window takes
// so long that the interruption by unmapping is not felt, and most listings skip most of the file.
class ListingWriter {
 public:
  ListingWriter(ReportOutput& output, const Scan& scan, OrderedLines& lines)
      : settings_(output.settings()),
        report_(output.report()),
        scan_(scan),
        lines_(lines),
        writer_(LineForm::Of(output)),
        columns_(report_, settings_),
        times_(settings_.dateFmt),
        records_(scan),
        root_(writer_.NewText()),
        directory_(writer_.NewText()),
        prefix_(writer_.NewText()) {
    root_.Add(scan.rootPath);
    prefix_.Add(scan.pathSep);
  }

  void WritePiece(const ListingPiece& piece) {
    piece_ = piece.number;
    headed_ = piece.directoryBefore;
    for (size_t i = 0; i < piece.records.size(); ++i) {
      const PositionPair& pair = piece.records[i];
      if (pair.directory != directoryPosition_) UpdateDirPath(pair.directory);
      if (pair.directory != headed_) WriteHeading(pair.directory);
      if (i + kLookAhead < piece.records.size()) {
        records_.Prefetch(piece.records[i + kLookAhead].record);
      }
      WriteRecord(pair.record);
    }
    lines_.Write(piece_, writer_);
    lines_.Finish(piece_);
  }

 private:
  void WriteRecord(uint64_t position) {
    if (!records_.Read(position, view_)) return;
    if (view_.streamCount > 0 && settings_.adsFull) {
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
    if (settings_.adsFull) WriteStreams();
  }

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
  }

  void WriteHeading(uint64_t directory) {
    headed_ = directory;
    if (!ShowsFullPaths(report_)) {
      WriteDirectoryHeading(report_, settings_.csvSep, writer_, directory_);
    }
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
    if (writer_.gathered().size() >= OrderedLines::kMostGathered) lines_.Write(piece_, writer_);
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

  const Settings& settings_;
  const ReportDefinition& report_;
  const Scan& scan_;
  OrderedLines& lines_;
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
  uint64_t piece_ = 0;
  // Files before the first directory have no heading.
  uint64_t directoryPosition_ = 0;  // of the directory whose texts are there
  uint64_t headed_ = 0;             // the one that the lines are in
};

// The records that a listing selects, by their positions.
class Listing : public ReportAccumulator {
 public:
  // `whole`: the one that this is a part of; null: none.
  Listing(const ReportDefinition& report, const ReportRun& run, const Listing* whole = nullptr)
      : report_(report), run_(run), selector_(report.kind->selects) {
    if (whole == nullptr) {
      positions_.Create(run.filesStayOpen);
    } else {
      positions_.CreateAsPartOf(whole->positions_, run.filesStayOpen);
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
  void Note(RecordBatch& batch, size_t i);

  const ReportDefinition& report_;
  const ReportRun& run_;
  RecordSelector selector_;
  PositionStore positions_;
};

// Most listings look at no text here: a record is put together as a whole only for those that do.
void Listing::Add(Pass& pass) {
  RecordBatch& batch = pass.batch;
  const RecordSelector selector = selector_;
  ChoosePassing(report_.plan, pass);
  if (selector.test != nullptr) LookAtNamesFor(pass);
  ForEachChosen(pass, [&](size_t i) {
    if (!selector.Selects(batch.fields(i))) return;
    if (selector.test == nullptr || selector.test(batch.At(i), run_.settings)) Note(batch, i);
  });
}

void Listing::Note(RecordBatch& batch, size_t i) {
  if (report_.format != kFormatNone) {
    positions_.Append({batch.PositionOf(i), batch.DirectoryPositionOf(i)});
  }
  const uint64_t size = batch.fields(i).size();
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
  WriteTitle(output);
  positions_.Rewind();
  OrderedLines lines(output.stream());
  uint64_t directory = 0;  // of the last record taken
  const auto take = [&](ListingPiece& piece) {
    piece.directoryBefore = directory;
    piece.records.clear();
    for (PositionPair pair; piece.records.size() < run_.linesAtOnce && positions_.Read(pair);) {
      piece.records.push_back(pair);
    }
    if (!piece.records.empty()) directory = piece.records.back().directory;
    return !piece.records.empty();
  };
  const size_t pieces = counts_.count / run_.linesAtOnce + 1;
  const size_t threads = std::min(run_.threads, pieces);
  lines.Share(threads, [&](size_t) {
    ListingWriter writer(output, run_.scan, lines);
    ListingPiece piece;
    while (lines.NextPiece(piece.number, [&] { return take(piece); })) writer.WritePiece(piece);
  });
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeListing(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<Listing>(report, run);
}

}  // namespace tabulon
