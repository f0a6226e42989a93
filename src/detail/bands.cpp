#include "detail/bands.h"

#include <numeric>
#include <utility>

namespace tabulon {

BandTable sizeBands;
BandTable cdateBands;
BandTable mdateBands;
BandTable adateBands;

void BandTable::SetLimits(std::vector<uint64_t> values) {
  limits = std::move(values);
  hits.assign(limits.size() + 1, 0);
}

uint32_t SizeBandCount(size_t index) {
  return sizeBands.hits[index];
}

uint32_t DateBandCount(const BandTable& bands, size_t index) {
  const auto end = bands.hits.begin() + static_cast<std::ptrdiff_t>(index) + 1;
  return std::accumulate(bands.hits.begin(), end, uint32_t{0});
}

void ResetBands() {
  for (BandTable* bands : {&sizeBands, &cdateBands, &mdateBands, &adateBands}) *bands = {};
}

}  // namespace tabulon
