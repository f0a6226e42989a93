// The lines of listings, as text and as CSV, and the times in them. They go to the null device.
#include <fcntl.h>

#include "bench/sample.h"
#include "config/reportfields.h"
#include "reports/csvcolumns.h"
#include "reports/linewriter.h"

namespace tabulon {
namespace {

using LineMaker = void (*)(const CsvColumns& columns, const ListingLine& line,
                           FileTimeFormatter& times, LineWriter& writer);

void AddTextLine(const CsvColumns&, const ListingLine& line, FileTimeFormatter&,
                 LineWriter& writer) {
  writer.Add(*line.directoryPrefix).Add(*line.name).EndPiece();
  writer.EndLine();
}
void AddCsvLine(const CsvColumns& columns, const ListingLine& line, FileTimeFormatter& times,
                LineWriter& writer) {
  FormatCsvLine(columns, line, times, writer);
}

void WriteLines(benchmark::State& state, LineMaker add, TextEncoding encoding) {
  Sample& sample = Sample::Use(ScanKind::kNfs);
  Settings settings;
  settings.csvSep = L',';
  ReportDefinition report;
  report.flags = kFlagFullPath;
  report.fields = {kFieldName, kFieldSize, kFieldMdate, kFieldUid, kFieldMode};
  report.file.stream.Attach(open("/dev/null", O_WRONLY), true, encoding, "null");
  ReportOutput output(report, settings);
  LineWriter writer(output);
  const CsvColumns columns(report, settings);
  FileTimeFormatter times({});
  EncodedText directory = writer.NewText();
  directory.Add(std::string_view("/export/projects/archive/2023/"));
  for (auto _ : state) {
    sample.ForEachRecord([&](const ScanRecord& record) {
      ListingLine line;
      line.fields = record.fields();
      line.name = &record.name;
      line.size = record.fields().size();
      line.directory = line.directoryPrefix = &directory;
      add(columns, line, times, writer);
    });
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(WriteLines, text, AddTextLine, TextEncoding::kLocale);
BENCHMARK_CAPTURE(WriteLines, csv, AddCsvLine, TextEncoding::kLocale);
BENCHMARK_CAPTURE(WriteLines, utf16_text, AddTextLine, TextEncoding::kUtf16Le);
BENCHMARK_CAPTURE(WriteLines, utf16_csv, AddCsvLine, TextEncoding::kUtf16Le);

// The modification times of the sample.
void FormatTimes(benchmark::State& state) {
  Sample& sample = Sample::Use(ScanKind::kNfs);
  FileTimeFormatter times({});
  for (auto _ : state) {
    sample.ForEachRecord([&](const ScanRecord& record) {
      benchmark::DoNotOptimize(times.Format(record.fields().modified()).data());
    });
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK(FormatTimes);

}  // namespace
}  // namespace tabulon
