#include "query/datevalue.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace tabulon {
namespace {

class DateValueTest : public testing::Test {
 protected:
  void TearDown() override { SetZone("UTC"); }
  static void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
};

// A time in UTC reckoning, as "YYYY-MM-DD" or "YYYY-MM-DD hh:mm:ss".
int64_t At(const std::string& text) {
  std::tm when{};
  const char* format = text.size() == 10 ? "%Y-%m-%d" : "%Y-%m-%d %H:%M:%S";
  EXPECT_NE(strptime(text.c_str(), format, &when), nullptr) << text;
  return timegm(&when);
}

constexpr const char* kUtc = "UTC";
constexpr const char* kNewYork = "America/New_York";
constexpr const char* kBerlin = "Europe/Berlin";
constexpr const char* kIdes = "2024-03-15 13:45:10";
constexpr const char* kNoDate = nullptr;

struct DateRow {
  const char* zone;
  const wchar_t* text;
  const char* expected;          // midnight unless it has a time
  const char* scanTime = kIdes;  // in UTC
};

// clang-format off
constexpr DateRow kRelativeDates[] = {
    {kUtc, L"0d", "2024-03-15"}, {kUtc, L"d", "2024-03-15"}, {kUtc, L"30d", "2024-02-14"},
    {kUtc, L"2W", "2024-03-01"}, {kUtc, L"1Y", "2023-03-16"}, {kUtc, L"3m", "2023-12-15"},
    {kUtc, L"1m", "2024-03-02", "2024-03-31 13:45:10"},
    // The base year's February counts for every year: 366 days for twelve months here.
    {kUtc, L"12M", "2023-03-15"}, {kUtc, L"24m", "2022-03-14"},
    {kUtc, L"38m", "2020-01-16", "2023-03-15 13:45:10"},
    {kUtc, L"1d", "1970-01-01", "1970-01-02 00:00:01"},
    {kUtc, L"2d", kNoDate, "1970-01-02 00:00:01"},
    {kNewYork, L"0d", kNoDate, "1970-01-01 00:00:01"},  // still 1969 there
    {kUtc, L"1000m", kNoDate},
    // The first that do not fit 64 bits, and a count that does not.
    {kUtc, L"213503982334602d", kNoDate}, {kUtc, L"30500568904944w", kNoDate},
    {kUtc, L"7000130568348m", kNoDate}, {kUtc, L"584942417356y", kNoDate},
    {kUtc, L"18446744073709551617d", kNoDate}, {kUtc, L"000000000000000000000001d", "2024-03-14"},
    {kUtc, L"30dd", kNoDate}, {kUtc, L"30x", kNoDate}, {kUtc, L"-1d", kNoDate},
    // West of Greenwich, summer time moves the result two hours back.
    {kNewYork, L"1d", "2024-01-14", "2024-01-15 17:00:00"},
    {kNewYork, L"0d", "2024-01-15", "2024-01-16 04:59:59"},
    {kNewYork, L"0d", "2024-07-14 22:00:00", "2024-07-15 17:00:00"},
    {kNewYork, L"6m", "2024-01-14 22:00:00", "2024-07-15 17:00:00"},
    {kNewYork, L"0d", "2024-03-10", "2024-03-10 19:00:00"},  // ends in summer time
    {kNewYork, L"0d", "2024-11-02 22:00:00", "2024-11-03 20:00:00"},  // begins in summer time
    {kBerlin, L"0d", "2024-07-15", "2024-07-15 17:00:00"},
    {kBerlin, L"0d", "2024-01-16", "2024-01-15 23:30:00"},
};

constexpr DateRow kAbsoluteDates[] = {
    {kUtc, L"19700101", "1970-01-01"}, {kUtc, L"20371231235959", "2037-12-31 23:59:59"},
    {kUtc, L"20370101", "2037-01-01"}, {kUtc, L"20380101", kNoDate}, {kUtc, L"19691231", kNoDate},
    {kUtc, L"20240229", "2024-02-29"}, {kUtc, L"20230229", kNoDate}, {kUtc, L"20070230", kNoDate},
    {kUtc, L"20241301", kNoDate}, {kUtc, L"20240001", kNoDate}, {kUtc, L"20240100", kNoDate},
    {kUtc, L"20240431", kNoDate}, {kUtc, L"20240101240000", kNoDate},
    {kUtc, L"20240101006000", kNoDate}, {kUtc, L"20240101000060", kNoDate},
    {kUtc, L"2024010", kNoDate}, {kUtc, L"2024010112", kNoDate},
    {kUtc, L"202401011200000", kNoDate}, {kUtc, L"", kNoDate},
    {kNewYork, L"20240115", "2024-01-15"}, {kNewYork, L"20240310", "2024-03-10"},
    {kNewYork, L"20240310120000", "2024-03-10 10:00:00"},
    {kNewYork, L"20240715", "2024-07-14 22:00:00"}, {kNewYork, L"20241103", "2024-11-02 22:00:00"},
    {kNewYork, L"20241103120000", "2024-11-03 12:00:00"},
    {kBerlin, L"20240715123456", "2024-07-15 12:34:56"}, {kBerlin, L"19700101", "1970-01-01"},
};

// clang-format on

template <class Convert>
void Check(const DateRow& row, Convert convert) {
  SCOPED_TRACE(testing::Message() << row.zone << " " << row.text);
  int64_t seconds = 0;
  EXPECT_EQ(convert(row.text, seconds), row.expected != nullptr);
  EXPECT_EQ(seconds, row.expected != nullptr ? At(row.expected) : 0);
}

TEST_F(DateValueTest, CountsBackFromTheScan) {
  for (const DateRow& row : kRelativeDates) {
    SetZone(row.zone);
    Scan scan;
    scan.logHdr.scanTime = static_cast<uint32_t>(At(row.scanTime));
    Check(row, [&](auto text, int64_t& result) {
      return ConvertDateValue(text, DateBase(scan, 1), result);
    });
  }
}

TEST_F(DateValueTest, TakesAbsoluteDates) {
  for (const DateRow& row : kAbsoluteDates) {
    SetZone(row.zone);
    Check(row, [](auto text, int64_t& result) { return ConvertDateValue(text, 0, result); });
    Check(row, ConvertNumericDateValue);
  }
  // Only a direct call gets here with other characters than digits: "xx" counts as -1.
  Check({kUtc, L"20240101xx0000", "2023-12-31 23:00:00"}, ConvertNumericDateValue);
}

TEST_F(DateValueTest, CountsBackFromNow) {
  SetZone(kUtc);
  int64_t today = 0;
  int64_t before = std::time(nullptr);
  ASSERT_TRUE(ConvertDateValue(L"0d", DateBase(Scan(), 0), today));
  const int64_t after = std::time(nullptr);
  EXPECT_LE(before - before % 86'400, today);
  EXPECT_GE(after - after % 86'400, today);
}

}  // namespace
}  // namespace tabulon
