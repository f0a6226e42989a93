#include "reports/linewriter.h"

#include <algorithm>

#include "base/format.h"

namespace tabulon {
namespace {

bool AllAscii(std::wstring_view text) {
  return std::all_of(text.begin(), text.end(), IsAsciiUnit);
}

void AppendNarrowed(ByteBuffer& out, std::wstring_view ascii) {
  char* const at = out.Reserve(ascii.size());
  for (size_t i = 0; i < ascii.size(); ++i) at[i] = static_cast<char>(ascii[i]);
  out.Commit(ascii.size());
}

// Puts `text`, every line feed of it after a carriage return.
template <class Text, class Put>
void PutLines(Text text, Put put) {
  constexpr typename Text::value_type kLineEnd[] = {'\r', '\n'};
  for (size_t at = text.find('\n'); at != Text::npos; at = text.find('\n')) {
    put(text.substr(0, at));
    put(Text(kLineEnd, std::size(kLineEnd)));
    text.remove_prefix(at + 1);
  }
  put(text);
}

}  // namespace

EncodedText& EncodedText::Add(std::string_view ascii) {
  if (isWide_) {
    StringObjectCat(wide_, std::wstring(ascii.begin(), ascii.end()));
  } else {
    bytes_.Append(ascii);
  }
  return *this;
}

EncodedText& EncodedText::Add(std::wstring_view text) {
  if (!staged_) {
    AppendEncoded(bytes_, text, TextEncoding::kLocale);
  } else if (!isWide_ && AllAscii(text)) {
    AppendNarrowed(bytes_, text);
  } else {
    if (!isWide_) StringObjectSet(wide_, std::wstring(bytes_.view().begin(), bytes_.view().end()));
    isWide_ = true;
    StringObjectCat(wide_, text);
  }
  return *this;
}

EncodedText& EncodedText::Add(const EncodedText& text) {
  return text.isWide_ ? Add(text.wide_.view()) : Add(text.bytes_.view());
}

void EncodedText::Clear() {
  bytes_.Clear();
  isWide_ = false;
}

LineForm LineForm::Of(ReportOutput& output) {
  return {.encoding = output.stream().encoding(),
          .unicodePieces = output.settings().textFormat == kTextUnicode,
          .masked = output.stream().IsTerminal()};
}

LineWriter::LineWriter(ReportOutput& output) : LineWriter(LineForm::Of(output)) {
  stream_ = &output.stream();
}

LineWriter::LineWriter(const LineForm& form)
    : form_(form),
      staged_(form.encoding != TextEncoding::kLocale || form.unicodePieces || form.masked) {}

EncodedText LineWriter::NewText() const {
  return EncodedText(staged_);
}

LineWriter& LineWriter::Add(std::wstring_view text) {
  if (!staged_) {
    AppendEncoded(out_, text, TextEncoding::kLocale);
  } else if (AllAscii(text)) {
    AppendNarrowed(line_, text);
  } else {
    AddStaged(text);
  }
  return *this;
}

LineWriter& LineWriter::Add(const EncodedText& text) {
  return text.isWide_ ? Add(text.wide_.view()) : Add(text.bytes_.view());
}

LineWriter& LineWriter::AddNumber(uint64_t value) {
  char* const at = Reserve(kLongestDecimal);
  plain().Commit(static_cast<size_t>(PutDecimal(at, value) - at));
  return *this;
}

LineWriter& LineWriter::AddSigned(int64_t value) {
  char* const at = Reserve(kLongestDecimal);
  plain().Commit(static_cast<size_t>(PutSigned(at, value) - at));
  return *this;
}

void LineWriter::EndLine() {
  if (!staged_) {
    out_.Append("\n");
  } else {
    MaskPart();
    line_.Append("\n");
    CutPart();
    EncodeLine();
    BeginPiece();
  }
  if (stream_ == nullptr) return;
  stream_->WriteBytes(out_.view());
  out_.Clear();
}

void LineWriter::EndStagedPiece() {
  MaskPart();
  CutPart();
  BeginPiece();
}

void LineWriter::BeginPiece() {
  pieceStart_ = line_.size();
  pieceUnits_ = 0;
}

// Masks what line_ has of the piece.
void LineWriter::MaskPart() {
  if (!form_.masked) return;
  for (char* at = line_.data() + pieceStart_; at != line_.data() + line_.size(); ++at) {
    if (IsHarmful(*at)) *at = '?';
  }
}

// Cuts what line_ has of the piece.
void LineWriter::CutPart() {
  if (!form_.unicodePieces) return;
  line_.Cut(std::min(line_.size(), pieceStart_ + kLongestPiece - pieceUnits_));
}

// Text with other than ASCII characters goes after what has been gathered.
void LineWriter::AddStaged(std::wstring_view text) {
  MaskPart();
  CutPart();
  pieceUnits_ += line_.size() - pieceStart_;
  EncodeLine();
  if (form_.unicodePieces) text = text.substr(0, kLongestPiece - pieceUnits_);
  pieceUnits_ += text.size();
  wide_.assign(text);
  if (form_.masked) MaskControls(wide_, 0);
  const auto put = [&](std::wstring_view part) { AppendEncoded(out_, part, form_.encoding); };
  form_.unicodePieces ? PutLines(std::wstring_view(wide_), put) : put(wide_);
}

void LineWriter::EncodeLine() {
  const auto put = [&](std::string_view part) { AppendEncodedAscii(out_, part, form_.encoding); };
  form_.unicodePieces ? PutLines(line_.view(), put) : put(line_.view());
  line_.Clear();
  pieceStart_ = 0;
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

void WriteDirectoryHeading(const ReportDefinition& report, wchar_t csvSep, LineWriter& writer,
                           const EncodedText& path) {
  if (report.format == kFormatCsv) {
    writer.Add('D').Add(csvSep).Add(path);
  } else {
    writer.Add(std::string_view("In directory: ")).Add(path);
  }
  writer.EndLine();
}

}  // namespace tabulon
