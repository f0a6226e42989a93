// Assembles the lines of listings piece by piece. Plain text is encoded straight into the stream's
// buffer, without a copy in between. Unicode output and terminals use ReportEntry, one call for
// each piece, which cuts it, doubles line feeds and masks control characters. Both ways write the
// same text. ShownDirectory and the functions after it show the directory that lines belong to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/stringobj.h"
#include "detail/recordtext.h"
#include "detail/scan.h"
#include "reports/reportwriter.h"

namespace tabulon {

class EncodedText;

class LineWriter {
 public:
  // For the destination that `output` has now.
  explicit LineWriter(ReportOutput& output);
  // An empty text in the form that the lines take.
  EncodedText NewText() const;

  LineWriter& Add(char ascii);
  LineWriter& Add(wchar_t unit);
  LineWriter& Add(std::string_view ascii);
  LineWriter& Add(std::wstring_view text);
  LineWriter& Add(const EncodedText& text);
  LineWriter& Add(const RecordText& text);
  LineWriter& AddNumber(uint64_t value);
  LineWriter& AddSigned(int64_t value);

  // Ends what counts as one piece of output.
  void EndPiece() {
    if (!direct_) WritePieceOut();
  }
  // Adds the line end, a piece of its own, and ends the line.
  void EndLine();

 private:
  void WritePieceOut();
  template <class Text>
  void AddMasked(Text text);

  ReportOutput& output_;
  TextStream& out_;
  bool direct_;  // encoded into the stream's buffer; else collected in piece_
  bool masked_;  // control characters of names show as '?'
  std::wstring piece_;
};

// A text that many lines repeat, kept in the form that a writer's lines take.
class EncodedText {
 public:
  EncodedText& Add(wchar_t unit);
  EncodedText& Add(std::string_view ascii);
  EncodedText& Add(std::wstring_view text);
  EncodedText& Add(const EncodedText& text);  // of the same writer
  void Clear();

 private:
  friend class LineWriter;
  explicit EncodedText(bool direct) : direct_(direct) {}

  bool direct_;  // bytes_ is filled; else wide_
  std::string bytes_;
  StringObject wide_;
};

// How a directory's stored path is shown: after the root path or not, and without so many of its
// first units.
struct ShownDirectory {
  bool withRoot;
  size_t dropped;
};
ShownDirectory ShowDirectory(const ReportDefinition& report, const Scan& scan,
                             const RecordText& name);

// Adds the path of the directory named `name` to a line or a text: after the root path in the
// "absolute" path form, as it is in the "relative" one. Returns the path's last unit; 0 when it is
// empty. `root`: the root path.
template <class Out>
wchar_t AddDirectory(const ReportDefinition& report, const Scan& scan, const EncodedText& root,
                     const RecordText& name, Out& out) {
  const ShownDirectory shown = ShowDirectory(report, scan, name);
  if (shown.withRoot) out.Add(root);
  const wchar_t rootEnd = shown.withRoot && !scan.rootPath.empty() ? scan.rootPath.back() : L'\0';
  return name.Visit([&](auto path) {
    path.remove_prefix(shown.dropped);
    out.Add(path);
    return path.empty() ? rootEnd : static_cast<wchar_t>(path.back());
  });
}

// Whether full paths are shown; otherwise names are listed below directory headings.
inline bool ShowsFullPaths(const ReportDefinition& report) {
  return (report.flags & kFlagFullPath) != 0;
}

// Writes the heading of a directory whose names follow.
void WriteDirectoryHeading(const ReportOutput& output, LineWriter& writer, const EncodedText& path);

}  // namespace tabulon
