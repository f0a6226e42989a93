#include "detail/bands.h"

#include <functional>
#include <numeric>

namespace tabulon {
namespace {

void AddHits(std::span<uint32_t> to, std::span<const uint32_t> from) {
  std::ranges::transform(to, from, to.begin(), std::plus());
}

}  // namespace

uint32_t SizeBandCount(const BandTable& bands, size_t index) {
  return bands.hits[index];
}

uint32_t DateBandCount(const BandTable& bands, size_t index) {
  const auto end = bands.hits.begin() + static_cast<std::ptrdiff_t>(index) + 1;
  return std::accumulate(bands.hits.begin(), end, uint32_t{0});
}

FileCounts::FileCounts(const DistributionLimits& limits, uint32_t fileIncr)
    : fileIncr_(fileIncr),
      sizeBands_(limits.sizeBands),
      dateBands_({BandTable(limits.cdateBands), BandTable(limits.mdateBands),
                  BandTable(limits.adateBands)}) {}

bool FileCounts::wanted() const {
  return fileIncr_ > 0 || !sizeBands_.empty() ||
         !std::ranges::all_of(dateBands_, &BandTable::empty);
}

// First the batch's files are gathered without a branch: each record is written to the next place,
// and only a file moves the place on. Then each distribution has a short loop of its own over them.
void FileCounts::Add(const RecordBatch& batch) {
  std::array<RecordFields, RecordBatch::kMost> fields;
  size_t count = 0;
  for (size_t i = 0; i < batch.size(); ++i) {
    const RecordFields record = batch.fields(i);
    fields[count] = record;
    count += (record.attributes() & kAttrAnyDirectory) == 0 ? 1 : 0;
  }
  const std::span<const RecordFields> files = std::span(fields).first(count);
  if (fileIncr_ > 0) {
    for (const RecordFields& file : files) allocSize_ += AllocatedSize(file.size(), fileIncr_);
  }
  UpdateSizeBands(files, &RecordFields::size, sizeBands_);
  // Not pointers to members, which would share one loop that calls them.
  const auto created = [](const RecordFields& file) { return file.created(); };
  const auto modified = [](const RecordFields& file) { return file.modified(); };
  const auto accessed = [](const RecordFields& file) { return file.accessed(); };
  UpdateDateBands(files, created, dateBands_[0]);
  UpdateDateBands(files, modified, dateBands_[1]);
  UpdateDateBands(files, accessed, dateBands_[2]);
}

void FileCounts::Merge(const FileCounts& other) {
  allocSize_ += other.allocSize_;
  AddHits(sizeBands_.hits, other.sizeBands_.hits);
  for (size_t i = 0; i < dateBands_.size(); ++i) {
    AddHits(dateBands_[i].hits, other.dateBands_[i].hits);
  }
}

}  // namespace tabulon
