// Lines that are encoded in place are the lines that the plain way through wide text writes.
#include "reports/linewriter.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>

#include "reports/capture.h"
#include "reports/reportwriter.h"

namespace tabulon {
namespace {

TEST(LineWriter, WritesWhatFormattedTextWrites) {
  std::mt19937 random(21);
  const std::string alphabet("ab./\\ \x01\x7F\x80\xC3\xA9\xE2\x82\xAC\xF0\x9F", 15);
  for (const char* locale : {"C", "C.UTF-8"}) {
    ASSERT_NE(std::setlocale(LC_CTYPE, locale), nullptr);
    const Settings settings;
    ReportDefinition directReport, plainReport;
    AttachToMemory(directReport.file.stream);
    AttachToMemory(plainReport.file.stream);
    ReportOutput direct(directReport, settings), plain(plainReport, settings);
    LineWriter writer(direct);
    for (int i = 0; i < 5000; ++i) {
      std::string stored;
      for (size_t n = random() % 30; n > 0; --n) {
        stored.push_back(random() % 2 == 0 ? 'n' : alphabet[random() % alphabet.size()]);
      }
      RecordText name;
      name.Assign(stored);
      const std::wstring prefix =
          std::wstring(name.Wide().substr(name.Wide().size() / 2)) + L'\u00E9';
      EncodedText kept = writer.NewText();
      kept.Add(prefix.substr(1)).Clear();
      kept.Add(prefix);
      const auto number = static_cast<uint64_t>(random()) << 33;
      writer.Add(kept).Add(name).Add(std::string_view("  =>  ")).EndPiece();
      writer.Add(L';').AddNumber(number).Add(',').AddSigned(-static_cast<int64_t>(i)).EndLine();
      ReportEntry(plain, L"%ls%ls  =>  ;%llu,%lld\n", prefix, name.Wide(), number,
                  -static_cast<int64_t>(i));
    }
    ASSERT_EQ(Written(direct.stream()), Written(plain.stream())) << locale;
  }
  std::setlocale(LC_CTYPE, "C");
}

}  // namespace
}  // namespace tabulon
