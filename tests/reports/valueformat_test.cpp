#include "reports/valueformat.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "reports/rest.h"

namespace tabulon {
namespace {

std::wstring TimeAs(uint64_t seconds, const wchar_t* format) {
  TimeText buffer;
  buffer.fill(L'#');
  return std::wstring(FormatFileTime(seconds, format, buffer));
}

TEST(ValueStr, GroupsDigitsFromTheRight) {
  // clang-format off
  const std::pair<uint64_t, const wchar_t*> rows[] = {
      {0, L"0"}, {123, L"123"}, {123456, L"123,456"}, {1234567, L"1,234,567"},
      {INT64_MAX, L"9,223,372,036,854,775,807"}, {uint64_t{1} << 63, L"-9,223,372,036,854,775,808"},
      {static_cast<uint64_t>(-123456), L"-,123,456"},
  };
  // clang-format on
  for (const auto& [value, expected] : rows) {
    ValueText buffer;
    const std::wstring_view text = ValueStr(value, buffer, L',');
    EXPECT_EQ(text, expected);
    EXPECT_EQ(text.data()[text.size()], 0);
  }
}

TEST(Values, PrintInTheirForms) {
  // clang-format off
  const std::pair<uint64_t, const wchar_t*> rows[] = {
      {0, L"0 bytes"}, {999'999, L"999,999 bytes"}, {1'000'000, L"953mb (1,000,000)"},
      {999'999'999, L"953.673mb (999,999,999)"}, {1'000'000'000, L"930gb (1,000,000,000)"},
      {5'368'709'120, L"5.000gb (5,368,709,120)"},
      {1'000'000'000'000, L"909tb (1,000,000,000,000)"},
      {uint64_t{1} << 63, L"8.388.608.000tb (-9,223,372,036,854,775,808)"},
      {UINT64_MAX, L"16.777.215.999tb (-1)"},
  };
  // clang-format on
  ValueText buffer;
  for (const auto& [value, text] : rows) EXPECT_EQ(EditValue(value, buffer), text);
  EXPECT_EQ(EditValueMetric(999'999'999, buffer), L"1.000.000mb (999,999,999)");
  EXPECT_EQ(FormatPerms(0xD0023, 2, buffer), L"opdrwx");
}

TEST(FormatFileTime, PrintsLocalTimes) {
  const std::wstring forty(40, L'x'), fifty(50, L'x'), behindForty = forty + L"%A";
  // clang-format off
  struct Row { const char* zone; uint64_t time; const wchar_t* format; std::wstring text; };
  const Row rows[] = {
      {"UTC", 0, nullptr, L"01/01/70 00:00:00"},
      {"UTC", 4294967295, L"%Y-%m-%d %H:%M:%S", L"2106-02-07 06:28:15"},
      {"UTC", 12345, L"%n", L"12345"}, {"UTC", UINT64_MAX, L"%n", L"18446744073709551615"},
      {"UTC", 0, L"%n ", L"\n "}, {"UTC", 0, L"", L""}, {"UTC", 0, L"50%% %Q", L"50% %Q"},
      {"UTC", UINT64_MAX, nullptr, L"12/31/69 23:59:59"}, {"UTC", INT64_MAX, nullptr, L"<invalid>"},
      // Across the end of daylight saving time, 2021-11-07 06:00 UTC.
      {"America/New_York", 1636264799, L"%d-%b-%y %X %Z", L"07-Nov-21 01:59:59 EDT"},
      {"America/New_York", 1636264800, L"%d-%b-%y %X %Z", L"07-Nov-21 01:00:00 EST"},
      // Longer than 47 units: ends before the conversion or character that did not fit.
      {"UTC", 0, fifty.c_str(), fifty.substr(0, 47)}, {"UTC", 0, behindForty.c_str(), forty},
  };
  // clang-format on
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);
    EXPECT_EQ(TimeAs(row.time, row.format), row.text);
  }
}

}  // namespace
}  // namespace tabulon
