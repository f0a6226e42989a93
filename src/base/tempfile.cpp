#include "base/tempfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tabulon {

// A file that has to be removed at the end of the run, and its place on the list of them.
struct TempFile::Live {
  std::string path;
  bool bySignalOnly = false;  // goes with a signal alone
  Live* previous = nullptr;
  Live* next = nullptr;
};

namespace {

constexpr int kNameTries = 100;

// The parts of a temporary name.
constexpr size_t kPrefixBytes = 5;
constexpr const char* kDefaultPrefix = "file";
constexpr size_t kRandomBytes = 6;
constexpr std::string_view kNameLetters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// The signals that end a run: from users, from schedulers, at limits, and when the reader of a pipe
// goes away.
constexpr std::array<int, 9> kEndingSignals = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE, SIGALRM,
                                               SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU};

// The one pointer to the run's temporary directory: trees, spools and tables make temporary files
// at any depth.
constinit const TempPlace* currentPlace = nullptr;

// The files that have to be removed. Global, because a signal handler has no argument for it.
struct LiveFiles {
  std::atomic_flag busy;  // a thread changes or reads the list
  TempFile::Live* first = nullptr;
};
constinit LiveFiles liveFiles;

// Waits until the list is free and holds it. From then on the ending signals are blocked in this
// thread, and their handler in another thread waits. Returns the signals that were blocked before.
// Async-signal-safe.
sigset_t HoldList() {
  sigset_t ending;
  sigset_t before;
  sigemptyset(&ending);
  for (const int signal : kEndingSignals) sigaddset(&ending, signal);
  pthread_sigmask(SIG_BLOCK, &ending, &before);
  while (liveFiles.busy.test_and_set(std::memory_order_acquire)) continue;
  return before;
}

// Holds the list while it lives.
class ListLock {
 public:
  ListLock() : before_(HoldList()) {}
  ~ListLock() {
    liveFiles.busy.clear(std::memory_order_release);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  ListLock(const ListLock&) = delete;
  ListLock& operator=(const ListLock&) = delete;

 private:
  sigset_t before_;
};

// The process ends after it, so the list stays held: another thread cannot make a file any more
// that nobody would remove. Async-signal-safe.
void RemoveLiveFiles(bool bySignal) {
  HoldList();
  for (const TempFile::Live* file = liveFiles.first; file != nullptr; file = file->next) {
    if (bySignal || !file->bySignalOnly) unlink(file->path.c_str());
  }
}

// The list is held.
void TakeOffList(const TempFile::Live& file) {
  (file.previous != nullptr ? file.previous->next : liveFiles.first) = file.next;
  if (file.next != nullptr) file.next->previous = file.previous;
}

// Removes the files and lets the signal do what it does, which it does when the handler has
// returned. Async-signal-safe.
void EndBySignal(int signal) {
  RemoveLiveFiles(true);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

bool IsDirectory(const char* path) {
  struct stat found {};
  return path != nullptr && stat(path, &found) == 0 && S_ISDIR(found.st_mode);
}

// The first of TMPDIR, `tempDir` and the C library's default that is a directory, without trailing
// separators; empty when none is.
std::string TempDirectory() {
  const bool chosenByRun = currentPlace != nullptr && currentPlace->tempDir;
  const char* const candidates[] = {
      secure_getenv("TMPDIR"), chosenByRun ? currentPlace->tempDir->c_str() : nullptr, P_tmpdir};
  const auto* const chosen = std::ranges::find_if(candidates, IsDirectory);
  errno = ENOENT;  // if none is a directory
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

// Gives the file `from` the name `to`. When a file replaces another, ext4 writes it out at once
// (see auto_da_alloc in ext4(5)), so that a crash loses not both; for a large report that takes
// longer than to make it. An empty file that the run itself has made is no loss, so it changes
// names.
bool TakeName(const std::string& from, const std::string& to, bool isEmpty) {
  if (isEmpty && renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) {
    unlink(from.c_str());
    return true;
  }
  return rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

TempPlace::TempPlace(std::optional<std::string> directory, std::optional<std::string> id)
    : tempDir(std::move(directory)), tempId(std::move(id)), before_(currentPlace) {
  currentPlace = this;
}

TempPlace::~TempPlace() {
  currentPlace = before_;
}

void RemoveTempFilesOnSignals() {
  for (const int signal : kEndingSignals) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) continue;
    present.sa_handler = EndBySignal;
    present.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, &present, nullptr);
  }
}

void RemoveTempFilesNow() {
  RemoveLiveFiles(false);
}

std::string DefinedTempName(const char* name) {
  const bool hasId = currentPlace != nullptr && currentPlace->tempId;
  std::string prefix = hasId ? *currentPlace->tempId : "";
  if (hasId && name != nullptr) prefix += '.';
  if (name != nullptr) prefix += name;
  if (prefix.empty()) prefix = kDefaultPrefix;
  std::string path = TempDirectory();
  if (path.empty()) return {};
  path.append("/").append(prefix, 0, kPrefixBytes);
  return AppendRandom(path) ? path : std::string();
}

// Takes the file off the list.
void TempFile::Forget::operator()(Live* file) const {
  {
    const ListLock lock;
    TakeOffList(*file);
  }
  delete file;
}

// Puts the file on the list when `make` made it. The memory for that is taken before: a run that
// ends because there is none must not leave the file.
template <class Make>
void TempFile::Note(Make make) {
  std::unique_ptr<Live> file(new Live{path_});
  const ListLock lock;
  if (!make()) return;
  file->next = liveFiles.first;
  if (file->next != nullptr) file->next->previous = file.get();
  liveFiles.first = file.get();
  live_.reset(file.release());
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
    live_ = std::move(other.live_);
  }
  return *this;
}

