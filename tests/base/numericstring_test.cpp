#include "base/numericstring.h"

#include <gtest/gtest.h>

namespace tabulon {
namespace {

TEST(NumericString, ReadsDigitsAndOneSuffix) {
  const struct {
    std::wstring_view text;
    int64_t plain;       // suffixes not allowed
    int64_t withSuffix;  // suffixes allowed
  } rows[] = {
      {L"", 0, 0},
      {L"0", 0, 0},
      {L"007", 7, 7},
      {L"4294967295", 4294967295, 4294967295},
      {L"4294967296", -1, 4294967296},
      {L"10K", -1, 10240},
      {L"10k", -1, 10000},
      {L"3M", -1, 3145728},
      {L"3m", -1, 3000000},
      {L"2G", -1, 2147483648},
      {L"2g", -1, 2000000000},
      {L"K", -1, 0},
      {L"10KB", -1, -1},
      {L"10T", -1, -1},
      {L"1K1", -1, -1},
      {L"-1", -1, -1},
      {L"+1", -1, -1},
      {L" 1", -1, -1},
      {L"1 ", -1, -1},
      {L"1.5", -1, -1},
      {L"\u0661", -1, -1},                      // a digit of another script
      {L"18446744073709551615", -1, -1},        // all bits set is -1 in any case
      {L"18446744073709551617", 1, 1},          // wraps
      {L"9223372036854775808", -1, INT64_MIN},  // wraps into the sign
      {L"18014398509481985K", -1, 1024},        // the product wraps too
      {std::wstring_view(L"12\0", 3), -1, -1},  // a zero unit is no digit
  };
  for (const auto& row : rows) {
    EXPECT_EQ(NumericString(row.text, false), row.plain)
        << std::string(row.text.begin(), row.text.end());
    EXPECT_EQ(NumericString(row.text, true), row.withSuffix)
        << std::string(row.text.begin(), row.text.end());
  }
}

}  // namespace
}  // namespace tabulon
