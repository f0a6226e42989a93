#include "base/logtext.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace tabulon {
namespace {

constexpr size_t kErrorTextSize = 1024;
constexpr size_t kStampBytes = 13;  // "YYMMDD.hhmmss"

wchar_t uniMsg[kErrorTextSize];

std::string TimeStamp(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  // The year of the century; 2000 comes out as 100. Kept so; see the header.
  const int year = local.tm_year >= 101 ? local.tm_year - 100 : local.tm_year;
  char stamp[80];
  std::snprintf(stamp, sizeof stamp, "%02d%02d%02d.%02d%02d%02d", year, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return stamp;
}

}  // namespace

std::string MakeFilename(std::string_view pattern) {
  std::string out;
  for (size_t i = 0; i < pattern.size(); ++i) {
    const bool token = pattern[i] == '%' && i + 1 < pattern.size() &&
                       (pattern[i + 1] == 'd' || pattern[i + 1] == 'D');
    if (!token) {
      out.push_back(pattern[i]);
      continue;
    }
    // The output moves on by exactly 13 characters, so a longer stamp is overwritten by what
    // follows it; the token's letter is copied by the next round.
    out.append(std::string_view(TimeStamp(std::time(nullptr))).substr(0, kStampBytes));
  }
  return out;
}

const wchar_t* PosixErrMsg(int errnum) {
  const char* text = std::strerror(errnum);
  size_t i = 0;
  for (; text[i] != '\0' && i + 1 < kErrorTextSize; ++i) {
    uniMsg[i] = static_cast<signed char>(text[i]);
  }
  uniMsg[i] = L'\0';
  return uniMsg;
}

}  // namespace tabulon
