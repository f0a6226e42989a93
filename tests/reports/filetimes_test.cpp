// Times that are formatted by hand are those of the C library.
#include "reports/filetimes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

namespace tabulon {
namespace {

constexpr uint64_t kDay = 86400;

struct Place {
  const char* zone;
  uint64_t change;  // when its clocks change, or a day is left out or a leap second put in
};
constexpr Place kPlaces[] = {
    {"UTC", 1709164800},                  // 29 February 2024
    {"America/New_York", 1636264800},     // the end of summer time
    {"America/New_York", 1710054000},     // its begin
    {"Australia/Lord_Howe", 1617462000},  // half an hour
    {"Pacific/Apia", 1325239200},         // without 30 December 2011
    {"Africa/Casablanca", 1710036000},    // an hour for a month
    {"Asia/Kathmandu", 504901800},        // from 5:30 to 5:45
    {"right/UTC", 1483228826},            // a clock that counts leap seconds
    {"XXX3:17:09YYY,M3.2.0/2,M11.1.0/2", 1636250000},
    {"XXX-24YYY-25,J1/0,J365/23", 1704067200},
};

// Times around the change, by turns in small and large steps; the ends of years; neighbours of
// 1970, of 2038 and of the last time of 32 bits; days that share a place in the cache; any.
std::vector<uint64_t> TimesFor(const Place& place) {
  std::mt19937_64 random(4);
  std::vector<uint64_t> times;
  for (uint64_t at = place.change - 2 * kDay; at < place.change + 2 * kDay; at += 1733) {
    times.insert(times.end(), {at, at + 2048 * kDay, at - 4096 * kDay});
  }
  for (uint64_t at = place.change - 5; at < place.change + 5; ++at) times.push_back(at);
  for (uint64_t year = 0; year < 137; ++year) {
    const uint64_t begin = (year * 365 + (year + 1) / 4) * kDay;
    times.insert(times.end(), {begin - 1, begin, begin + random() % kDay});
  }
  for (uint64_t i = 0; i < 5; ++i) {
    times.insert(times.end(), {i, i * kDay, INT32_MAX + i, UINT32_MAX - i, UINT32_MAX + i,
                               UINT64_MAX - i, INT64_MAX + i});
  }
  for (int i = 0; i < 500; ++i) times.push_back(random() & UINT32_MAX);
  return times;
}

TEST(FileTimeFormatter, AgreesWithTheCLibrary) {
  // clang-format off
  const wchar_t* const formats[] = {
      nullptr, L"%n", L"%x %X", L"%a, %#d %b, %Y at %X", L"%c %p %I", L"%s %z %Z", L"%Q%H", L"",
      L"%T %R %D %F %j %U %W %V %G %C %h %e %%", L"%-H:%M %10Y %EY %OS", L"dated %d%", L"%r", L"%c",
      L"%I:%M %p%n%t%y", L"%P", L"%Y-%m-%d %H:%M:%S", L"%d\u2014%B \u00FC %A %H:%M", L"%u%w%g %k %l",
      L"%S%M%H%S%M%H%S%M", L"%S%M%H%S%M%H%S%M%H%S%M%H", L"to the end of the buffer, which has 48 units: %M:%S",
      L"to the end of the buffer, which has 48 units..%M", L"behind the end, where nothing may be written....%M", L"%A %B %A %B %A %B %H %M",
  };
  // clang-format on
  for (const Place& place : kPlaces) {
    setenv("TZ", place.zone, 1);
    const std::vector<uint64_t> times = TimesFor(place);
    for (const wchar_t* format : formats) {
      FileTimeFormatter formatter(format != nullptr ? std::optional<std::wstring>(format)
                                                    : std::nullopt);
      for (const uint64_t seconds : times) {
        TimeText buffer;
        const std::wstring_view expected = FormatFileTime(seconds, format, buffer);
        ASSERT_EQ(formatter.Format(seconds), expected) << seconds << ' ' << place.zone;
        std::array<char, kTimeTextSize> bytes;
        char* const end = formatter.Put(seconds, bytes.data());
        if (end != nullptr) {
          ASSERT_EQ(std::wstring(bytes.data(), end), expected) << seconds << ' ' << place.zone;
        }
      }
    }
  }
}

// Formats of everyday use do not take the plain way.
TEST(FileTimeFormatter, PutsMostTimesByHand) {
  setenv("TZ", "Europe/Berlin", 1);
  for (const wchar_t* format : {L"%x %X", L"%Y-%m-%d %H:%M:%S", L"%d-%b-%y %I:%M %p", L"%c"}) {
    FileTimeFormatter formatter(format);
    int put = 0;
    for (uint64_t day = 0; day < 365; ++day) {
      std::array<char, kTimeTextSize> bytes;
      put += formatter.Put(1700000000 + day * kDay, bytes.data()) != nullptr ? 1 : 0;
    }
    EXPECT_EQ(put, 363) << "all but the days on which the clocks change";
  }
}

}  // namespace
}  // namespace tabulon
