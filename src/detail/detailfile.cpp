#include "detail/detailfile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "detail/filecompress.h"
#include "detail/filereplace.h"

namespace tabulon {
namespace {

bool Exists(const std::string& path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0;  // a link counts, wherever it leads
}

FileState StateOf(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 ? FileState::Of(info) : FileState{};
}

// The name beside `name` for its inflated copy. No file but this run's own copy may have it.
std::string FreeTempName(const std::string& name, const TempFile& own) {
  std::string temporary = name + "-" + std::to_string(std::time(nullptr)) + ".tmp";
  if (temporary != own.path() && Exists(temporary)) {
    PosixErrExit(EEXIST, L"Error. Could not write temp file for decompressing '%s'\n", name);
  }
  return temporary;
}

bool IsCompressed(int fd) {
  unsigned char first[sizeof kZlibMark];
  return ReadFullyAt(fd, first, sizeof first, 0) == sizeof first &&
         std::memcmp(first, kZlibMark, sizeof first) == 0;
}

// Whether it is a file that no running process holds; runs hold their copies.
bool IsLeftover(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat info {};
  return file.valid() && fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode) &&
         flock(file.get(), LOCK_SH | LOCK_NB) == 0;
}

// Whether `entry` is "<base>-<digits>.tmp".
bool IsCopyName(std::string_view entry, std::string_view base) {
  constexpr std::string_view kEnd = ".tmp";
  if (!entry.starts_with(base) || !entry.ends_with(kEnd)) return false;
  entry.remove_prefix(base.size());
  if (entry.size() < kEnd.size() + 2 || entry.front() != '-') return false;
  const std::string_view digits = entry.substr(1, entry.size() - kEnd.size() - 1);
  return std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
}

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// Tells of the copies beside `name` that killed runs have left.
void TellLeftovers(const std::string& name) {
  const size_t base = name.rfind('/') + 1;  // 0 without a separator
  const std::string directory = name.substr(0, base);
  const std::unique_ptr<DIR, CloseDirectory> entries(
      opendir(directory.empty() ? "." : directory.c_str()));
  if (!entries) return;
  while (const dirent* entry = readdir(entries.get())) {
    if (!IsCopyName(entry->d_name, std::string_view(name).substr(base))) continue;
    const std::string path = directory + entry->d_name;
    if (!IsLeftover(path)) continue;
    ErrorEntry(L"'%s' was left by a run that was killed; '%s' is whole without it: delete it\n",
               path, name);
  }
}

// Inflates the open file into its copy.
void InflateBeside(DetailFile& detail) {
  const std::string temporary = FreeTempName(detail.name, detail.copy);
  TellLeftovers(detail.name);
  ConsoleEntry(Console(), L"Decompressing DTL file\n");
  detail.copy = TempFile::CreateExclusive(temporary);
  if (!detail.copy.valid()) ConsoleEntry(Console(), L"Failed opening output file!\n");
  const bool made = detail.copy.valid();
  if (made) flock(detail.copy.fd(), LOCK_EX | LOCK_NB);
  const Inflated result =
      made ? InflateStream(detail.file.get(), detail.copy.fd()) : Inflated{Inflated::kTargetFailed};
  if (result.outcome == Inflated::kTargetFailed) {
    PosixErrExit(0, L"Error occurred during decompression of '%s'\nCould not write temp file: %s\n",
                 detail.name, temporary);
  }
  if (result.outcome == Inflated::kSourceFailed) {
    detail.whole = false;
    FaultEntry(L"'%s' is damaged; what could be decompressed of it is used for this run\n",
               detail.name);
  } else if (result.bytesAfter > 0) {
    ErrorEntry(L"'%s' holds %llu bytes after the end of its compressed stream\n", detail.name,
               result.bytesAfter);
  }
  if (StateOf(detail.file.get()) != detail.opened) {
    detail.whole = false;
    FaultEntry(L"'%s' was changed while it was read\n", detail.name);
  }
}

// The file that `name` leads to: the last one of a chain of symbolic links.
std::string Resolved(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> path(realpath(name.c_str(), nullptr),
                                                         std::free);
  return path ? path.get() : name;
}

}  // namespace

UniqueFd DetailFile::Plain() const {
  // Read by position from there on, so that the two descriptors do not disturb each other.
  UniqueFd plain(fcntl(wasCompressed() ? copy.fd() : file.get(), F_DUPFD_CLOEXEC, 0));
  if (!plain.valid()) PosixErrExit(0, L"Unable to open scan detail file '%s'\n", name);
  lseek(plain.get(), 0, SEEK_SET);
  return plain;
}

DetailFile OpenDtlFile(const char* name, const char* mode) {
  if (access(name, F_OK) != 0) PosixErrExit(0, L"Couldn't find DTL file: '%s'\n", name);
  DetailFile detail;
  detail.name = name;
  const int access = std::strchr(mode, '+') != nullptr ? O_RDWR : O_RDONLY;
  // Opened so that a pipe, which is no scan, is not waited for.
  detail.file = UniqueFd(open(name, access | O_NONBLOCK | O_CLOEXEC));
  if (!detail.file.valid()) PosixErrExit(0, L"Unable to open scan detail file '%s'\n", name);
  struct stat info {};
  if (fstat(detail.file.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
    ErrExit(L"'%s' is not a valid Trawlix detail log file\n", name);
  }
  while (flock(detail.file.get(), LOCK_SH) != 0 && errno == EINTR) continue;
  detail.opened = StateOf(detail.file.get());
  if (IsCompressed(detail.file.get())) InflateBeside(detail);
  return detail;
}

void CheckUnchanged(const DetailFile& detail) {
  // Of a compressed file the last byte was read when it was inflated.
  if (detail.wasCompressed() || StateOf(detail.file.get()) == detail.opened) return;
  FaultEntry(L"'%s' was changed while it was read\n", detail.name);
}

void CloseDtlFile(DetailFile& detail) {
  CheckUnchanged(detail);
  detail.file.Reset();
  if (!detail.wasCompressed()) return;
  if (access(detail.name.c_str(), F_OK) != 0) {
    PosixErrExit(0, L"Couldn't find DTL file: '%s'\n", detail.name);
  }
  FreeTempName(detail.name, detail.copy);
  // Nothing is compressed here: the file has been so all the time. Users and scripts know the line.
  ConsoleEntry(Console(), L"Compressing DTL file\n");
  detail.copy.Remove();
}

void KeepInflated(DetailFile& detail) {
  CheckUnchanged(detail);
  if (!detail.wasCompressed() || !detail.whole) {
    detail.copy.Remove();
    return;
  }
  if (flock(detail.file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    ErrorEntry(L"'%s' stays compressed: another run reads it\n", detail.name);
    detail.copy.Remove();
    return;
  }
  struct stat like {};
  fstat(detail.file.get(), &like);
  const int error = TakePlace(detail.copy, Resolved(detail.name), detail.opened, like);
  if (error == ESTALE) {
    ErrorEntry(L"'%s' is no longer the file that was read, and stays as it is\n", detail.name);
  } else if (error != 0) {
    ErrorEntry(L"'%s' stays compressed\n  (p%d) %ls\n", detail.name, error, PosixErrMsg(error));
  }
  detail.copy.Remove();
}

}  // namespace tabulon
