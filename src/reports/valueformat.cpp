#include "reports/valueformat.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
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

}  // namespace tabulon
