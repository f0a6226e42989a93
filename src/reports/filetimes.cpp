#include "reports/filetimes.h"

#include <langinfo.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cwchar>

#include "base/decimal.h"
#include "base/unitcode.h"

namespace tabulon {
namespace {

constexpr uint64_t kDaySeconds = 86400;
constexpr size_t kUtcDays = (uint64_t{1} << 32) / kDaySeconds + 1;  // of times of 32 bits

// Added to distances, so that none is below 1 and no local time before 1970 is negative.
constexpr int32_t kDistanceBias = 4 * 86400;
constexpr int32_t kUnknown = 0;
constexpr int32_t kUneven = 1;  // the distance changes on this day
constexpr int32_t kFarthest = 2 * 86400;

// Conversions whose text is the same all day.
constexpr std::wstring_view kDateLetters = L"aAbBCdDeFgGhjmuUVwWyYnt%";
constexpr std::wstring_view kHalfDayLetters = L"pP";

// The text that stands for a locale's form `item`; empty when it has none in ASCII.
std::wstring LocaleForm(nl_item item) {
  const std::string_view form = nl_langinfo(item);
  const bool ascii = std::ranges::all_of(form, [](char byte) { return byte > 0; });
  return ascii ? std::wstring(form.begin(), form.end()) : std::wstring();
}

// Whether every conversion of the locale's date form (its "%x") is one of kDateLetters.
bool LocaleDateIsPlain() {
  const std::string_view form = nl_langinfo(D_FMT);
  for (size_t at = form.find('%'); at != std::string_view::npos; at = form.find('%', at + 2)) {
    if (at + 1 == form.size()) return false;
    if (kDateLetters.find(static_cast<wchar_t>(form[at + 1])) == std::wstring_view::npos) {
      return false;
    }
  }
  return true;
}

// What the C library makes of a conversion that means others; empty when it is none of these.
std::wstring Expanded(wchar_t letter) {
  switch (letter) {
    case L'T':
      return L"%H:%M:%S";
    case L'R':
      return L"%H:%M";
    case L'X':
      return LocaleForm(T_FMT);
    case L'c':
      return LocaleForm(D_T_FMT);
    case L'r': {
      const std::wstring form = LocaleForm(T_FMT_AMPM);
      return form.empty() ? L"%I:%M:%S %p" : form;
    }
    default:
      return {};
  }
}

std::tm LocalTimeOf(uint64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm local{};
  localtime_r(&time, &local);
  return local;
}

// What the date and the clock show, as seconds since they showed 1970. (timegm(3) would count the
// leap seconds, where the system does.)
int64_t ClockSeconds(const std::tm& local) {
  const std::chrono::sys_days day =
      std::chrono::year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
  return day.time_since_epoch().count() * int64_t{kDaySeconds} + local.tm_hour * 3600 +
         local.tm_min * 60 + local.tm_sec;
}

// Finds the distance for a day of UTC: it counts when it is the same at both ends of the day. (No
// zone of the tz database has changed its clocks to and fro within a day since 1970.) A leap
// second, on systems whose clock counts them, has no place in such a day.
int32_t LearnDistance(size_t day) {
  std::array<int64_t, 2> distances{};
  for (size_t i = 0; i < distances.size(); ++i) {
    const uint64_t seconds = day * kDaySeconds + i * (kDaySeconds - 1);
    const std::tm local = LocalTimeOf(seconds);
    if (local.tm_sec >= 60) return kUneven;
    distances[i] = ClockSeconds(local) - static_cast<int64_t>(seconds);
  }
  const bool even = distances[0] == distances[1] && std::abs(distances[0]) <= kFarthest;
  return even ? static_cast<int32_t>(distances[0]) + kDistanceBias : kUneven;
}

}  // namespace

FileTimeFormatter::FileTimeFormatter(const std::optional<std::wstring>& format)
    : format_(format.value_or(kDefaultTimeFormat)), rawSeconds_(format_ == kRawSeconds) {
  tzset();
  stretches_.push_back({});
  if (rawSeconds_ || !Split(format_) || stretches_.size() - 1 > kMostDigits) return;
  clockCount_ = stretches_.size() - 1;
  for (size_t i = 0; i < clockCount_; ++i) clocks_[i] = stretches_[i].clock;
  // A short report touches little of these.
  distances_ = HugeArray<int32_t>(kUtcDays);
  days_ = HugeArray<Day>(kDays);
  days_.Resize(kDays);
  wide_ = HugeArray<TimeText>(kDays);
}

// Takes the format apart. False when a part of it can not be told to be one of the day or one of
// the clock.
bool FileTimeFormatter::Split(std::wstring_view format) {
  constexpr std::wstring_view kClockLetters = L"HMSI";  // in the order of Clock
  for (size_t at = 0; at < format.size(); ++at) {
    if (format[at] != L'%') {
      stretches_.back().format.push_back(format[at]);
      continue;
    }
    if (++at == format.size()) return false;
    const wchar_t letter = format[at];
    if (const size_t clock = kClockLetters.find(letter); clock != std::wstring_view::npos) {
      stretches_.back().clock = static_cast<Clock>(clock);
      stretches_.push_back({});
      continue;
    }
    if (const std::wstring others = Expanded(letter); !others.empty()) {
      if (!Split(others)) return false;
      continue;
    }
    const bool halfDay = kHalfDayLetters.find(letter) != std::wstring_view::npos;
    halfDays_ |= halfDay;
    if (!halfDay && kDateLetters.find(letter) == std::wstring_view::npos &&
        !(letter == L'x' && LocaleDateIsPlain())) {
      return false;
    }
    stretches_.back().format.append({L'%', letter});
  }
  return true;
}

// The day of a time, with its text, and the clock; null: the time takes the plain way.
const FileTimeFormatter::Day* FileTimeFormatter::Find(uint64_t seconds, ClockValues& clock) {
  if (seconds > UINT32_MAX || days_.size() == 0) return nullptr;
  int32_t& distance = distances_[seconds / kDaySeconds];
  if (distance == kUnknown) distance = LearnDistance(seconds / kDaySeconds);
  if (distance == kUneven) return nullptr;
  const uint64_t local = seconds + static_cast<uint32_t>(distance);
  const auto key = static_cast<uint32_t>(local / (kDaySeconds / 2) >> (halfDays_ ? 0 : 1));
  Day& day = days_[key % kDays];
  if (day.key != key && !Fill(seconds, key, day)) return nullptr;
  const auto second = static_cast<uint32_t>(local % kDaySeconds);
  const uint32_t minute = second / 60;
  const uint32_t hour = minute / 60;
  clock = {static_cast<uint8_t>(hour), static_cast<uint8_t>(minute % 60),
           static_cast<uint8_t>(second % 60), static_cast<uint8_t>((hour + 11) % 12 + 1)};
  return &day;
}

// Makes the day's text, with gaps for the clock. False when it does not fit.
bool FileTimeFormatter::Fill(uint64_t seconds, uint32_t key, Day& day) {
  day.key = 0;
  const std::tm local = LocalTimeOf(seconds);
  TimeText made;
  size_t used = 0;
  size_t digits = 0;
  for (const Stretch& stretch : stretches_) {
    if (!stretch.format.empty()) {
      const size_t length =
          std::wcsftime(made.data() + used, made.size() - used, stretch.format.c_str(), &local);
      if (length == 0) return false;
      used += length;
    }
    if (stretch.clock == kClocks) continue;
    if (used + 2 >= made.size()) return false;
    day.digitsAt[digits++] = static_cast<uint8_t>(used);
    made[used++] = L'0';
    made[used++] = L'0';
  }
  day.length = static_cast<uint8_t>(used);
  day.ascii = std::all_of(made.begin(), made.begin() + static_cast<ptrdiff_t>(used), IsAsciiUnit);
  if (!day.ascii) wide_[key % kDays] = made;
  for (size_t i = 0; i < used; ++i) day.text[i] = static_cast<char>(made[i]);
  day.key = key;
  return true;
}

char* FileTimeFormatter::Put(uint64_t seconds, char* out) {
  if (rawSeconds_) return PutDecimal(out, seconds);
  ClockValues clock;
  const Day* const day = Find(seconds, clock);
  if (day == nullptr || !day->ascii) return nullptr;
  std::copy(day->text.begin(), day->text.end(), out);
  for (size_t i = 0; i < clockCount_; ++i) PutTwoDigits(out + day->digitsAt[i], clock[clocks_[i]]);
  return out + day->length;
}

std::wstring_view FileTimeFormatter::Format(uint64_t seconds) {
  std::array<char, kTimeTextSize> ascii;
  if (const char* const end = Put(seconds, ascii.data()); end != nullptr) {
    std::copy_n(ascii.data(), end - ascii.data(), plain_.data());
    return {plain_.data(), static_cast<size_t>(end - ascii.data())};
  }
  ClockValues clock;
  const Day* const day = Find(seconds, clock);
  if (day == nullptr) return FormatFileTime(seconds, format_.c_str(), plain_);
  TimeText& text = wide_[day->key % kDays];
  for (size_t i = 0; i < clockCount_; ++i) {
    const char* const digits = &kTwoDigits[size_t{2} * clock[clocks_[i]]];
    std::copy_n(digits, 2, text.data() + day->digitsAt[i]);
  }
  return {text.data(), day->length};
}

}  // namespace tabulon
