#include "tools/mkdtl/namelist.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace tabulon {
namespace {

// Entries of a directory that one call of the system gives: 32 KiB are what readdir(3) asks for.
constexpr size_t kReadSize = size_t{64} * 1024;

constexpr int kOffsetShift = 24, kLengthShift = 8;

bool IsDotName(std::string_view name) {
  return name == "." || name == "..";
}

void AddEntries(const char* buffer, size_t size, NameList& names) {
  for (size_t at = 0; at < size;) {
    dirent64 entry;  // its fixed part: the name may be longer than the type's array, or shorter
    std::memcpy(&entry, buffer + at, offsetof(dirent64, d_name));
    const std::string_view name = buffer + at + offsetof(dirent64, d_name);
    if (!IsDotName(name)) names.Add(name, entry.d_type);
    at += entry.d_reclen;
  }
}

}  // namespace

void NameList::Add(std::string_view name, unsigned char type) {
  entries_.push_back(uint64_t{bytes_.size()} << kOffsetShift |
                     uint64_t{name.size()} << kLengthShift | type);
  bytes_ += name;
  bytes_ += '\0';
}

void NameList::Clear() {
  bytes_.clear();
  entries_.clear();
}

void NameList::Sort() {
  const auto text = [this](uint64_t entry) {
    return std::string_view(bytes_.data() + (entry >> kOffsetShift),
                            (entry >> kLengthShift) & 0xFFFF);
  };
  std::sort(entries_.begin(), entries_.end(),
            [&](uint64_t a, uint64_t b) { return text(a) < text(b); });
}

std::string_view NameList::operator[](size_t index) const {
  const uint64_t entry = entries_[index];
  return {bytes_.data() + (entry >> kOffsetShift), (entry >> kLengthShift) & 0xFFFF};
}

unsigned char NameList::Type(size_t index) const {
  return static_cast<unsigned char>(entries_[index] & 0xFF);
}

int ReadNames(int directory, std::vector<char>& buffer, NameList& names) {
  buffer.resize(kReadSize);
  for (;;) {
    const ssize_t got = getdents64(directory, buffer.data(), buffer.size());
    // A directory that is removed while it is read has no more entries.
    if (got <= 0) return got == 0 || errno == ENOENT ? 0 : errno;
    AddEntries(buffer.data(), static_cast<size_t>(got), names);
  }
}

}  // namespace tabulon
