#include "reports/valueformat.h"

#include <langinfo.h>

#include <algorithm>
#include <charconv>
#include <cwchar>

namespace tabulon {
namespace {

// Writes texts one after the other into a caller's buffer, and ends with a zero unit.
class TextBuilder {
 public:
  explicit TextBuilder(std::span<wchar_t> buffer) : buffer_(buffer) {}

  TextBuilder& Add(std::wstring_view text) {
    const size_t room = buffer_.size() - used_;
    used_ += text.copy(buffer_.data() + used_, std::min(text.size(), room > 0 ? room - 1 : 0));
    return *this;
  }

  // The digits of `value`, in groups of three when there is a separator.
  template <class Integer>
  TextBuilder& AddNumber(Integer value, wchar_t separator = 0) {
    std::array<char, 24> digits;
    const char* end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    for (const char* at = digits.data(); at != end; ++at) {
      const bool groupStarts = at != digits.data() && (end - at) % 3 == 0;
      if (separator != 0 && groupStarts) Add({&separator, 1});
      const wchar_t unit = static_cast<wchar_t>(*at);
      Add({&unit, 1});
    }
    return *this;
  }

  std::wstring_view Finish() {
    if (!buffer_.empty()) buffer_[used_] = 0;
    return {buffer_.data(), used_};
  }

