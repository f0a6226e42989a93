// Assembles the lines of listings piece by piece. Plain text is encoded straight into one line of
// bytes; unicode output and terminals take the way of ReportEntry, a call a piece, which cuts,
// doubles line feeds and masks control characters. Both ways write the same text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/stringobj.h"
#include "config/report.h"
#include "detail/recordtext.h"

namespace tabulon {

class EncodedText;

class LineWriter {
 public:
  // For the destination that `report` has now.
  explicit LineWriter(Report& report);
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

  Report& report_;
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

}  // namespace tabulon
