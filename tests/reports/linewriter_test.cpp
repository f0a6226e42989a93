// Lines assembled in the bytes of their output are the lines that the plain way through wide text
// writes.
#include "reports/linewriter.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>

#include "reports/capture.h"
#include "reports/reportwriter.h"

namespace tabulon {
namespace {

// A stretch of a line, with what is rare but matters: names that are not ASCII or no valid UTF-8,
// control characters, line feeds, and pieces of more than 511 units.
std::string RandomName(std::mt19937& random) {
  const std::string alphabet("ab./\\ \n\x01\x7F\x80\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", 20);
  std::string stored;
  for (size_t n = random() % 30; n > 0; --n) {
    stored.push_back(random() % 2 == 0 ? 'n' : alphabet[random() % alphabet.size()]);
  }
  if (random() % 20 == 0) stored.append(490 + random() % 30, 'l');
  return stored;
}

// Writes the same lines by a LineWriter and by ReportEntry, a call for each piece.
void WriteBoth(LineWriter& writer, ReportOutput& plain, std::mt19937& random) {
  RecordText name;
  const std::string stored = RandomName(random);
  name.Assign(stored);
  const std::wstring prefix = std::wstring(name.Wide().substr(name.Wide().size() / 2)) +
                              (random() % 2 == 0 ? L"\u00E9" : L"e");
  EncodedText kept = writer.NewText();
  kept.Add(prefix).Add(std::string_view("x")).Clear();
  kept.Add(prefix.substr(0, prefix.size() / 2)).Add(prefix.substr(prefix.size() / 2));
  EncodedText twice = writer.NewText();
  twice.Add(kept).Add(std::string_view("/")).Add(kept);
  const auto number = static_cast<uint64_t>(random()) << random() % 33;
  const auto small = -static_cast<int64_t>(random() % 1000);
  writer.Add(kept).Add(name).Add(std::string_view("  =>  ")).EndPiece();
  ReportEntry(plain, L"%ls%ls  =>  ", prefix, name.Wide());
  char* at = writer.Reserve(10);
  for (const char each : std::string_view("..reserved")) *at++ = each;
  writer.End(at);
  ReportEntry(plain, L"..reserved");
  writer.Add(L';').AddNumber(number).Add(',').Add(twice).AddSigned(small).EndLine();
  ReportEntry(plain, L";%llu,%ls/%ls%lld\n", number, prefix, prefix, small);
}

TEST(LineWriter, WritesWhatFormattedTextWrites) {
  // clang-format off
  const struct { const char* locale; TextEncoding encoding; int textFormat; } forms[] = {
      {"C", TextEncoding::kLocale, kTextStandard}, {"C.UTF-8", TextEncoding::kLocale, kTextStandard},
      {"C.UTF-8", TextEncoding::kLocale, kTextUnicode}, {"C", TextEncoding::kUtf16Le, kTextUnicode},
      {"C", TextEncoding::kUcs2Le, kTextUnicode},
  };
  // clang-format on
  for (const auto& form : forms) {
    ASSERT_NE(std::setlocale(LC_CTYPE, form.locale), nullptr);
    Settings settings;
    settings.textFormat = form.textFormat;
    ReportDefinition linesReport, plainReport;
    AttachToMemory(linesReport.file.stream, form.encoding);
    AttachToMemory(plainReport.file.stream, form.encoding);
    ReportOutput lines(linesReport, settings), plain(plainReport, settings);
    LineWriter atOnce(lines), gathering(LineForm::Of(lines));
    std::mt19937 random(21);
    for (int i = 0; i < 3000; ++i) {
      if (i % 2 == 0) {
        WriteBoth(atOnce, plain, random);
        continue;
      }
      WriteBoth(gathering, plain, random);
      lines.stream().WriteBytes(gathering.gathered());
      gathering.Drop();
    }
    ASSERT_EQ(Written(lines.stream()), Written(plain.stream())) << form.locale;
  }
  std::setlocale(LC_CTYPE, "C");
}

}  // namespace
}  // namespace tabulon
