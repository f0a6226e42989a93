// Runs of the program on a built scan: every report file, the list log, the error text and the
// status of a run compared whole, and what holds after any run checked with them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::MatchesRegex;
using testing::Pair;
using testing::StartsWith;

// Midnight (or another hour) of a day of March 2024, UTC. Days 4 to 8 are a week's working days;
// daylight-saving time begins in New York on the 10th.
constexpr uint32_t March(uint32_t day, uint32_t hour = 0) {
  constexpr uint32_t kFirst = 1709251200;
  return kFirst + (day - 1) * 86400 + hour * 3600;
}

// A run in a fresh directory that holds the scan ("scan.dtl"), the configuration ("run.cfg") and
// the directory for temporary files ("temp").
struct ConfiguredRun {
  ScanSpec scan;
  std::string config = {};  // empty: the options say what to do
  std::vector<std::string> options = {};
  std::string zone = "UTC";
  std::string locale = "C.UTF-8";
  std::string reportDir = "reports";  // empty: none is given
};

struct RunOutcome {
  int status = 0;
  std::string out;
  std::string err;                           // behind the line with the time of the run
  std::map<std::string, std::string> files;  // whatever the run made: path and contents
};

// The error text behind the line with the time of the run, which every run that gets past its
// command line writes first.
inline std::string WithoutScanTime(const std::string& err) {
  EXPECT_THAT(err, MatchesRegex("Scan time: [A-Z][a-z]{2}, [0-9]+ [A-Z][a-z]{2}, "
                                "[0-9]{4} at [0-9:]{8}\\.\n(.|\n)*"));
  return err.substr(err.find('\n') + 1);
}

inline RunOutcome RunOnScan(const ConfiguredRun& run) {
  const TempDir dir;
  const std::string scan = BuildDtl(run.scan);
  WriteFile(dir / "scan.dtl", scan);
  WriteFile(dir / "run.cfg", run.config);
  std::filesystem::create_directory(dir / "temp");
  std::vector<std::string> args = {"-dtl", "scan.dtl", "-tempdir", "temp"};
  if (!run.config.empty()) args.insert(args.end(), {"-cfg", "run.cfg"});
  if (!run.config.empty() && !run.reportDir.empty()) {
    args.insert(args.end(), {"-rdir", run.reportDir});
  }
  args.insert(args.end(), run.options.begin(), run.options.end());
  const RunResult result =
      RunTabulon(args, {.env = {{"TZ", run.zone}, {"LC_ALL", run.locale}}, .cwd = dir.path()});
  EXPECT_EQ(ReadFile(dir / "scan.dtl"), scan) << "a run changed its scan";

  RunOutcome outcome{result.status, result.out, WithoutScanTime(result.err), {}};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path())) {
    const std::string name = entry.path().lexically_relative(dir.path());
    if (entry.is_directory() || name == "scan.dtl" || name == "run.cfg") continue;
    outcome.files[name] = ReadFile(entry.path());
  }
  return outcome;
}

// A report of a configuration and what it has to write.
struct ReportRow {
  std::string lines;  // of its section, separated by ';', without the name of its file
  std::string title;  // as the run tells of it
  std::string text;   // the whole file; the run tells of none that has neither title nor text
};

// A section of these lines.
inline std::string Section(std::string lines) {
  std::ranges::replace(lines, ';', '\n');
  return "[report]\n" + lines + "\n";
}

inline std::string Heading(const std::string& title) {
  return "\n---- " + title + " ----\n\n";
}
// A report in text form, its title in front.
inline ReportRow Titled(std::string lines, const std::string& title, const std::string& text = "") {
  return {std::move(lines), title, Heading(title) + text};
}
// What a listing in text form says of a directory.
inline std::string InDirectory(const std::string& path, const std::vector<std::string>& names) {
  std::string text = "In directory: " + path + "\n";
  for (const std::string& name : names) text += "  " + name + "\n";
  return text;
}
// The summary up to its totals, and a row of it in text form.
inline ReportRow Summary(const std::string& created, const std::string& server,
                         const std::string& rest) {
  return {"type=summary", "Audit summary",
          "\n\nVelmora Filesystem Audit Summary Report\n\nSource file: scan.dtl, Created: " +
              created + "\n\nServer: " + server + "\n" + rest};
}

// The configuration, with these reports behind it, has to write their files and no other, tell of
// them, say nothing else, and leave nothing behind. A summary goes in front of all reports before
// it, SID use too, but behind a summary at the front.
inline void ExpectReports(ConfiguredRun run, const std::vector<ReportRow>& reports) {
  std::vector<std::pair<std::string, ReportRow>> order;
  const auto isSummary = [](const ReportRow& row) { return row.lines.starts_with("type=summary"); };
  for (const ReportRow& row : reports) {
    const std::string name = "report" + std::to_string(order.size());
    run.config += Section(row.lines + ";reportfile=" + name);
    const bool front = isSummary(row) || row.lines.starts_with("type=siduse");
    const bool second = !isSummary(row) && !order.empty() && isSummary(order[0].second);
    order.emplace(front ? order.begin() + (second ? 1 : 0) : order.end(), "reports/" + name, row);
  }
  const RunOutcome outcome = RunOnScan(run);
  std::string out = "ProcessConfigFile DONE\n", err;
  for (const auto& [name, row] : order) {
    // A summary in text form is announced twice.
    const bool twice = isSummary(row) && row.lines.find("=csv") == std::string::npos;
    const bool told = !row.title.empty() || !row.text.empty();
    for (int i = !told ? 2 : twice ? 0 : 1; i < 2; ++i) {
      out += "Report '" + row.title + "' written to " + name + "\n";
      err += "Path = " + name + "\n";
    }
    if (twice && (run.scan.revision & 0xFF) == 8) {
      const VersionBlock& version = run.scan.version;
      out += version.scanVersion + ' ' + version.buildPlatform + ' ' + version.buildArchitecture;
    }
    const auto found = outcome.files.find(name);
    EXPECT_EQ(found == outcome.files.end() ? "no such file" : found->second, row.text) << row.lines;
  }
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, out);
  EXPECT_EQ(outcome.err, err);
  EXPECT_EQ(outcome.files.size(), reports.size());
}

// `text` with another text for each "EURO". The sign is held, and printed, as the character that
// its three bytes make here.
inline std::string WithEuro(std::string text, const std::string& euro = "\U000E20AC") {
  for (size_t at; (at = text.find("EURO")) != std::string::npos;) text.replace(at, 4, euro);
  return text;
}

// A text as unicode report files hold it: a byte-order mark, UTF-16, lines ended by CR LF.
inline std::string AsUnicodeFile(const std::string& text) {
  std::string lines;
  for (const char c : text) lines += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return "\xFF\xFE" + Utf16Bytes(lines);
}

}  // namespace tabulon
