#include "reports/positions.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "base/loganderr.h"

namespace tabulon {
namespace {

constexpr const char* kFileName = "tabulon.tmp";

}  // namespace

void CreatePositionFile(SpoolFile& positions) {
  if (positions.Create(kFileName)) return;
  const int errnum = errno;
  LogEntry(L"Cannot open tmp file %s\n", positions.path());
  ReportWriteError(positions.path(), errnum);
}

void PositionStore::Create(bool staysOpen) {
  SpoolFile spool;
  CreatePositionFile(spool);
  if (staysOpen) spool.StayOpen();
  if (spool.IsOpen()) streams_.emplace_back().spool = std::move(spool);
}

void PositionStore::CreateAsPartOf(const PositionStore& whole, bool staysOpen) {
  if (whole.streams_.empty()) return;
  SpoolFile& spool = streams_.emplace_back().spool;
  spool.CreateWhenNeeded(kFileName);
  if (staysOpen) spool.StayOpen();
}

void PositionStore::Merge(PositionStore& part) {
  std::ranges::move(part.streams_, std::back_inserter(streams_));
  part.streams_.clear();
}

void PositionStore::Rewind() {
  for (Stream& stream : streams_) {
    stream.spool.Rewind();
    stream.more = stream.spool.Read(&stream.next, sizeof stream.next);
  }
  ChooseStream();
}

// Threads take long stretches of the file in turns, so the stream with the first record is good for
// many: until the first one of the other streams.
void PositionStore::ChooseStream() {
  current_ = nullptr;
  limit_ = UINT64_MAX;
  for (Stream& stream : streams_) {
    if (!stream.more) continue;
    if (current_ == nullptr || stream.next.record < current_->next.record) {
      if (current_ != nullptr) limit_ = std::min(limit_, current_->next.record);
      current_ = &stream;
    } else {
      limit_ = std::min(limit_, stream.next.record);
    }
  }
}

}  // namespace tabulon
