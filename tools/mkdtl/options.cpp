#include "tools/mkdtl/options.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "tools/common/terminaltext.h"

namespace tabulon {

const Companion kMkdtl = {
    "mkdtl",
    "usage: mkdtl scan [OPTION...] DIR OUT.dtl\n"
    "       mkdtl synth --kind nfs|cifs --records N [--seed S] [--distinct] [--compress]\n"
    "                   OUT.dtl\n"
    "       mkdtl --help | --version\n"
    "\n"
    "scan   walks the directory tree DIR and writes it as an NFS scan. It stays on one\n"
    "       filesystem and does not follow symbolic links.\n"
    "synth  writes a made-up scan of N records (directories included). The same seed\n"
    "       (1 when none is given) gives the same bytes on every machine.\n"
    "\n"
    "  --compress         write the compressed form\n"
    "\n"
    "  --distinct         give each made-up file an extension, a user and a group of its own\n"
    "\n"
    "  --jobs N           scan with N threads; the result is the same. Default: two for\n"
    "                     each processor, 32 on network and FUSE filesystems\n"
    "  --cross            enter other filesystems\n"
    "  --exclude PATTERN  leave out what has such a name, or, when PATTERN has a slash,\n"
    "                     such a path from DIR, which begins with '/'; may be repeated\n"
    "  --root NAME        the root as reports show it, in place of the path of DIR\n"
    "  --server NAME      the server as reports show it, in place of this machine\n"
    "  --tag TEXT         tag for growth collection, at most 32 characters\n"
    "\n"
    "  -h, --help         show this text\n"
    "  --version          show the version\n"
    "\n"
    "OUT.dtl appears only when it is whole. Exit status: 0 written, 1 failed, 2 wrong\n"
    "usage, 3 written, but parts of the tree could not be read.\n"};

namespace {

constexpr size_t kTagLength = 32;
constexpr unsigned kMostJobs = 1000;

enum Option : int {
  kCompress = 1,
  kCross,
  kDistinct,
  kExclude,
  kJobs,
  kKind,
  kRecords,
  kRoot,
  kSeed,
  kServer,
  kTag,
  kVersion,
  kHelp = 'h'
};

constexpr option kScanOptions[] = {
    {"compress", no_argument, nullptr, kCompress},     {"cross", no_argument, nullptr, kCross},
    {"exclude", required_argument, nullptr, kExclude}, {"help", no_argument, nullptr, kHelp},
    {"jobs", required_argument, nullptr, kJobs},       {"root", required_argument, nullptr, kRoot},
    {"server", required_argument, nullptr, kServer},   {"tag", required_argument, nullptr, kTag},
    {"version", no_argument, nullptr, kVersion},       {}};
constexpr option kSynthOptions[] = {{"compress", no_argument, nullptr, kCompress},
                                    {"distinct", no_argument, nullptr, kDistinct},
                                    {"help", no_argument, nullptr, kHelp},
                                    {"kind", required_argument, nullptr, kKind},
                                    {"records", required_argument, nullptr, kRecords},
                                    {"seed", required_argument, nullptr, kSeed},
                                    {"version", no_argument, nullptr, kVersion},
                                    {}};

// Why a command line is wrong; empty when it is not.
struct Problem {
  std::string_view text = {};
  std::string_view what = {};
};

template <class T>
std::optional<T> Number(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Text for the head of a scan: valid UTF-8 without anything that would upset the line or the field
// it is shown in.
bool IsShowable(std::string_view text) {
  return !text.empty() && Harmless(text) == text;
}

size_t Characters(std::string_view text) {
  size_t count = 0;
  for (; !text.empty(); ++count) TakeCodePoint(text);
  return count;
}

// The collection names a file after the tag and puts the tag into a line with '|' between fields;
// summaries take one that begins with a blank for none.
Problem TakeTag(std::string_view text, ScanOptions& options) {
  if (Characters(text) > kTagLength) return {"--tag has more than 32 characters: ", text};
  if (!IsShowable(text) || text.front() == ' ' || text.find_first_of("/|") != text.npos) {
    return {"no tag (empty, a blank in front, '/', '|' or control characters): ", text};
  }
  options.tag = text;
  options.tag->append(kTagLength - Characters(text), ' ');
  return {};
}

Problem TakeRoot(std::string_view text, ScanOptions& options) {
  if (!IsShowable(text)) return {"--root cannot be shown: ", text};
  // Reports put a slash between the root and what lies below.
  while (text.size() > 1 && text.ends_with('/')) text.remove_suffix(1);
  options.rootName = text;
  return {};
}

Problem TakeScanOption(int option, ScanOptions& options) {
  const std::string_view value = optarg != nullptr ? optarg : "";
  switch (option) {
    case kCompress:
      options.output.compress = true;
      return {};
    case kCross:
      options.cross = true;
      return {};
    case kExclude:
      if (value.empty()) return {"--exclude needs a pattern"};
      options.excludes.emplace_back(value);
      return {};
    case kJobs:
      options.jobs = Number<unsigned>(value).value_or(0);
      if (options.jobs >= 1 && options.jobs <= kMostJobs) return {};
      return {"--jobs is a number from 1 to 1000, not ", value};
    case kRoot:
      return TakeRoot(value, options);
    case kServer:
      if (!IsShowable(value)) return {"--server cannot be shown: ", value};
      options.server = value;
      return {};
    case kTag:
      return TakeTag(value, options);
    default:
      return {"'scan' cannot be done with these options"};
  }
}

std::optional<ScanKind> Kind(std::string_view text) {
  if (text == "nfs") return ScanKind::kNfs;
  if (text == "cifs") return ScanKind::kCifs;
  return std::nullopt;
}

struct SynthParse {
  SynthOptions options = {};
  bool hasKind = false, hasRecords = false;
};

Problem TakeSynthOption(int option, SynthParse& parse) {
  const std::string_view value = optarg != nullptr ? optarg : "";
  SynthOptions& options = parse.options;
  switch (option) {
    case kCompress:
      options.output.compress = true;
      return {};
    case kDistinct:
      options.distinct = true;
      return {};
    case kKind:
      parse.hasKind = Kind(value).has_value();
      options.kind = Kind(value).value_or(ScanKind::kNfs);
      return parse.hasKind ? Problem{} : Problem{"--kind is nfs or cifs, not ", value};
    case kRecords:
      options.records = Number<uint32_t>(value).value_or(0);
      parse.hasRecords = options.records != 0;
      return parse.hasRecords ? Problem{} : Problem{"not a number of records: ", value};
    case kSeed: {
      const auto seed = Number<uint64_t>(value);
      options.seed = seed.value_or(0);
      return seed ? Problem{} : Problem{"not a seed: ", value};
    }
    default:
      return {"'synth' cannot be done with these options"};
  }
}

// Hands each option to `take`. False with `status` set when the program is to end.
template <class Take>
bool TakeOptions(int argc, char** argv, const option* known, int& status, Take take) {
  for (int c; (c = getopt_long(argc, argv, "h", known, nullptr)) != -1;) {
    if (c == kHelp || c == kVersion) {
      status = c == kHelp ? ShowHelp(kMkdtl) : ShowVersion(kMkdtl);
      return false;
    }
    const Problem problem = take(c);
    if (problem.text.empty()) continue;
    status = UsageError(kMkdtl, problem.text, problem.what);
    return false;
  }
  return true;
}

// The result is written to its beginning at the end, which no stream can be.
bool TakeOutput(std::string_view path, OutputOptions& output, int& status) {
  if (IsStandardOutput(path)) {
    status = UsageError(kMkdtl, "a scan cannot be written to standard output");
    return false;
  }
  output.path = path;
  return true;
}

}  // namespace

std::optional<ScanOptions> ParseScanOptions(int argc, char** argv, int& status) {
  ScanOptions options;
  const auto take = [&](int option) { return TakeScanOption(option, options); };
  if (!TakeOptions(argc, argv, kScanOptions, status, take)) return std::nullopt;
  if (argc - optind != 2) {
    status = UsageError(kMkdtl, "'scan' needs a directory and a result file");
    return std::nullopt;
  }
  options.directory = argv[optind];
  if (!TakeOutput(argv[optind + 1], options.output, status)) return std::nullopt;
  return options;
}

std::optional<SynthOptions> ParseSynthOptions(int argc, char** argv, int& status) {
  SynthParse parse;
  const auto take = [&](int option) { return TakeSynthOption(option, parse); };
  if (!TakeOptions(argc, argv, kSynthOptions, status, take)) return std::nullopt;
  if (!parse.hasKind || !parse.hasRecords) {
    status = UsageError(kMkdtl, "'synth' needs --kind and --records");
    return std::nullopt;
  }
  if (argc - optind != 1) {
    status = UsageError(kMkdtl, "'synth' needs one result file");
    return std::nullopt;
  }
  if (!TakeOutput(argv[optind], parse.options.output, status)) return std::nullopt;
  return parse.options;
}

}  // namespace tabulon
