#include "detail/recordbatch.h"

#include <algorithm>
#include <utility>

namespace tabulon {

// For the names that the quick look cannot decide: long ones, and those that are not ASCII.
void RecordBatch::NoteName(size_t i, std::string_view stored) {
  if (others_ == otherNames_.size()) otherNames_.emplace_back();
  RecordText& name = otherNames_[others_];
  name.Assign(stored);
  const std::string_view ascii = name.IsAscii() ? name.Ascii() : std::string_view();
  names_.other[i] = name.IsAscii() ? 0 : ++others_;
  names_.tail[i] = TailWord(ascii);
  names_.length[i] = static_cast<uint16_t>(ascii.size());
}

// The quick look, without a branch on the name's length. It reads a word before the name, which is
// in the fixed part, and kReadable bytes from the name's start, which ReadAhead has made sure of.
inline void RecordBatch::LookAtName(size_t i, const RecordFields& fields) {
  static_assert(std::min(kNfsRecord.fixedSize, kCifsRecord.fixedSize) >= kWordBytes);
  const std::string_view stored = {
      reinterpret_cast<const char*>(fields.bytes()) + fields.layout().fixedSize,
      fields.nameLength()};
  const size_t plain = PlainLengthInPlace(stored);
  if (plain == SIZE_MAX) {
    NoteName(i, stored);
    return;
  }
  names_.other[i] = 0;
  names_.tail[i] = TailInPlace(stored.data(), plain);
  names_.length[i] = static_cast<uint16_t>(plain);
}

void RecordBatch::Begin(const StreamPlace& place) {
  size_ = 0;
  firstNumber_ = place.number;
  directoryBefore_.AssignCopy(place.directory);
  directoryBeforePosition_ = place.directoryPosition;
}

bool RecordBatch::Fill(RecordReader& reader, uint64_t& position, size_t most, uint64_t stop) {
  if (const size_t last = LastDirectory(); last != kNone) {
    directoryBefore_.AssignCopy(NameOf(last));
    directoryBeforePosition_ = PositionOf(last);
  }
  firstNumber_ += size_;
  directoriesKnown_ = false;
  sought_ = 0;
  inside_ = kUnknown;
  at_ = found_ = kNone;
  position_ = position;
  others_ = 0;
  namesKnown_ = std::exchange(namesWanted_, false);
  const auto note = [this](size_t i, const RecordFields& fields) { fixed_[i] = fields.bytes(); };
  if (namesKnown_) {
    size_ = reader.ReadAhead(position, stop, most, [&](size_t i, const RecordFields& fields) {
      note(i, fields);
      LookAtName(i, fields);
    });
  } else {
    size_ = reader.ReadAhead(position, stop, most, note);
  }
  if (size_ == 0) return FillWhole(reader, position);
  record_.view.ClearExtension();
  return true;
}

// A batch of one record, which has streams or is not whole in the window. Such records are rare, so
// they need no fast way.
bool RecordBatch::FillWhole(RecordReader& reader, uint64_t& position) {
  namesKnown_ = false;
  if (!reader.Read(position, record_.view)) return false;
  position = record_.view.next;
  size_ = 1;
  fixed_[0] = record_.fields().bytes();
  if (record_.view.hasTarget) record_.target.Assign(record_.view.target);
  return true;
}

// The number of the batch's last directory.
size_t RecordBatch::LastDirectory() const {
  for (size_t i = size_; i > 0; --i) {
    if (fields(i - 1).isDirectory()) return i - 1;
  }
  return kNone;
}

void RecordBatch::NoteDirectories() {
  directoriesKnown_ = true;
  uint16_t directory = kNone;
  for (size_t i = 0; i < size_; ++i) {
    directory = fields(i).isDirectory() ? static_cast<uint16_t>(i) : directory;
    directoryOf_[i] = directory;
  }
}

// The stored name. A record that was read as a whole may lack some of it.
std::string_view RecordBatch::NameOf(size_t i) const {
  if (record_.view.extended) return record_.view.name;
  return {NameStart(i), fields(i).nameLength()};
}

void RecordBatch::LookAtNames() {
  namesKnown_ = true;
  if (record_.view.extended) {
    NoteName(0, record_.view.name);
    return;
  }
  for (size_t i = 0; i < size_; ++i) LookAtName(i, fields(i));
}

// The number of the directory that is current at record `i`. It is looked for from there back to
// the record asked for before: code that asks for few records needs no more. Code that takes
// neighbours, or begins again, gets all directories.
uint16_t RecordBatch::SeekDirectory(size_t i) {
  if (i + 1 == sought_) return found_;
  if (sought_ > 0 && i <= sought_) {
    NoteDirectories();
    return directoryOf_[i];
  }
  size_t at = i + 1;
  while (at > sought_ && !fields(at - 1).isDirectory()) --at;
  if (at > sought_) found_ = static_cast<uint16_t>(at - 1);
  sought_ = i + 1;
  return found_;
}

uint16_t RecordBatch::DirectoryOf(size_t i) {
  return directoriesKnown_ ? directoryOf_[i] : SeekDirectory(i);
}

uint64_t RecordBatch::DirectoryHead(size_t i) {
  const uint16_t directory = DirectoryOf(i);
  const std::string_view path = directory == kNone ? directoryBefore_.Stored() : NameOf(directory);
  if (path.size() < kWordBytes) return 0;
  const uint64_t head = LoadU64(path.data());
  return MarksOfUnplain(head) == 0 ? head : 0;
}

void RecordBatch::Assemble(size_t i) {
  at_ = i;
  if (!record_.view.extended) {
    record_.view.fields = fields(i);
    record_.view.name = NameOf(i);
    record_.view.position = PositionOf(i);
    record_.view.hasTarget = (record_.fields().flags() & kRecordHasTarget) != 0;
    if (record_.view.hasTarget) {
      const char* const target = record_.view.name.data() + record_.view.name.size();
      record_.view.target = {target, record_.fields().targetLength()};
      record_.target.Assign(record_.view.target);
    }
  }
  record_.name.Assign(record_.view.name);
  if (namesKnown_ && names_.other[i] == 0) record_.name.SetAscii(AsciiName(i), names_.tail[i]);
  if (const uint16_t directory = DirectoryOf(i); directory != inside_) Enter(directory);
}

void RecordBatch::Enter(uint16_t directory) {
  inside_ = directory;
  if (directory == kNone) {
    record_.directory = &directoryBefore_;
    record_.directoryPosition = directoryBeforePosition_;
    return;
  }
  directory_.Assign(NameOf(directory));
  if (namesKnown_ && names_.other[directory] == 0) {
    directory_.SetAscii(AsciiName(directory), names_.tail[directory]);
  }
  record_.directory = &directory_;
  record_.directoryPosition = PositionOf(directory);
}

}  // namespace tabulon
