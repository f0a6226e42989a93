#include "config/bandparameters.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "base/loganderr.h"
#include "base/numericstring.h"
#include "config/keywords.h"
#include "detail/bands.h"
#include "query/datevalue.h"

namespace tabulon {
namespace {

constexpr std::wstring_view kDateBandsSuffix = L"datebands";
constexpr uint64_t kCatchAllSize = std::numeric_limits<int64_t>::max();

constexpr Choice<BandTable*> kDateTables[] = {
    {L"c", &cdateBands}, {L"m", &mdateBands}, {L"a", &adateBands}};

bool Increases(const std::vector<uint64_t>& limits, uint64_t next) {
  return limits.empty() || limits.back() < next;
}

}  // namespace

void GetFilesizeBands(std::wstring_view key, std::wstring_view value) {
  std::vector<uint64_t> limits;
  ForEachItem(value, [&](std::wstring_view item) {
    const int64_t size = NumericString(item, true);
    if (size == -1) ErrExit(L"Invalid '%ls' band value: %ls\n", key, item);
    const auto limit = static_cast<uint64_t>(size);
    if (!Increases(limits, limit)) {
      ErrExit(L"Size band values must be strictly increasing: %ls=%ls\n", key, value);
    }
    limits.push_back(limit);
  });
  // Beside a larger limit the last band stays empty.
  limits.push_back(std::max(limits.back(), kCatchAllSize));
  sizeBands.SetLimits(std::move(limits));
}

bool IsDateBandKey(std::wstring_view key) {
  return !key.empty() && EqualIgnoringCase(key.substr(1), kDateBandsSuffix);
}

void GetDateBands(std::wstring_view key, std::wstring_view value, const Scan& scan) {
  BandTable* const table = Choose(kDateTables, key.substr(0, 1),
                                  L"Invalid date band specification: %ls=%ls\n", key, value);
  std::vector<uint64_t> limits;
  ForEachItem(value, [&](std::wstring_view item) {
    int64_t seconds = 0;
    if (!ConvertDateValue(item, scan, seconds)) ErrExit(L"Invalid date band value: %ls\n", item);
    const auto limit = static_cast<uint64_t>(seconds);
    if (!Increases(limits, limit)) {
      ErrExit(L"Date band values must be strictly increasing: %ls=%ls\n", key, value);
    }
    limits.push_back(limit);
  });
  table->SetLimits(std::move(limits));
}

}  // namespace tabulon
