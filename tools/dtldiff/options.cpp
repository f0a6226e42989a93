#include "tools/dtldiff/options.h"

#include <getopt.h>

#include <algorithm>

#include "tools/scanreader/choice.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {
namespace {

constexpr char kUsage[] =
    "usage: dtldiff [--format text|csv|ndjson|paths0] [--only KIND,...] [--top N] [--summary]\n"
    "               [--scan-order] [--where QUERY] [--metadata] [--no-moves] OLDER.dtl SCAN.dtl\n"
    "\n"
    "Tells what became of the files of a scan: which moved, appeared, vanished, grew, shrank or\n"
    "were rewritten.\n"
    "\n"
    "  --format FORMAT  text (for people, with a summary), csv, ndjson, or paths0: the paths\n"
    "                   alone, each with a zero byte at its end, for xargs -0\n"
    "  --only KIND,...  only these kinds: moved, appeared, vanished, grew, shrank, rewritten,\n"
    "                   changed\n"
    "  --top N          the first N rows (0: all, as without the option)\n"
    "  --summary        only how many there are of each kind\n"
    "  --scan-order     rows as they are found, not the largest difference first\n"
    "  --where QUERY    only files that the query selects, as tabulon -q does\n"
    "  --metadata       tell other owners, modes and access times as 'changed', too\n"
    "  --no-moves       a file that moved has vanished, and another one appeared\n"
    "  -h, --help       show this text\n"
    "  --version        show the version\n"
    "\n"
    "Exit status, as that of diff: 0 no change, 1 some change, 2 trouble.\n";

constexpr ChoiceWord<DiffFormat> kFormats[] = {{"text", DiffFormat::kText},
                                               {"csv", DiffFormat::kCsv},
                                               {"ndjson", DiffFormat::kNdjson},
                                               {"paths0", DiffFormat::kPaths0}};

unsigned KindsOf(std::string_view names) {
  unsigned kinds = 0;
  for (size_t at = 0; at <= names.size();) {
    const size_t comma = std::min(names.find(',', at), names.size());
    const std::string_view name = names.substr(at, comma - at);
    const auto* const found = std::ranges::find(kChangeNames, name);
    if (found == kChangeNames.end()) EndWithUsage(kDtldiff, "--only knows no kind ", name);
    kinds |= 1U << (found - kChangeNames.begin());
    at = comma + 1;
  }
  return kinds;
}

enum Option : int {
  kFormat = 1,
  kOnly,
  kTop,
  kSummary,
  kScanOrder,
  kWhere,
  kMetadata,
  kNoMoves,
  kVersion
};
constexpr option kOptions[] = {{"format", required_argument, nullptr, kFormat},
                               {"only", required_argument, nullptr, kOnly},
                               {"top", required_argument, nullptr, kTop},
                               {"summary", no_argument, nullptr, kSummary},
                               {"scan-order", no_argument, nullptr, kScanOrder},
                               {"where", required_argument, nullptr, kWhere},
                               {"metadata", no_argument, nullptr, kMetadata},
                               {"no-moves", no_argument, nullptr, kNoMoves},
                               {"help", no_argument, nullptr, 'h'},
                               {"version", no_argument, nullptr, kVersion},
                               {}};

void TakeOption(int c, DiffOptions& options) {
  if (c == 'h') EndWithHelp(kDtldiff);
  if (c == kVersion) EndWithVersion(kDtldiff);
  if (c == '?') EndWithUsage(kDtldiff, "it cannot be done with these options");
  if (c == kFormat) options.format = Choice(kDtldiff, "--format", kFormats, optarg);
  if (c == kOnly) options.only = KindsOf(optarg);
  if (c == kTop) options.top = NumberArgument(kDtldiff, "--top", optarg);
  if (c == kSummary) options.summary = true;
  if (c == kScanOrder) options.scanOrder = true;
  if (c == kWhere) options.where = optarg;
  if (c == kMetadata) options.metadata = true;
  if (c == kNoMoves) options.moves = false;
}

}  // namespace

const Companion kDtldiff = {"dtldiff", kUsage};

DiffOptions ParseDiffOptions(int argc, char** argv) {
  DiffOptions options;
  for (int c; (c = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) TakeOption(c, options);
  if (argc - optind != 2) EndWithUsage(kDtldiff, "two scans are needed, the older one first");
  options.older = ScanArgument(kDtldiff, argv[optind]);
  options.scan = ScanArgument(kDtldiff, argv[optind + 1]);
  if (options.summary && options.format == DiffFormat::kPaths0) {
    EndWithUsage(kDtldiff, "--summary does not go with --format paths0");
  }
  return options;
}

}  // namespace tabulon
