// Assembles the lines of listings piece by piece. Plain text is encoded straight into one line of
// bytes; unicode output and terminals take the way of ReportEntry, a call a piece, which cuts,
// doubles line feeds and masks control characters. Both ways write the same text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/report.h"
#include "detail/recordtext.h"

namespace tabulon {

// A text that many lines repeat, in wide form and as the locale's bytes.
struct EncodedText {
  void Assign(std::wstring_view text);
  void Append(wchar_t unit);
  std::wstring wide;
  std::string bytes;
};

class LineWriter {
 public:
  // For the destination that `report` has now.
  explicit LineWriter(Report& report);

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
  void AddMasked(std::wstring_view text);

  Report& report_;
  TextStream& out_;
  bool direct_;        // bytes_ is filled; else piece_
  bool masked_;        // control characters of names show as '?'
  std::string bytes_;  // kept between lines: a line costs no allocation
  std::wstring piece_;
};

}  // namespace tabulon
