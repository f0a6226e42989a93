#include "base/tempfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string_view>
#include <utility>

namespace tabulon {

std::optional<std::string> tempDir;
std::optional<std::string> tempId;

namespace {

constexpr int kNameTries = 100;

// The parts of a temporary name.
constexpr size_t kPrefixBytes = 5;
constexpr const char* kDefaultPrefix = "file";
constexpr size_t kRandomBytes = 6;
constexpr std::string_view kNameLetters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool IsDirectory(const char* path) {
  struct stat found {};
  return path != nullptr && stat(path, &found) == 0 && S_ISDIR(found.st_mode);
}

// The first of TMPDIR, `tempDir` and the C library's default that is a directory, without trailing
// separators; empty when none is.
std::string TempDirectory() {
  const char* const candidates[] = {secure_getenv("TMPDIR"), tempDir ? tempDir->c_str() : nullptr,
                                    P_tmpdir};
  const auto* const chosen = std::ranges::find_if(candidates, IsDirectory);
  errno = ENOENT;  // for the case that none is
  if (chosen == std::end(candidates)) return {};
  std::string directory = *chosen;
  while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
  return directory;
}

// Appends random letters and digits; false when the system gives no random numbers.
bool AppendRandom(std::string& name) {
  uint64_t random = 0;
  if (getentropy(&random, sizeof random) != 0) return false;
  for (size_t i = 0; i < kRandomBytes; ++i, random /= kNameLetters.size()) {
    name += kNameLetters[random % kNameLetters.size()];
  }
  return true;
}

// The signals by which users, terminals and readers that go away end a run.
constexpr std::array<int, 4> kEndingSignals = {SIGHUP, SIGINT, SIGPIPE, SIGTERM};

// The files that still have to go when the process ends. Never destroyed: owners that outlive the
// exit handler still use it.
std::set<std::string>& LiveFiles() {
  static auto* const files = new std::set<std::string>;
  return *files;
}

void RemoveLiveFiles() {
  for (const std::string& path : LiveFiles()) unlink(path.c_str());
}

// Keeps the ending signals waiting while the set changes, so that their handler finds it whole.
class SignalsWait {
 public:
  SignalsWait() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : kEndingSignals) sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, &before_);
  }
  ~SignalsWait() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;

 private:
  sigset_t before_;
};

// Notes a file that has to go; false when it was noted before.
bool Remember(const std::string& path) {
  LiveFiles();  // there before its exit handler is, which runs even when there is no memory for it
  [[maybe_unused]] static const int atExit = std::atexit([] {
    RemoveLiveFiles();
    LiveFiles().clear();
  });
  const SignalsWait wait;
  return LiveFiles().insert(path).second;
}

void Forget(const std::string& path) {
  const SignalsWait wait;
  LiveFiles().erase(path);
}

// Removes the files and lets the signal do what it does. Async-signal-safe: the set is only read.
void EndBySignal(int signal) {
  RemoveLiveFiles();
  std::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

void RemoveTempFilesOnSignals() {
  LiveFiles();
  for (const int signal : kEndingSignals) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) continue;
    present.sa_handler = EndBySignal;
    present.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, &present, nullptr);
  }
}

std::string DefinedTempName(const char* name) {
  std::string prefix = tempId.value_or("");
  if (tempId && name != nullptr) prefix += '.';
  if (name != nullptr) prefix += name;
  if (prefix.empty()) prefix = kDefaultPrefix;
  std::string path = TempDirectory();
  if (path.empty()) return {};
  path.append("/").append(prefix, 0, kPrefixBytes);
  return AppendRandom(path) ? path : std::string();
}

TempFile::TempFile(TempFile&& other) noexcept {
  *this = std::move(other);
}

TempFile& TempFile::operator=(TempFile&& other) noexcept {
  if (this != &other) {
    Remove();
    fd_ = std::move(other.fd_);
    path_ = std::exchange(other.path_, {});
    device_ = other.device_;
    inode_ = other.inode_;
    removeAtEnd_ = std::exchange(other.removeAtEnd_, false);
  }
  return *this;
}

TempFile::~TempFile() {
  Remove();
}

TempFile TempFile::Create(const char* name, mode_t mode) {
  TempFile file;
  for (int i = 0; i < kNameTries && !file.valid(); ++i) {
    std::string path = DefinedTempName(name);
    if (path.empty()) return file;
    file = CreateExclusive(std::move(path), mode);
    if (!file.valid() && errno != EEXIST) return file;
  }
  return file;
}

TempFile TempFile::CreateExclusive(std::string path, mode_t mode) {
  TempFile file;
  file.path_ = std::move(path);
  // Noted first: noting takes memory, and a run that ends for want of it must not leave the file.
  const bool isNew = Remember(file.path_);
  file.fd_ =
      UniqueFd(open(file.path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!file.valid()) {
    const int failure = errno;
    if (isNew) Forget(file.path_);
    errno = failure;
    return file;
  }
  file.removeAtEnd_ = true;
  struct stat made {};
  fstat(file.fd(), &made);
  file.device_ = made.st_dev;
  file.inode_ = made.st_ino;
  return file;
}

TempFile TempFile::CreateNamed(std::string path, mode_t mode) {
  TempFile file;
  file.path_ = std::move(path);
  file.fd_ =
      UniqueFd(open(file.path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode));
  struct stat made {};
  if (file.valid() && fstat(file.fd(), &made) == 0) {
    file.device_ = made.st_dev;
    file.inode_ = made.st_ino;
  }
  return file;
}

bool TempFile::Reopen() {
  UniqueFd again(open(path_.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  struct stat found {};
  if (!again.valid() || fstat(again.get(), &found) != 0) return false;
  if (found.st_dev != device_ || found.st_ino != inode_) {
    errno = ESTALE;
    return false;
  }
  fd_ = std::move(again);
  return true;
}

void TempFile::Keep() {
  Forget(path_);
  removeAtEnd_ = false;
}

void TempFile::RemoveAtEnd() {
  removeAtEnd_ = true;
  Remember(path_);
}

void TempFile::Remove() {
  fd_.Reset();
  if (!std::exchange(removeAtEnd_, false)) return;
  unlink(path_.c_str());
  Forget(path_);
}

}  // namespace tabulon
