#include "detail/detailfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

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

// A name beside `name` for the file that takes its place. It must be free.
std::string FreeTempName(const char* name) {
  std::string temporary = std::string(name) + "-" + std::to_string(std::time(nullptr)) + ".tmp";
  if (Exists(temporary)) {
    PosixErrExit(EEXIST, L"Error. Could not write temp file for decompressing '%s'\n", name);
  }
  return temporary;
}

bool IsCompressed(int fd) {
  unsigned char first[sizeof kZlibMark];
  return ReadFullyAt(fd, first, sizeof first, 0) == sizeof first &&
         std::memcmp(first, kZlibMark, sizeof first) == 0;
}

UniqueFd TryOpen(const char* name, const char* mode) {
  return UniqueFd(open(name, (std::strchr(mode, '+') != nullptr ? O_RDWR : O_RDONLY) | O_CLOEXEC));
}

// `file` when it is open, else the end of the run with system error `errnum`.
UniqueFd Checked(UniqueFd file, const char* name, int errnum) {
  if (!file.valid()) PosixErrExit(errnum, L"Unable to open scan detail file '%s'\n", name);
  return file;
}

// Puts the decompressed file in the place of `name`; returns the temporary file, which may go once
// the new file is open.
std::string DecompressInPlace(const char* name) {
  std::string temporary = FreeTempName(name);
  ConsoleEntry(Console(), L"Decompressing DTL file\n");
  const bool whole = decompressFile(name, temporary.c_str()) == 0;
  // What came out of a damaged file is read like a good one, but the file itself is not lost.
  const bool damaged = !whole && errno == EBADMSG;
  if (!whole && !damaged) {
    PosixErrExit(0, L"Error occurred during decompression of '%s'\nCould not write temp file: %s\n",
                 name, temporary);
  }
  if (!(damaged ? ReplaceDamaged(name, temporary) : ReplaceByCopy(name, temporary))) {
    PosixErrExit(0, L"An unknown error occurred during decompression of '%s'\n", name);
  }
  return temporary;
}

// Puts the compressed file in the place of `name`. If that fails the plain file stays.
void CompressInPlace(const char* name) {
  const std::string temporary = FreeTempName(name);
  ConsoleEntry(Console(), L"Compressing DTL file\n");
  if (compressFile(name, temporary.c_str()) != 0) {
    PosixErrExit(0, L"Error occurred during compression of '%s'\nCould not write temp file: %s\n",
                 name, temporary);
  }
  if (!ReplaceByCopy(name, temporary)) {
    PosixErrExit(0, L"An unknown error occurred during compression of '%s'\n", name);
  }
  unlink(temporary.c_str());
}

}  // namespace

UniqueFd OpenDtlFile(const char* name, const char* mode, uint32_t* wasCompressed) {
  if (access(name, F_OK) != 0) PosixErrExit(0, L"Couldn't find DTL file: '%s'\n", name);
  UniqueFd file = Checked(TryOpen(name, mode), name, 0);
  if (!IsCompressed(file.get())) return file;
  *wasCompressed = 1;
  file.Reset();
  const std::string temporary = DecompressInPlace(name);
  file = TryOpen(name, mode);
  const int errnum = errno;
  unlink(temporary.c_str());
  return Checked(std::move(file), name, errnum);
}

void CloseDtlFile(UniqueFd file, const char* name, uint32_t wasCompressed) {
  file.Reset();
  if (wasCompressed == 0) return;
  if (access(name, F_OK) != 0) PosixErrExit(0, L"Couldn't find DTL file: '%s'\n", name);
  CompressInPlace(name);
}

}  // namespace tabulon
