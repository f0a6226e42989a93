// Completes the module of value formatting.
#include "reports/rest.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "base/format.h"
#include "detail/attributes.h"

namespace tabulon {
namespace {

// From this value on, sizes are printed in the unit.
struct MetricUnit {
  uint64_t from;
  std::wstring_view name;
  uint64_t divisor;  // for thousandths of the unit
  wchar_t point;     // a comma for gigabytes. Kept so.
};
constexpr std::array<MetricUnit, 3> kMetricUnits = {{
    {1'000'000'000'000, L"tb", 1'000'000'000, L'.'},
    {1'000'000'000, L"gb", 1'000'000, L','},
    {1'000'000, L"mb", 1'000, L'.'},
}};

// Letters of the two permission forms.
constexpr std::array<BitLetter, 3> kSimplePerms = {{{0x1, L'r'}, {0x2, L'w'}, {0x20, L'x'}}};
constexpr std::array<BitLetter, 6> kStandardPerms = {
    {{0x80000, L'o'}, {0x40000, L'p'}, {0x10000, L'd'}, {0x1, L'r'}, {0x2, L'w'}, {0x20, L'x'}}};
constexpr int kSimpleForm = 1;
constexpr int kStandardForm = 2;

// One letter for each table row whose bit is set, '-' for the others.
std::wstring_view BitLetters(std::span<const BitLetter> table, uint32_t bits, ValueText& buffer) {
  size_t used = 0;
  for (const BitLetter& row : table) buffer[used++] = (bits & row.bit) != 0 ? row.letter : L'-';
  buffer[used] = 0;
  return {buffer.data(), used};
}

std::wstring_view CopyTo(ValueText& buffer, const std::wstring& text) {
  const size_t length = text.copy(buffer.data(), buffer.size() - 1);
  buffer[length] = 0;
  return {buffer.data(), length};
}

}  // namespace

std::wstring_view EditValueMetric(uint64_t value, ValueText& buffer) {
  const auto* const unit =
      std::ranges::find_if(kMetricUnits, [&](const MetricUnit& row) { return value >= row.from; });
  if (unit == kMetricUnits.end()) return EditValue(value, buffer);
  ValueText whole;
  const uint64_t figure = (value + unit->divisor - 1) / unit->divisor;
  return CopyTo(buffer, Formatted(L"%ls%ls (%ls)", ValueStr(figure, buffer, unit->point),
                                  unit->name, ValueStr(value, whole, L',')));
}

std::wstring_view FormatPerms(uint32_t mask, int aclPerms, ValueText& buffer) {
  if (aclPerms == kSimpleForm) return BitLetters(kSimplePerms, mask, buffer);
  if (aclPerms == kStandardForm) return BitLetters(kStandardPerms, mask, buffer);
  return CopyTo(buffer, Formatted(L"0x%08X", mask));
}

}  // namespace tabulon
