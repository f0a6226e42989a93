#include "tools/mkdtl/content.h"

#include <algorithm>
#include <bit>

namespace tabulon {
namespace {

// With 56 files in a thousand copied twice on average, 3 * 56 of every 1000 + 2 * 56 files share
// their content: 15 %.
constexpr uint32_t kCopiedPerMille = 56;
constexpr uint32_t kMostCopies = 9;
constexpr size_t kWidestSpread = 4096;

constexpr uint32_t kDay = 86400;
constexpr uint32_t kEmptyPerMille = 15;

// Log-normal: median 8 KiB, each standard deviation a factor of 12. The logarithm is a fixed-point
// number with 16 bits after the point; between two powers of two the size grows in a straight
// line, which needs no floating point.
uint64_t DrawSize(Random& random) {
  constexpr int64_t kMedianLog2 = 13 << 16;
  constexpr int64_t kDeviationTenths = 36;
  if (random.PerMille(kEmptyPerMille)) return 0;
  const int64_t log2 = std::max<int64_t>(kMedianLog2 + random.Normal() * kDeviationTenths / 10, 0);
  const uint64_t whole = uint64_t{1} << (log2 >> 16);
  return whole + ((whole * static_cast<uint64_t>(log2 & 0xFFFF)) >> 16);
}

// 1, 2, 3 ... copies with falling frequency; two on average.
uint32_t DrawCopies(Random& random) {
  return std::min(1 + static_cast<uint32_t>(std::countr_zero(random.Next())), kMostCopies);
}

}  // namespace

ContentMaker::ContentMaker(const NameMaker& names, uint32_t records)
    : names_(names), spread_(std::min<size_t>(records / 64, kWidestSpread)) {}

void ContentMaker::StartDirectory(Random& random) {
  directoryTime_ = random.Between(kSynthOldest, kSynthScanTime - kDay);
}

FileContent ContentMaker::Draw(Random& random, uint32_t remaining) {
  // Copies are spread over the scan, and none is left over at its end.
  const bool copy = !pending_.empty() && (pending_.size() > spread_ || pendingCopies_ >= remaining);
  if (copy) return DrawCopy(random);
  const FileContent content = DrawFresh(random);
  if (random.PerMille(kCopiedPerMille)) {
    pending_.push_back({content, DrawCopies(random)});
    pendingCopies_ += pending_.back().copies;
  }
  return content;
}

FileContent ContentMaker::DrawFresh(Random& random) const {
  const uint32_t modified = random.PerMille(500) ? random.Between(kSynthOldest, kSynthScanTime - 1)
                                                 : directoryTime_ + random.Below(kDay);
  return {names_.DrawExtension(random), modified, DrawSize(random)};
}

FileContent ContentMaker::DrawCopy(Random& random) {
  Pending& original = pending_[random.Below(static_cast<uint32_t>(pending_.size()))];
  const FileContent content = original.content;
  --pendingCopies_;
  if (--original.copies == 0) {
    original = pending_.back();
    pending_.pop_back();
  }
  return content;
}

}  // namespace tabulon
