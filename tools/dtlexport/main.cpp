// dtlexport: the command line, and the way from the scan's records to rows on standard output.
#include <getopt.h>

#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "base/loganderr.h"
#include "tools/common/commandline.h"
#include "tools/dtlexport/fields.h"
#include "tools/dtlexport/paths.h"
#include "tools/dtlexport/scan.h"
#include "tools/dtlexport/scantexts.h"
#include "tools/scanreader/openscan.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {
namespace {

constexpr char kUsage[] =
    "usage: dtlexport --format csv|ndjson [--fields A,B,...] [--where QUERY]\n"
    "                 [--directories] [--relative] [--shard I/N] [--no-header] [--crlf]\n"
    "                 [--guard] FILE.dtl\n"
    "       dtlexport --format paths0 [--where QUERY] [--directories] [--shard I/N] FILE.dtl\n"
    "\n"
    "Writes a row for each file of a scan to standard output.\n"
    "\n"
    "  --format csv|ndjson  values between commas (RFC 4180), or a JSON object a line\n"
    "  --format paths0      full paths, each with a zero byte at its end, for xargs -0\n"
    "  --fields A,B,...     these fields, in this order; else all of the scan\n"
    "  --where QUERY        only what the query selects, as tabulon -q does\n"
    "  --directories        rows for the directories, too\n"
    "  --relative           paths from the root of the scan, as queries see them\n"
    "  --shard I/N          only part I (from 1 to N) of N equal ones, to load a scan with\n"
    "                       several workers; together they write every row once\n"
    "  --no-header          CSV without its first row\n"
    "  --crlf               CSV lines end in CR LF\n"
    "  --guard              CSV for spreadsheets: an apostrophe in front of texts that begin with\n"
    "                       = + - @, tab or carriage return\n"
    "  --help, --version    show this text, or the version\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage, 3 done, but the scan breaks off\n"
    "or a path was left out.\n";

struct Options {
  std::string file;
  std::optional<ExportFormat> format;
  std::optional<std::string> fields;
  std::optional<std::string> where;
  Shard shard;
  bool directories = false;
  bool relative = false;
  bool header = true;
  bool crlf = false;
  bool guard = false;
};

constexpr Companion kDtlexport = {"dtlexport", kUsage};

[[noreturn]] void Refuse(const std::string& problem) {
  EndWithUsage(kDtlexport, problem);
}

ExportFormat ParseFormat(std::string_view text) {
  if (text == "csv") return ExportFormat::kCsv;
  if (text == "ndjson") return ExportFormat::kNdjson;
  if (text == "paths0") return ExportFormat::kPaths0;
  Refuse("--format is csv, ndjson or paths0, not " + std::string(text));
}

Shard ParseShard(std::string_view text) {
  Shard shard;
  const char* const end = text.data() + text.size();
  const auto index = std::from_chars(text.data(), end, shard.index);
  if (index.ec == std::errc() && index.ptr != end && *index.ptr == '/') {
    const auto count = std::from_chars(index.ptr + 1, end, shard.count);
    const bool isNumber = count.ec == std::errc() && count.ptr == end;
    if (isNumber && shard.index >= 1 && shard.index <= shard.count) return shard;
  }
  Refuse("--shard is I/N with I from 1 to N, not " + std::string(text));
}

// The name of an option that means nothing in the chosen format and would be missed; null: none.
// Paths below the root of the scan, without it, would name other files of the machine.
const char* MisfitOf(const Options& options) {
  if (options.guard && *options.format != ExportFormat::kCsv) return "--guard";
  if (*options.format != ExportFormat::kPaths0) return nullptr;
  return options.relative ? "--relative" : options.fields ? "--fields" : nullptr;
}

Options ParseOptions(int argc, char** argv) {
  enum : int {
    kFormat = 1,
    kFields,
    kWhere,
    kShard,
    kDirectories,
    kRelative,
    kNoHeader,
    kCrlf,
    kGuard,
    kVersion
  };
  constexpr option kOptions[] = {{"format", required_argument, nullptr, kFormat},
                                 {"fields", required_argument, nullptr, kFields},
                                 {"where", required_argument, nullptr, kWhere},
                                 {"shard", required_argument, nullptr, kShard},
                                 {"directories", no_argument, nullptr, kDirectories},
                                 {"relative", no_argument, nullptr, kRelative},
                                 {"no-header", no_argument, nullptr, kNoHeader},
                                 {"crlf", no_argument, nullptr, kCrlf},
                                 {"guard", no_argument, nullptr, kGuard},
                                 {"version", no_argument, nullptr, kVersion},
                                 {"help", no_argument, nullptr, 'h'},
                                 {}};
  Options options;
  for (int c; (c = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) {
    if (c == 'h') EndWithHelp(kDtlexport);
    if (c == kVersion) EndWithVersion(kDtlexport);
    if (c == kFormat) options.format = ParseFormat(optarg);
    if (c == kFields) options.fields = optarg;
    if (c == kWhere) options.where = optarg;
    if (c == kShard) options.shard = ParseShard(optarg);
    if (c == kDirectories) options.directories = true;
    if (c == kRelative) options.relative = true;
    if (c == kNoHeader) options.header = false;
    if (c == kCrlf) options.crlf = true;
    if (c == kGuard) options.guard = true;
    if (c == '?') Refuse("it cannot be done with these options");
  }
  if (!options.format) Refuse("--format is needed");
  const char* const misfit = MisfitOf(options);
  if (misfit != nullptr) Refuse(misfit + std::string(" does not go with this --format"));
  if (argc - optind != 1) Refuse("one scan is needed");
  options.file = ScanArgument(kDtlexport, argv[optind]);
  return options;
}

void ExportRows(ScanWalk& walk, const ExportColumns& columns, ExportRow& row, RowWriter& out) {
  while (const ScanRecord* record = walk.Next()) {
    row.Assign(*record, walk.directory());
    columns.WriteRow(row, out);
  }
}

// Returns false when a path was left out; each has been told.
bool ExportPaths(const Scan& scan, const ScanTexts& texts, ScanWalk& walk, RowWriter& out) {
  PathFinder finder(scan, texts.rootBytes);
  bool all = true;
  while (const ScanRecord* record = walk.Next()) {
    const ScanPath path = finder.Find(*record, walk.directory());
    if (path.fault == nullptr) {
      out.Path(path.directory, path.name);
      continue;
    }
    all = false;
    LogErr(L"left out, %s: '%s%s'\n", path.fault, path.directory, path.name);
  }
  return all;
}

int Export(const Options& options, int rows) {
  const Scan scan = OpenScan(options.file, options.where.has_value());
  std::string problem;
  const auto columns = ExportColumns::Choose(scan, *options.format, options.fields, problem);
  if (!columns) Refuse(problem);
  const ScanTexts texts(scan, *options.format);
  ReadProgress progress(AssumedRecordsEnd(scan) - scan.logRoot.firstRecord, rows);
  ScanWalk walk(scan, {ParseWhere(options.where, scan), options.directories, options.shard},
                progress);
  RowWriter out(rows, *options.format, options.crlf ? "\r\n" : "\n", options.guard);
  bool all = true;
  if (*options.format == ExportFormat::kPaths0) {
    all = ExportPaths(scan, texts, walk, out);
  } else {
    ExportRow row(scan, texts, *options.format,
                  options.relative ? std::string_view() : texts.rootBytes,
                  columns->Has("target") || columns->Has("target_bytes"));
    if (options.header) columns->WriteHeader(out);
    ExportRows(walk, *columns, row, out);
  }
  out.Flush();
  progress.Stop();
  CloseRows(rows);
  if (walk.whole()) return all ? kExitDone : kExitIncomplete;
  LogErr(L"'%s' breaks off: what it holds has been written, the rest is missing\n", options.file);
  return kExitIncomplete;
}

int Main(int argc, char** argv) {
  const Options options = ParseOptions(argc, argv);
  return Export(options, TakeStandardOutput(kDtlexport));
}

}  // namespace
}  // namespace tabulon

int main(int argc, char** argv) {
  return tabulon::RunTool(argc, argv, tabulon::Main);
}
