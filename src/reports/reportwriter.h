// Where report text goes: the QVA output file when there is one, else the report's own file, else
// the list log.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/format.h"
#include "base/textstream.h"
#include "config/reportdefinition.h"

namespace tabulon {

// A name with what was counted for it.
struct Tally {
  std::wstring_view name;
  uint64_t count = 0;
  uint64_t totalBytes = 0;
  uint64_t allocatedBytes = 0;
};

// Longest piece of unicode text output, in characters.
inline constexpr size_t kLongestPiece = 511;

// One report on its way out.
class ReportOutput {
 public:
  // `qvaOutput`: the QVA output file that all reports of a -qva run share; null: none. `tallies`:
  // those of the run's reports that asked for totals. All must outlive this.
  ReportOutput(ReportDefinition& report, const Settings& settings, TextStream* qvaOutput = nullptr,
               std::span<const Tally> tallies = {})
      : report_(report), settings_(settings), qvaOutput_(qvaOutput), tallies_(tallies) {}

  const ReportDefinition& report() const { return report_; }
  const Settings& settings() const { return settings_; }
  ReportFile& file() { return report_.file; }
  bool isQva() const { return qvaOutput_ != nullptr; }
  std::span<const Tally> tallies() const { return tallies_; }
  // Where the text goes now.
  TextStream& stream();

  // Formats one piece of text and writes it. In unicode text output a piece is cut to 511
  // characters, then every line feed becomes carriage return + line feed.
  void Entry(std::wstring_view format, std::span<const FormatArg> args);

 private:
  ReportDefinition& report_;
  const Settings& settings_;
  TextStream* qvaOutput_;
  std::span<const Tally> tallies_;
  std::wstring text_;  // kept, so that a line costs no allocation
};

template <class... A>
void ReportEntry(ReportOutput& output, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { output.Entry(format.text, packed); }, args...);
}

// Announces the report's file on standard error and the list log; nothing for a report without
// one.
void DisplayReportFile(ReportOutput& output);

// Opens the file that the configuration made for the report, for writing; nothing when it has none.
void OpenReportFile(ReportOutput& output);
// Closes the report's file and puts it in the place of the one before. If that fails, or a write
// did, it is told and counts against the run's status.
void CloseReport(ReportOutput& output);

}  // namespace tabulon
