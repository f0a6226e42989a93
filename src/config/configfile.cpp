#include "config/configfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "base/loganderr.h"
#include "config/classes.h"
#include "config/keywords.h"
#include "config/parameters.h"
#include "config/report.h"
#include "config/reportline.h"
#include "config/reportsetup.h"
#include "config/settings.h"

namespace tabulon {

int configEOF = 0;

namespace {

constexpr mode_t kReportDirMode = 0700;

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

// Reads bytes up to a line feed (which is dropped), to the length limit or to the end of the file.
void ReadPhysicalLine(FILE* stream, std::string& line) {
  line.clear();
  while (line.size() < kPhysicalLineBytes) {
    const int byte = getc_unlocked(stream);
    if (byte == '\n') return;
    if (byte == EOF) {
      if (std::ferror(stream) != 0) PosixErrExit(0, L"Cannot read the configuration file\n");
      configEOF = 1;
      return;
    }
    line.push_back(static_cast<char>(byte));
  }
}

// Cuts the comment and the trailing blanks. Whatever is no printable ASCII, tabs included, counts
// as a blank; 0x7F is kept.
void CleanLine(std::string& line) {
  line.resize(std::min(line.size(), line.find('#')));
  for (char& byte : line) {
    if (static_cast<signed char>(byte) < ' ') byte = ' ';
  }
  line.resize(line.find_last_not_of(' ') + 1);
}

struct SectionRow;

// Where the reader is in the file.
struct ConfigReader {
  const Scan& scan;
  const SectionRow* section = nullptr;  // null before the first header
  bool parametersSeen = false;
  Report* report = nullptr;  // of the current [report] section
};

struct SectionRow {
  std::wstring_view keyword;  // the header line
  void (*begin)(ConfigReader& reader);
  void (*apply)(ConfigReader& reader, std::wstring_view key, std::wstring_view value);
};

void BeginParameters(ConfigReader& reader) {
  if (reader.parametersSeen) ErrExit(L"Multiple [parameters] sections\n");
  if (!reportList.empty()) ErrExit(L"[parameters] must precede all [report] sections\n");
  reader.parametersSeen = true;
}

void BeginReport(ConfigReader& reader) {
  reader.report = &reportList.emplace_back();
}

void BeginClasses(ConfigReader&) {
  if (!reportList.empty()) ErrExit(L"[classes] must precede all [report] sections\n");
}

constexpr std::array<SectionRow, 3> kSections = {{
    {L"[parameters]", BeginParameters,
     [](ConfigReader& reader, std::wstring_view key, std::wstring_view value) {
       ParameterLine(key, value, reader.scan);
     }},
    {L"[report]", BeginReport,
     [](ConfigReader& reader, std::wstring_view key, std::wstring_view value) {
       ReportLine(key, value, *reader.report, reader.scan);
     }},
    {L"[classes]", BeginClasses,
     [](ConfigReader&, std::wstring_view name, std::wstring_view value) {
       ClassLine(name, value);
     }},
}};

std::wstring_view TrimLeft(std::wstring_view text) {
  return text.substr(std::min(text.size(), text.find_first_not_of(L' ')));
}

std::wstring_view TrimRight(std::wstring_view text) {
  return text.substr(0, text.find_last_not_of(L' ') + 1);
}

void ApplyLine(ConfigReader& reader, std::wstring_view line) {
  if (line.front() == L'[') {
    reader.section = FindKeyword(kSections, line);
    if (reader.section == nullptr) ErrExit(L"Unknown section header: %ls\n", line);
    reader.section->begin(reader);
    return;
  }
  const size_t equals = line.find(L'=');
  if (equals == std::wstring_view::npos) ErrExit(L"Missing '=' in %ls\n", line);
  if (reader.section == nullptr) ErrExit(L"Line must be inside a section : %ls\n", line);
  reader.section->apply(reader, TrimRight(TrimLeft(line.substr(0, equals))),
                        TrimLeft(line.substr(equals + 1)));
}

void ReadSections(const char* path, const Scan& scan) {
  const std::unique_ptr<FILE, FileCloser> file(std::fopen(path, "re"));
  if (!file) PosixErrExit(0, L"Cannot open configuration file '%s'", path);
  ConfigReader reader{scan};
  std::wstring line;
  while (ReadConfigLine(file.get(), line) > 0) ApplyLine(reader, line);
}

// Makes the report directory when it is missing (the directory alone, not those above it).
void MakeReportDirectory() {
  if (!reportDir) {
    ConsoleEntry(ErrorConsole(), L"ReportDir is NULL\n");
    return;
  }
  struct stat found {};
  if (stat(reportDir->c_str(), &found) == 0) {
    if (S_ISDIR(found.st_mode)) return;
    ErrExit(L"Report directory '%s' exists but is not a directory\n", *reportDir);
  }
  if (mkdir(reportDir->c_str(), kReportDirMode) != 0) {
    ErrExit(L"Could not create report directory '%s'\n", *reportDir);
  }
}

void CompleteReports(const Scan& scan) {
  if (reportList.empty()) ErrExit(L"No reports specified in configuration file\n");
  for (Report& report : reportList) {
    if (report.active > 0) InitializeReportEntry(report, scan);
    if (report.active < 0) report.active = 0;
  }
}

}  // namespace

size_t ReadConfigLine(FILE* stream, std::wstring& line) {
  DebugLogEntry(3, L"ReadConfigFile called.\n");
  line.clear();
  std::string bytes;
  for (size_t empty = 0; configEOF == 0;) {
    ReadPhysicalLine(stream, bytes);
    CleanLine(bytes);
    if (bytes.empty()) {
      // A device that gives zeros for ever looks like this.
      if (++empty > kMostEmptyLines) ErrExit(L"Too many empty lines in the configuration file\n");
      continue;
    }
    const bool continued = bytes.back() == '_';
    if (continued) bytes.pop_back();
    if (line.size() + bytes.size() > kLogicalLineBytes) ErrExit(L"Configuration line too long\n");
    line.append(bytes.begin(), bytes.end());
    if (!continued) break;
  }
  return line.size();
}

void ProcessConfigFile(const char* path, const Scan& scan) {
  ReadSections(path, scan);
  if (csvSep == 0) csvSep = L',';
  MakeReportDirectory();
  CompleteReports(scan);
  ConsoleEntry(Console(), L"ProcessConfigFile DONE\n");
  Console().Flush();
}

}  // namespace tabulon
