// Where report text goes: the QVA output file when there is one, else the report's own file, else
// the list log.
#pragma once

#include <string>
#include <string_view>

#include "base/format.h"
#include "base/textstream.h"
#include "config/report.h"

namespace tabulon {

// The QVA output file that all reports of a -qva run share; closed = none.
extern TextStream qvaOutput;

// Where the text of `report` goes.
TextStream& ReportStream(Report& report);

namespace report_internal {
void Entry(Report& report, std::wstring_view format, std::span<const FormatArg> args);
}

// Formats one piece of text and writes it to the report's destination. In unicode text output a
// piece is cut to 511 characters, then every line feed becomes carriage return + line feed.
template <class... A>
void ReportEntry(Report& report, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { report_internal::Entry(report, format.text, packed); }, args...);
}

// Writes one assembled piece by the same rules; `text` is used up.
void WritePiece(Report& report, std::wstring& text);

// Announces the report's file on standard error and the list log; nothing for a report without
// one.
void DisplayReportFile(const Report& report);

// Opens the file that the configuration made for the report, for writing; nothing when it has none.
void OpenReportFile(Report& report);
// Ends a report: closes its file (a failed write is told and counts against the run's status) and
// removes its position file.
void CloseReport(Report& report);

}  // namespace tabulon