TempFile::~TempFile() {
  Remove();
}

// Opens the file of the name `path_`, made or emptied by these flags.
bool TempFile::Open(int flags, mode_t mode) {
  fd_ = UniqueFd(open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | flags, mode));
  struct stat made {};
  if (!valid() || fstat(fd(), &made) != 0) return valid();
  device_ = made.st_dev;
  inode_ = made.st_ino;
  return true;
}

// Makes a new file of the first name that is free.
template <class NextName>
TempFile TempFile::CreateFirstFree(NextName nextName, mode_t mode) {
  TempFile file;
  for (int i = 0; i < kNameTries && !file.valid(); ++i) {
    std::string path = nextName();
    if (path.empty()) return file;
    file = CreateExclusive(std::move(path), mode);
    if (!file.valid() && errno != EEXIST) return file;
  }
  return file;
}

TempFile TempFile::Create(const char* name, mode_t mode) {
  TempFile file = CreateFirstFree([&] { return DefinedTempName(name); }, mode);
  // The process mask may deny the owner what Reopen needs.
  if (file.valid()) fchmod(file.fd(), mode);
  return file;
}

TempFile TempFile::CreateExclusive(std::string path, mode_t mode) {
  TempFile file;
  file.path_ = std::move(path);
  file.Note([&] { return file.Open(O_EXCL, mode); });
  return file;
}

TempFile TempFile::CreateBeside(const std::string& path) {
  const auto nextName = [&] {
    std::string name = path + ".";
    return AppendRandom(name) ? name : std::string();
  };
  return CreateFirstFree(nextName, 0600);
}

TempFile TempFile::CreateNamed(std::string path, mode_t mode) {
  TempFile file;
  file.path_ = std::move(path);
  file.Open(O_TRUNC, mode);
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
  live_.reset();
}

void TempFile::RemoveAtEnd() {
  if (!live_) Note([] { return true; });
  live_->bySignalOnly = false;
}

void TempFile::KeepUnlessSignalled() {
  RemoveAtEnd();
  live_->bySignalOnly = true;
}

bool TempFile::Replace(TempFile& other) {
  {
    const ListLock lock;
    if (!TakeName(path_, other.path_, other.live_ != nullptr)) return false;
    for (const TempFile* file : {this, &other}) {
      if (file->live_) TakeOffList(*file->live_);
    }
  }
  for (TempFile* file : {this, &other}) delete file->live_.release();
  return true;
}

void TempFile::Remove() {
  fd_.Reset();
  if (!live_) return;
  if (!live_->bySignalOnly) unlink(path_.c_str());
  live_.reset();
}

}  // namespace tabulon
