#include "reports/dupcandidates.h"

// The library declares its one-shot digest deprecated in favour of a general interface, whose
// set-up costs several times the digest of so short a buffer.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/unitcode.h"
#include "detail/recordreader.h"

namespace tabulon {
namespace {

// Odd constants with evenly spread bits, one for each thing that is mixed in.
constexpr uint64_t kMixSize = 0x9E3779B97F4A7C15;
constexpr uint64_t kMixTime = 0xD6E8FEB86659FD93;
constexpr uint64_t kMixText = 0xA0761D6478BD642F;
constexpr uint64_t kMixEnd = 0xE7037ED1A0B428DB;

// Both halves of the 128-bit product, folded together: every bit of the input affects every bit of
// the result, for one multiplication.
uint64_t Mix(uint64_t a, uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

uint64_t MixBytes(uint64_t hash, std::string_view bytes) {
  const size_t length = bytes.size();
  for (; bytes.size() >= sizeof(uint64_t); bytes.remove_prefix(sizeof(uint64_t))) {
    hash = Mix(hash ^ LoadU64(bytes.data()), kMixText);
  }
  uint64_t rest = 0;
  for (const char byte : bytes) rest = rest << 8 | static_cast<unsigned char>(byte);
  return Mix(hash ^ rest, kMixEnd + length);
}

uint64_t LoadBigEndian(const unsigned char* bytes) {
  return __builtin_bswap64(LoadU64(bytes));
}

// With eight marks (two bytes) for each file, about one file in eight gets a mark that another file
// has by chance, and is read again for nothing.
constexpr uint64_t kMarksPerFile = 8;
constexpr uint64_t kFewestMarks = uint64_t{1} << 16;
constexpr uint64_t kMostMarks = uint64_t{1} << 30;  // 256 MiB of marks

// Entries read back at a time.
constexpr size_t kEntriesAtOnce = 64 * 1024;
// How far ahead the marks of entries are fetched.
constexpr size_t kLookAhead = 16;

// Files that the scan can hold at most, whatever its totals say.
uint64_t ExpectedFiles(const Scan& scan) {
  const uint64_t size = FileWindow(scan.dtlFile.get()).fileSize();
  return std::min<uint64_t>(uint64_t{scan.logRoot.files} + scan.logRoot.directories,
                            size / scan.layout().fixedSize);
}

}  // namespace

uint64_t DupKey::Fingerprint(const RecordFields& record, const RecordText& name) {
  uint64_t hash = kMixTime;
  if ((fields_ & kDupMdate) != 0) hash ^= record.modified();
  if ((fields_ & kDupCdate) != 0) hash ^= uint64_t{record.created()} << 32;
  hash = Mix(record.size() ^ kMixSize, hash);
  if ((fields_ & kDupName) != 0) hash = MixText(hash, name, 0);
  if ((fields_ & kDupExtension) != 0 && name.LastDot() >= 0) {
    hash = MixText(hash, name, static_cast<size_t>(name.LastDot()));
  }
  return hash;
}

uint64_t DupKey::MixText(uint64_t hash, const RecordText& name, size_t from) {
  if (name.IsAscii()) return MixBytes(hash, name.Ascii().substr(from));
  // An ASCII extension gets the same hash whether the rest of the name is ASCII or not.
  const std::wstring_view text = name.Wide().substr(from);
  narrowed_.clear();
  for (const wchar_t unit : text) {
    if (!IsAsciiUnit(unit)) hash = Mix(hash ^ static_cast<uint32_t>(unit), kMixText);
    narrowed_.push_back(static_cast<char>(unit));
  }
  return MixBytes(hash, narrowed_);
}

Digest DupKey::Md5(const RecordFields& record, const RecordText& name) {
  buffer_.clear();
  const auto append = [this](uint64_t value) {
    const size_t at = buffer_.size();
    buffer_.resize(at + sizeof value);
    std::memcpy(buffer_.data() + at, &value, sizeof value);
  };
  append(record.size());
  if ((fields_ & kDupMdate) != 0) append(record.modified());
  if ((fields_ & kDupCdate) != 0) append(record.created());
  if ((fields_ & kDupName) != 0) AppendText(name, 0);
  if ((fields_ & kDupExtension) != 0 && name.LastDot() >= 0) {
    AppendText(name, static_cast<size_t>(name.LastDot()));
  }
  unsigned char digest[MD5_DIGEST_LENGTH];
  MD5(buffer_.data(), buffer_.size(), digest);
  return {LoadBigEndian(digest), LoadBigEndian(digest + sizeof(uint64_t))};
}

void DupKey::AppendText(const RecordText& name, size_t from) {
  name.Visit([&](auto text) {
    text.remove_prefix(from);
    const size_t at = buffer_.size();
    buffer_.resize(at + text.size() * sizeof(uint32_t));
    unsigned char* out = buffer_.data() + at;
    for (const auto unit : text) {
      const auto wide = static_cast<uint32_t>(unit);
      std::memcpy(out, &wide, sizeof wide);
      out += sizeof wide;
    }
  });
}

SeenTable::SeenTable(uint64_t files) {
  const uint64_t marks = std::bit_ceil(std::clamp(files * kMarksPerFile, kFewestMarks, kMostMarks));
  words_ = HugeArray<uint64_t>(marks / kPerWord);
  words_.Resize(marks / kPerWord);
  shift_ = static_cast<uint32_t>(64 - std::countr_zero(marks));
  std::fill(std::begin(waiting_), std::end(waiting_), kNone);
}

void SeenTable::Finish() {
  for (uint32_t& slot : waiting_) Mark(std::exchange(slot, kNone));
}

void SeenTable::Merge(SeenTable& other) {
  constexpr uint64_t kAllOnce = 0x5555555555555555;
  Finish();
  other.Finish();
  for (size_t i = 0; i < words_.size(); ++i) {
    const uint64_t mine = words_[i];
    const uint64_t theirs = other.words_[i];
    words_[i] = mine | theirs | (mine & theirs & kAllOnce) << 1;  // once here and once there
  }
}

DupCandidates::DupCandidates(const Scan& scan, uint32_t fields, const DupLimits& limits,
                             bool everyFile)
    : scan_(scan),
      runLimit_(limits.runFiles),
      everyFile_(everyFile),
      key_(fields),
      seen_(ExpectedFiles(scan)),
      entries_(limits.gathered) {}

void DupCandidates::Push(uint64_t position, uint32_t slot) {
  if (entries_.full()) Spill();
  entries_.Push({static_cast<uint32_t>(position), static_cast<uint32_t>(position >> 32), slot});
}

bool DupCandidates::Gather(const ScanRecord& record) {
  if (record.directoryPosition != directory_) {
    directory_ = record.directoryPosition;
    Push(directory_, kDirectory);
  }
  const uint32_t slot = seen_.Slot(key_.Fingerprint(record.fields(), record.name));
  seen_.See(slot);
  Push(record.view.position, slot);
  const uint64_t before = files_++;
  return before > 0 && before % runLimit_ == 0;
}

void DupCandidates::Spill() {
  if (!spill_.valid()) spill_ = TempFile::Create("dups.tmp");
  if (!spill_.valid()) ErrExit(L"Unable to create duplicate tree temp file\n");
  if (!WriteFully(spill_.fd(), entries_.begin(), entries_.size() * sizeof(Entry))) {
    PosixErrExit(0, L"Error writing '%s'\n", spill_.path());
  }
  spilled_ += entries_.size();
  entries_.Clear();
}

// Reads the entries in the order in which they were gathered, in blocks, and gives back their
// memory.
template <class Use>
void DupCandidates::TakeEntries(Use use) {
  std::vector<Entry> block(std::min<uint64_t>(spilled_, kEntriesAtOnce));
  for (uint64_t done = 0; done < spilled_; done += block.size()) {
    block.resize(std::min<uint64_t>(spilled_ - done, kEntriesAtOnce));
    const size_t bytes = block.size() * sizeof(Entry);
    if (!ReadExactlyAt(spill_.fd(), block.data(), bytes,
                       static_cast<off_t>(done * sizeof(Entry)))) {
      PosixErrExit(0, L"Error reading '%s'\n", spill_.path());
    }
    use(block.data(), block.size());
  }
  use(entries_.begin(), entries_.size());
  spill_.Remove();
  entries_.Release();
}

void DupCandidates::Merge(DupCandidates& later) {
  seen_.Merge(later.seen_);
  later.TakeEntries([this](const Entry* entries, size_t count) {
    for (size_t i = 0; i < count; ++i) Push(entries[i].position(), entries[i].slot);
  });
  later.seen_.Release();
  files_ += later.files_;
  if (later.files_ > 0) directory_ = later.directory_;
}

// Turns entries back into candidates, in file order. Some entries are kept waiting before they are
// read: the processor fetches their records meanwhile.
class DupCandidates::Reader {
 public:
  Reader(DupCandidates& owner, const std::function<void(const Candidate&)>& take)
      : owner_(owner), take_(take), records_(owner.scan_) {}

