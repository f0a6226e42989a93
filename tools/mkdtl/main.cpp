// mkdtl: the command line.
#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <optional>
#include <string_view>

#include "tools/mkdtl/commands.h"
#include "tools/scanwriter/outputfile.h"

namespace tabulon {
namespace {

constexpr char kUsage[] =
    "usage: mkdtl scan [--compress] DIR OUT.dtl\n"
    "       mkdtl synth --kind nfs|cifs --records N [--seed S] [--compress] OUT.dtl\n"
    "\n"
    "scan   walks the directory tree DIR and writes it as an NFS scan. It stays on one\n"
    "       filesystem and does not follow symbolic links.\n"
    "synth  writes a made-up scan of N records (directories included). The same seed\n"
    "       (1 when none is given) gives the same bytes on every machine.\n"
    "\n"
    "  --compress  write the compressed form\n"
    "  --help      show this text\n"
    "\n"
    "OUT.dtl appears only when it is whole. Exit status: 0 written, 1 failed, 2 wrong\n"
    "usage, 3 written, but parts of the tree could not be read.\n";

enum Option : int { kCompress = 1, kHelp, kKind, kRecords, kSeed };

constexpr option kScanOptions[] = {
    {"compress", no_argument, nullptr, kCompress}, {"help", no_argument, nullptr, kHelp}, {}};
constexpr option kSynthOptions[] = {{"compress", no_argument, nullptr, kCompress},
                                    {"help", no_argument, nullptr, kHelp},
                                    {"kind", required_argument, nullptr, kKind},
                                    {"records", required_argument, nullptr, kRecords},
                                    {"seed", required_argument, nullptr, kSeed},
                                    {}};

int ShowUsage() {
  std::fputs(kUsage, stdout);
  return std::fflush(stdout) == 0 ? kExitWritten : kExitFailed;
}

int UsageError(const char* problem, const char* what = "") {
  std::fprintf(stderr, "mkdtl: %s%s\nTry 'mkdtl --help'.\n", problem, what);
  return kExitUsage;
}

template <class T>
std::optional<T> Number(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<ScanKind> Kind(std::string_view text) {
  if (text == "nfs") return ScanKind::kNfs;
  if (text == "cifs") return ScanKind::kCifs;
  return std::nullopt;
}

// The commands' arguments begin behind the command's name, which getopt takes for the program's.
int ScanCommand(int argc, char** argv) {
  ScanOptions options;
  for (int c; (c = getopt_long(argc, argv, "", kScanOptions, nullptr)) != -1;) {
    if (c == kHelp) return ShowUsage();
    if (c != kCompress) return UsageError("'scan' cannot be done with these options");
    options.output.compress = true;
  }
  if (argc - optind != 2) return UsageError("'scan' needs a directory and a result file");
  options.directory = argv[optind];
  options.output.path = argv[optind + 1];
  return RunScan(options);
}

int SynthCommand(int argc, char** argv) {
  SynthOptions options;
  std::optional<ScanKind> kind;
  std::optional<uint32_t> records;
  std::optional<uint64_t> seed = options.seed;
  for (int c; (c = getopt_long(argc, argv, "", kSynthOptions, nullptr)) != -1;) {
    switch (c) {
      case kHelp:
        return ShowUsage();
      case kCompress:
        options.output.compress = true;
        break;
      case kKind:
        if (!(kind = Kind(optarg))) return UsageError("--kind is nfs or cifs, not ", optarg);
        break;
      case kRecords:
        records = Number<uint32_t>(optarg);
        if (!records || *records == 0) return UsageError("not a number of records: ", optarg);
        break;
      case kSeed:
        if (!(seed = Number<uint64_t>(optarg))) return UsageError("not a seed: ", optarg);
        break;
      default:
        return UsageError("'synth' cannot be done with these options");
    }
  }
  if (!kind || !records) return UsageError("'synth' needs --kind and --records");
  if (argc - optind != 1) return UsageError("'synth' needs one result file");
  options.kind = *kind;
  options.records = *records;
  options.seed = *seed;
  options.output.path = argv[optind];
  return RunSynth(options);
}

struct Command {
  std::string_view name;
  int (*run)(int argc, char** argv);
};
constexpr Command kCommands[] = {{"scan", ScanCommand}, {"synth", SynthCommand}};

int Main(int argc, char** argv) {
  if (argc < 2) return UsageError("no command");
  const std::string_view name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") return ShowUsage();
  RemoveOutputOnSignals();
  for (const Command& command : kCommands) {
    if (name == command.name) return command.run(argc - 1, argv + 1);
  }
  return UsageError("unknown command: ", argv[1]);
}

}  // namespace
}  // namespace tabulon

int main(int argc, char** argv) {
  return tabulon::Main(argc, argv);
}
