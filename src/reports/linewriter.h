// Assembles the lines of listings in the bytes of their output, without a call of the stream for
// each piece. ShownDirectory and the functions after it show the directory that lines belong to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytebuffer.h"
#include "base/decimal.h"
#include "base/stringobj.h"
#include "base/textstream.h"
#include "base/unitcode.h"
#include "detail/recordtext.h"
#include "detail/scan.h"
#include "reports/reportwriter.h"

namespace tabulon {

class EncodedText;

// What an output makes of its lines.
struct LineForm {
  TextEncoding encoding = TextEncoding::kLocale;
  bool unicodePieces = false;  // unicode text output: ReportOutput::Entry tells the rules
  bool masked = false;         // a terminal: control characters show as '?'

  // Of the destination that `output` has now.
  static LineForm Of(ReportOutput& output);
};

// Plain text in the locale's encoding is put straight into the buffer of finished lines. For
// unicode output and terminals, ASCII text is gathered as bytes first; one loop widens or masks it
// when the line, or its part before other characters, ends.
class LineWriter {
 public:
  // Each line goes to the destination that `output` has now when it ends.
  explicit LineWriter(ReportOutput& output);
  // Lines are gathered until they are dropped.
  explicit LineWriter(const LineForm& form);

  // An empty text in the form that the lines take.
  EncodedText NewText() const;

  LineWriter& Add(char ascii) { return Add(std::string_view(&ascii, 1)); }
  LineWriter& Add(wchar_t unit) {
    return IsAsciiUnit(unit) ? Add(static_cast<char>(unit)) : Add(std::wstring_view(&unit, 1));
  }
  LineWriter& Add(std::string_view ascii) {
    plain().Append(ascii);
    return *this;
  }
  LineWriter& Add(std::wstring_view text);
  LineWriter& Add(const EncodedText& text);
  LineWriter& Add(const RecordText& text) {
    return text.IsAscii() ? Add(text.Ascii()) : Add(text.Wide());
  }
  LineWriter& AddNumber(uint64_t value);
  LineWriter& AddSigned(int64_t value);

  // Room for `size` bytes of ASCII text at the end of the line. End takes what is before `end`;
  // pieces end there, none of which is too long for unicode output. The room is valid until the
  // next call on the writer.
  char* Reserve(size_t size) { return plain().Reserve(size); }
  void End(const char* end) {
    ByteBuffer& text = plain();
    text.Commit(static_cast<size_t>(end - text.data()) - text.size());
    if (!staged_) return;
    MaskPart();
    BeginPiece();
  }

  // Ends what counts as one piece of output.
  void EndPiece() {
    if (staged_) EndStagedPiece();
  }
  // Adds the line end to the piece and ends the line.
  void EndLine();

  // Adds lines that another writer with this form has gathered. REQUIRES: no line has begun.
  void AddLines(std::string_view gathered) { out_.Append(gathered); }
  // The lines gathered so far.
  std::string_view gathered() const { return out_.view(); }
  void Drop() { out_.Clear(); }

 private:
  ByteBuffer& plain() { return staged_ ? line_ : out_; }
  void AddStaged(std::wstring_view text);
  void EndStagedPiece();
  void BeginPiece();
  void MaskPart();
  void CutPart();
  void EncodeLine();

  TextStream* stream_ = nullptr;  // takes each line; null: they are gathered
  LineForm form_;
  bool staged_;            // ASCII text waits in line_
  ByteBuffer out_;         // in the output's encoding
  ByteBuffer line_;        // ASCII text of the line that is not yet in out_
  size_t pieceStart_ = 0;  // where the piece begins in line_
  size_t pieceUnits_ = 0;  // units of it that are in out_ already
  std::wstring wide_;
};

// A text that many lines repeat, kept in the form that a writer's lines take.
class EncodedText {
 public:
  EncodedText& Add(wchar_t unit) { return Add(std::wstring_view(&unit, 1)); }
  EncodedText& Add(std::string_view ascii);
  EncodedText& Add(std::wstring_view text);
  EncodedText& Add(const EncodedText& text);  // of the same writer
  void Clear();

 private:
  friend class LineWriter;
  explicit EncodedText(bool staged) : staged_(staged) {}

  bool staged_;          // for a writer that gathers ASCII text
  bool isWide_ = false;  // the text is in wide_; else in bytes_
  ByteBuffer bytes_;
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
void WriteDirectoryHeading(const ReportDefinition& report, wchar_t csvSep, LineWriter& writer,
                           const EncodedText& path);

}  // namespace tabulon