 private:
  std::span<wchar_t> buffer_;
  size_t used_ = 0;
};

// From this value on, sizes are printed in the unit.
struct SizeUnit {
  uint64_t from;
  std::wstring_view name;
  int shift;  // thousandths of the unit: (value >> shift) / 1.024
};
constexpr std::array<SizeUnit, 3> kSizeUnits = {{
    {1'000'000'000'000, L"tb (", 30},
    {1'000'000'000, L"gb (", 20},
    {1'000'000, L"mb (", 10},
}};

const SizeUnit* UnitFor(uint64_t value) {
  const auto unit = std::find_if(kSizeUnits.begin(), kSizeUnits.end(),
                                 [&](const SizeUnit& u) { return value >= u.from; });
  return unit != kSizeUnits.end() ? &*unit : nullptr;
}

// Conversions whose text is the same all day, and the clock's three.
constexpr std::wstring_view kDateLetters = L"aAbBCdDeFgGhjmuUVwWyYnt%";
struct ClockField {
  wchar_t letter;
  int std::tm::*field;
};
constexpr std::array<ClockField, 3> kClockFields = {
    {{L'H', &std::tm::tm_hour}, {L'M', &std::tm::tm_min}, {L'S', &std::tm::tm_sec}}};

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

// The clock conversions that a shorthand means; empty when `letter` is none.
std::wstring_view ClockShorthand(wchar_t letter) {
  const std::string_view localeTime = nl_langinfo(T_FMT);
  const bool plainTime = localeTime == "%H:%M:%S" || localeTime == "%T";
  if (letter == L'T' || (letter == L'X' && plainTime)) return L"%H:%M:%S";
  return letter == L'R' ? L"%H:%M" : L"";
}

constexpr const wchar_t* kDefaultTimeFormat = L"%x %X";
constexpr std::wstring_view kRawSeconds = L"%n";

bool ToLocalTime(uint64_t seconds, std::tm& local) {
  const auto time = static_cast<std::time_t>(seconds);
  return localtime_r(&time, &local) != nullptr;
}

std::wstring_view InvalidTime(std::span<wchar_t> buffer) {
  return TextBuilder(buffer).Add(L"<invalid>").Finish();
}

// The buffer is cleared first, so that a text which does not fit ends where the C library, which
// writes a conversion whole or not at all, stopped.
std::wstring_view TimeToText(const std::tm& local, const wchar_t* format,
                             std::span<wchar_t> buffer) {
  std::fill(buffer.begin(), buffer.end(), L'\0');
  size_t length = std::wcsftime(buffer.data(), buffer.size(), format, &local);
  if (length == 0) length = wcsnlen(buffer.data(), buffer.size());
  return {buffer.data(), length};
}

}  // namespace

std::wstring_view ValueStr(uint64_t value, ValueText& buffer, wchar_t separator) {
  return TextBuilder(buffer).AddNumber(static_cast<int64_t>(value), separator).Finish();
}

std::wstring_view EditValue(uint64_t value, ValueText& buffer) {
  TextBuilder text(buffer);
  const SizeUnit* unit = UnitFor(value);
  if (unit != nullptr) {
    // The shift drops what is below a whole kilobyte first, and a figure below 1,000 gets no point:
    // 1,000,000 bytes print as "953mb". Kept so.
    const double figure = static_cast<double>(value >> unit->shift) / 1.024;
    text.AddNumber(static_cast<uint64_t>(figure), L'.').Add(unit->name);
  }
  text.AddNumber(static_cast<int64_t>(value), L',');
  return text.Add(unit != nullptr ? L")" : L" bytes").Finish();
}

std::wstring_view FormatFileTime(uint64_t seconds, const wchar_t* format,
                                 std::span<wchar_t> buffer) {
  if (format == nullptr) format = kDefaultTimeFormat;
  if (format == kRawSeconds) return TextBuilder(buffer).AddNumber(seconds).Finish();
  tzset();
  std::tm local;
  return ToLocalTime(seconds, local) ? TimeToText(local, format, buffer) : InvalidTime(buffer);
}

FileTimeFormatter::FileTimeFormatter(const std::optional<std::wstring>& format)
    : format_(format.value_or(kDefaultTimeFormat)), rawSeconds_(format_ == kRawSeconds) {
  tzset();
  pieces_.push_back({});
  if (!rawSeconds_ && Split(format_) && pieces_.size() <= kMostClocks) {
    days_ = HugeArray<Day>(kDays);  // half a megabyte, of which a short report touches little
    days_.Resize(kDays);
  }
}

// Takes the format apart into pieces_. False when a part of it can not be told to be one of the day
// or one of the clock.
bool FileTimeFormatter::Split(std::wstring_view format) {
  for (size_t at = 0; at < format.size(); ++at) {
    std::wstring& dateFormat = pieces_.back().dateFormat;
    dateFormat.push_back(format[at]);
    if (format[at] != L'%') continue;
    if (++at == format.size()) return false;
    const wchar_t letter = format[at];
    const auto clock = std::find_if(kClockFields.begin(), kClockFields.end(),
                                    [&](const ClockField& c) { return c.letter == letter; });
    if (clock != kClockFields.end()) {
      dateFormat.pop_back();
      pieces_.back().clock = clock->field;
      pieces_.push_back({});
    } else if (const auto shorthand = ClockShorthand(letter); !shorthand.empty()) {
      dateFormat.pop_back();
      Split(shorthand);
    } else if (kDateLetters.find(letter) != std::wstring_view::npos ||
               (letter == L'x' && LocaleDateIsPlain())) {
      dateFormat.push_back(letter);
    } else {
      return false;
    }
  }
  return true;
}

// Writes the day's text with gaps for the clock. False when it does not fit.
bool FileTimeFormatter::Fill(Day& day, const std::tm& local) const {
  size_t used = 0;
  size_t clocks = 0;
  for (const Piece& piece : pieces_) {
    if (!piece.dateFormat.empty()) {
      const size_t length = std::wcsftime(day.text.data() + used, day.text.size() - used,
                                          piece.dateFormat.c_str(), &local);
      if (length == 0) return false;
      used += length;
    }
    if (piece.clock == nullptr) continue;
    if (used + 2 >= day.text.size()) return false;
    day.clockAt[clocks++] = static_cast<uint8_t>(used);
    used += 2;
  }
  day.text[used] = 0;
  day.length = used;
  return true;
}

std::wstring_view FileTimeFormatter::Format(uint64_t seconds) {
  if (rawSeconds_) return TextBuilder(plain_).AddNumber(seconds).Finish();
  std::tm local;
  if (!ToLocalTime(seconds, local)) return InvalidTime(plain_);
  if (days_.size() == 0) return TimeToText(local, format_.c_str(), plain_);

  const int64_t number = int64_t{local.tm_year} * 366 + local.tm_yday;
  const int64_t key = 2 * number + 1;
  Day& day = days_[static_cast<uint64_t>(number) % kDays];
  if (day.key != key) {
    day.key = Fill(day, local) ? key : 0;
    if (day.key == 0) return TimeToText(local, format_.c_str(), plain_);
  }
  for (size_t i = 0; i + 1 < pieces_.size(); ++i) {
    const int value = local.*pieces_[i].clock;
    day.text[day.clockAt[i]] = static_cast<wchar_t>(L'0' + value / 10);
    day.text[day.clockAt[i] + 1u] = static_cast<wchar_t>(L'0' + value % 10);
  }
  return {day.text.data(), day.length};
}

}  // namespace tabulon
