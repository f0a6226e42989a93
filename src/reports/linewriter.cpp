#include "reports/linewriter.h"

#include <charconv>

#include "base/localetext.h"

namespace tabulon {
namespace {

constexpr size_t kLongestNumber = 20;  // digits of 2^64, or a sign and the digits of 2^63

}  // namespace

EncodedText& EncodedText::Add(wchar_t unit) {
  return Add(std::wstring_view(&unit, 1));
}

EncodedText& EncodedText::Add(std::string_view ascii) {
  if (direct_) {
    bytes_.append(ascii);
  } else {
    StringObjectCat(wide_, std::wstring(ascii.begin(), ascii.end()));
  }
  return *this;
}

EncodedText& EncodedText::Add(std::wstring_view text) {
  if (direct_) {
    AppendLocaleBytes(bytes_, text);
  } else {
    StringObjectCat(wide_, text);
  }
  return *this;
}

EncodedText& EncodedText::Add(const EncodedText& text) {
  if (direct_) {
    bytes_.append(text.bytes_);
  } else {
    StringObjectCat(wide_, text.wide_.view());
  }
  return *this;
}

void EncodedText::Clear() {
  bytes_.clear();
  StringObjectSet(wide_, {});
}

LineWriter::LineWriter(ReportOutput& output)
    : output_(output),
      out_(output.stream()),
      direct_(output.settings().textFormat == kTextStandard &&
              out_.encoding() == TextEncoding::kLocale && !out_.IsTerminal()),
      masked_(out_.IsTerminal()) {}

EncodedText LineWriter::NewText() const {
  return EncodedText(direct_);
}

LineWriter& LineWriter::Add(char ascii) {
  if (direct_) {
    out_.WriteBytes({&ascii, 1});
  } else {
    piece_.push_back(ascii);
  }
  return *this;
}

LineWriter& LineWriter::Add(wchar_t unit) {
  return Add(std::wstring_view(&unit, 1));
}

LineWriter& LineWriter::Add(std::string_view ascii) {
  if (direct_) {
    out_.WriteBytes(ascii);
  } else {
    AddMasked(ascii);
  }
  return *this;
}

LineWriter& LineWriter::Add(std::wstring_view text) {
  if (direct_) {
    out_.Write(text);
  } else {
    AddMasked(text);
  }
  return *this;
}

LineWriter& LineWriter::Add(const EncodedText& text) {
  if (direct_) {
    out_.WriteBytes(text.bytes_);
  } else {
    AddMasked(text.wide_.view());
  }
  return *this;
}

LineWriter& LineWriter::Add(const RecordText& text) {
  return direct_ && text.IsAscii() ? Add(text.Ascii()) : Add(text.Wide());
}

LineWriter& LineWriter::AddNumber(uint64_t value) {
  char digits[kLongestNumber];
  const auto end = std::to_chars(digits, digits + kLongestNumber, value).ptr;
  return Add(std::string_view(digits, static_cast<size_t>(end - digits)));
}

LineWriter& LineWriter::AddSigned(int64_t value) {
  char digits[kLongestNumber];
  const auto end = std::to_chars(digits, digits + kLongestNumber, value).ptr;
  return Add(std::string_view(digits, static_cast<size_t>(end - digits)));
}

void LineWriter::EndLine() {
  if (!direct_) {
    piece_.push_back(L'\n');
    WritePieceOut();
    return;
  }
  out_.WriteBytes("\n");
}

void LineWriter::WritePieceOut() {
  output_.WritePiece(piece_);
  piece_.clear();
}

template <class Text>
void LineWriter::AddMasked(Text text) {
  const size_t start = piece_.size();
  piece_.append(text.begin(), text.end());
  if (masked_) MaskControls(piece_, start);
}

ShownDirectory ShowDirectory(const ReportDefinition& report, const Scan& scan,
                             const RecordText& name) {
  if ((report.flags & kFlagRelative) != 0) return {false, 0};
  const size_t length = name.Visit([](auto text) { return text.size(); });
  if (length == 1) return {true, 1};  // the root itself
  // A root that ends in a separator takes the place of the name's leading one.
  const bool rootHasSeparator = scan.diskLtrRoot || scan.rootPath.size() == 1;
  return {true, rootHasSeparator && length > 0 ? size_t{1} : 0};
}

void WriteDirectoryHeading(const ReportOutput& output, LineWriter& writer,
                           const EncodedText& path) {
  if (output.report().format == kFormatCsv) {
    writer.Add('D').Add(output.settings().csvSep).Add(path);
  } else {
    writer.Add(std::string_view("In directory: ")).Add(path);
  }
  writer.EndLine();
}

}  // namespace tabulon