  void Read(const Entry* entries, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      if (i + kLookAhead < count && entries[i + kLookAhead].slot != kDirectory) {
        owner_.seen_.Prefetch(entries[i + kLookAhead].slot);
      }
      Choose(entries[i]);
    }
  }
  // Reads those that are still waiting.
  void Finish() {
    while (taken_ < chosen_) Take(waiting_[taken_++ % kLookAhead]);
  }

 private:
  // A file that its fingerprint makes a candidate.
  struct Chosen {
    uint64_t position;
    uint64_t directory;
    uint32_t run;
  };

  void Choose(const Entry& entry) {
    if (entry.slot == kDirectory) {
      directory_ = entry.position();
      return;
    }
    const auto run = static_cast<uint32_t>(files_++ / owner_.runLimit_);
    if (!owner_.everyFile_ && !owner_.seen_.SeenAgain(entry.slot)) return;
    if (chosen_ - taken_ == kLookAhead) Take(waiting_[taken_++ % kLookAhead]);
    waiting_[chosen_++ % kLookAhead] = {entry.position(), directory_, run};
    records_.Prefetch(entry.position());
  }

  void Take(const Chosen& from) {
    if (from.directory != lengthOf_) {
      const bool known = records_.Read(from.directory, view_);
      directoryLength_ = known ? static_cast<uint32_t>(view_.name.size()) : 0;
      lengthOf_ = from.directory;
    }
    if (!records_.Read(from.position, view_)) return;
    view_.LookAtName(name_);
    take_({.digest = owner_.key_.Md5(view_.fields, name_),
           .run = from.run,
           .textLength = static_cast<uint32_t>(view_.name.size()) + directoryLength_,
           .position = from.position,
           .directory = from.directory,
           .size = view_.fields.size()});
  }

  DupCandidates& owner_;
  const std::function<void(const Candidate&)>& take_;
  RecordReader records_;
  RecordView view_;
  RecordText name_;
  uint64_t files_ = 0;
  uint64_t directory_ = 0;
  uint64_t lengthOf_ = 0;  // the directory whose length is known; 0: files before the first one
  uint32_t directoryLength_ = 0;
  std::array<Chosen, kLookAhead> waiting_;
  size_t chosen_ = 0;
  size_t taken_ = 0;
};

void DupCandidates::ForEach(const std::function<void(const Candidate&)>& take) {
  seen_.Finish();
  Reader reader(*this, take);
  TakeEntries([&](const Entry* entries, size_t count) { reader.Read(entries, count); });
  reader.Finish();
  seen_.Release();
}

}  // namespace tabulon
