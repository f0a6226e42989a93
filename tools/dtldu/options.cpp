#include "tools/dtldu/options.h"

#include <getopt.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tools/scanreader/choice.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {
namespace {

constexpr uint64_t kTopOfText = 20;

constexpr char kUsage[] =
    "usage: dtldu [--format text|csv|ndjson] [--depth N] [--top N] [--by ORDER] [--dir PATH]\n"
    "             [--where QUERY] [--hard-links once|all] SCAN.dtl [OLDER.dtl]\n"
    "       dtldu --files N [--format text|csv|ndjson] [--by bytes|newest|oldest] [--dir PATH]\n"
    "             [--where QUERY] [--hard-links once|all] SCAN.dtl\n"
    "       dtldu --format ncdu [--dir PATH] [--where QUERY] [--hard-links once|all] SCAN.dtl\n"
    "\n"
    "Tells how much is in every directory of a scan, and what has grown since an older one.\n"
    "\n"
    "  --format FORMAT   text (for people), csv, ndjson, or ncdu: the whole tree with its files\n"
    "                    for the browsers 'ncdu -f' and 'gdu -f'\n"
    "  --depth N         so many levels of directories below the first one (1); 0: only that\n"
    "  --top N           the first N rows (20 in text, else all); 0: all\n"
    "  --by ORDER        bytes (with all below), own (bytes), files, newest, growth\n"
    "  --dir PATH        begin at this directory of the scan\n"
    "  --where QUERY     count only files that the query selects, as tabulon -q does\n"
    "  --hard-links HOW  once: a file with several names counts at the first; all: at each\n"
    "  --files N         the N largest files (with --by, the newest or oldest) in place of\n"
    "                    directories\n"
    "  -h, --help        show this text\n"
    "  --version         show the version\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage, 3 done, but a scan breaks off.\n";

constexpr ChoiceWord<DuFormat> kFormats[] = {{"text", DuFormat::kText},
                                             {"csv", DuFormat::kCsv},
                                             {"ndjson", DuFormat::kNdjson},
                                             {"ncdu", DuFormat::kNcdu}};
constexpr ChoiceWord<DuOrder> kOrders[] = {
    {"bytes", DuOrder::kBytes},   {"own", DuOrder::kOwn},       {"files", DuOrder::kFiles},
    {"newest", DuOrder::kNewest}, {"oldest", DuOrder::kOldest}, {"growth", DuOrder::kGrowth}};
constexpr ChoiceWord<bool> kHardLinks[] = {{"once", true}, {"all", false}};

// What was named on the command line, where that makes a difference.
struct Named {
  std::optional<uint64_t> depth, top;
  std::optional<DuOrder> order;
};

void RefuseWhen(bool misfit, const char* problem) {
  if (misfit) EndWithUsage(kDtldu, problem);
}

void CheckTogether(const DuOptions& options, const Named& named) {
  const bool ncdu = options.format == DuFormat::kNcdu;
  const bool files = options.files.has_value();
  const DuOrder order = options.order;
  RefuseWhen(ncdu && (files || named.depth || named.top || named.order),
             "--format ncdu shows everything; --depth, --top, --by and --files do not go with it");
  RefuseWhen(files && *options.files == 0, "--files takes a number above 0");
  RefuseWhen(ncdu && options.older, "--format ncdu takes one scan");
  RefuseWhen(files && (named.depth || named.top), "--depth and --top do not go with --files");
  RefuseWhen(files && options.older, "--files takes one scan; dtldiff compares the files of two");
  RefuseWhen(order == DuOrder::kGrowth && !options.older, "--by growth needs an older scan");
  RefuseWhen(order == DuOrder::kOldest && !files, "--by oldest goes with --files only");
  RefuseWhen(files && (order == DuOrder::kOwn || order == DuOrder::kFiles),
             "--files goes by bytes, newest or oldest");
}

void TakeScans(DuOptions& options, char** first, char** last) {
  if (last - first < 1 || last - first > 2) {
    EndWithUsage(kDtldu, "a scan is needed, or two: the newer one first");
  }
  options.scan = ScanArgument(kDtldu, first[0]);
  if (last - first == 2) options.older = ScanArgument(kDtldu, first[1]);
}

enum Option : int { kFormat = 1, kDepth, kTop, kBy, kDir, kWhere, kLinks, kFiles, kVersion };
constexpr option kOptions[] = {{"format", required_argument, nullptr, kFormat},
                               {"depth", required_argument, nullptr, kDepth},
                               {"top", required_argument, nullptr, kTop},
                               {"by", required_argument, nullptr, kBy},
                               {"dir", required_argument, nullptr, kDir},
                               {"where", required_argument, nullptr, kWhere},
                               {"hard-links", required_argument, nullptr, kLinks},
                               {"files", required_argument, nullptr, kFiles},
                               {"help", no_argument, nullptr, 'h'},
                               {"version", no_argument, nullptr, kVersion},
                               {}};

void TakeOption(int c, DuOptions& options, Named& named) {
  if (c == 'h') EndWithHelp(kDtldu);
  if (c == kVersion) EndWithVersion(kDtldu);
  if (c == '?') EndWithUsage(kDtldu, "it cannot be done with these options");
  if (c == kFormat) options.format = Choice(kDtldu, "--format", kFormats, optarg);
  if (c == kDepth) named.depth = NumberArgument(kDtldu, "--depth", optarg);
  if (c == kTop) named.top = NumberArgument(kDtldu, "--top", optarg);
  if (c == kBy) named.order = Choice(kDtldu, "--by", kOrders, optarg);
  if (c == kDir) options.dir = optarg;
  if (c == kWhere) options.where = optarg;
  if (c == kLinks) options.linksOnce = Choice(kDtldu, "--hard-links", kHardLinks, optarg);
  if (c == kFiles) options.files = NumberArgument(kDtldu, "--files", optarg);
}

}  // namespace

const Companion kDtldu = {"dtldu", kUsage};

DuOptions ParseDuOptions(int argc, char** argv) {
  DuOptions options;
  Named named;
  for (int c; (c = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1;) {
    TakeOption(c, options, named);
  }
  TakeScans(options, argv + optind, argv + argc);
  options.depth = named.depth.value_or(options.depth);
  const uint64_t usualTop = options.format == DuFormat::kText ? kTopOfText : 0;
  options.top = named.top.value_or(usualTop);
  options.order = named.order.value_or(options.older ? DuOrder::kGrowth : DuOrder::kBytes);
  CheckTogether(options, named);
  return options;
}

}  // namespace tabulon
