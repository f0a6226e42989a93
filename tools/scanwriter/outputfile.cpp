#include "tools/scanwriter/outputfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "base/fileio.h"
#include "detail/filereplace.h"

namespace tabulon {
namespace {

constexpr std::array kEndingSignals = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE, SIGALRM,
                                       SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU};
constexpr mode_t kNewMode = 0640;

// Keeps the ending signals waiting: a file that is made is remembered before one of them is heard.
class SignalsWait {
 public:
  SignalsWait() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signalNumber : kEndingSignals) sigaddset(&ending, signalNumber);
    pthread_sigmask(SIG_BLOCK, &ending, &before_);
  }
  ~SignalsWait() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;

 private:
  sigset_t before_;
};

// Names for the signal handler, of as many files as may be open at a time.
std::array<std::atomic<const char*>, 2> temporaryNames;
static_assert(std::atomic<const char*>::is_always_lock_free, "read by a signal handler");

void Remember(const char* name) {
  for (auto& slot : temporaryNames) {
    const char* none = nullptr;
    if (slot.compare_exchange_strong(none, name)) return;
  }
}

void Forget(const char* name) {
  for (auto& slot : temporaryNames) {
    const char* expected = name;
    if (slot.compare_exchange_strong(expected, nullptr)) return;
  }
}

void RemoveTemporaryFiles() {
  for (const auto& slot : temporaryNames) {
    const char* const name = slot.load();
    if (name != nullptr) unlink(name);
  }
}

void RemoveAndDie(int signalNumber) {
  RemoveTemporaryFiles();
  raise(signalNumber);  // the handler is already reset, so this ends the program
}

const char* programName = "";  // set by RemoveOutputWhenEnded, read when memory is exhausted

[[noreturn]] void EndWithoutMemory() {
  RemoveTemporaryFiles();
  constexpr std::string_view kText = ": memory is exhausted\n";
  WriteFully(STDERR_FILENO, programName, std::strlen(programName));
  WriteFully(STDERR_FILENO, kText.data(), kText.size());
  _exit(EXIT_FAILURE);
}

// The file that `path` leads to, so that the result replaces that and not a link to it.
std::string Resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? std::string(real.get()) : path;
}

std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, slash == 0 ? 1 : slash);
}

std::string_view LeafOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

mode_t NewMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return kNewMode & ~mask;
}

}  // namespace

bool OutputFile::Open(const std::string& path) {
  target_ = Resolved(path);
  struct stat existing;
  if (stat(target_.c_str(), &existing) == 0) {
    if (!S_ISREG(existing.st_mode)) {
      errno = EEXIST;
      return false;
    }
    replaced_ = existing;
  }
  const SignalsWait wait;
  temporary_ = target_ + ".XXXXXX";
  fd_ = UniqueFd(mkostemp(temporary_.data(), O_CLOEXEC));
  if (!fd_.valid()) {
    temporary_.clear();
    return false;
  }
  Remember(temporary_.c_str());
  return true;
}

bool OutputFile::Append(std::string_view bytes) {
  return WriteFully(fd_.get(), bytes.data(), bytes.size());
}

bool OutputFile::Overwrite(uint64_t offset, std::string_view bytes) {
  return WriteFullyAt(fd_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
}

bool OutputFile::Commit() {
  if (replaced_) TakeOwnerAndMode(fd_.get(), *replaced_);
  const bool written = (replaced_ || fchmod(fd_.get(), NewMode()) == 0) && fsync(fd_.get()) == 0 &&
                       fd_.Reset() == 0 && rename(temporary_.c_str(), target_.c_str()) == 0;
  if (!written) {
    const int error = errno;
    Discard();
    errno = error;
    return false;
  }
  Forget(temporary_.c_str());
  temporary_.clear();
  // The name itself becomes durable with the directory. Not every filesystem can do this, and the
  // file is whole either way, so a failure is none.
  const UniqueFd directory(open(DirectoryOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.valid()) fsync(directory.get());
  return true;
}

void OutputFile::Discard() {
  fd_.Reset();
  if (temporary_.empty()) return;
  unlink(temporary_.c_str());
  Forget(temporary_.c_str());
  temporary_.clear();
}

void OutputFile::AppendOwnFiles(std::vector<NamedFile>& files) const {
  struct stat own;
  if (fd_.valid() && fstat(fd_.get(), &own) == 0) {
    files.push_back({own.st_dev, own.st_ino, std::string(LeafOf(temporary_))});
  }
  if (!replaced_) return;
  files.push_back({replaced_->st_dev, replaced_->st_ino, std::string(LeafOf(target_))});
}

void RemoveOutputWhenEnded(const char* program) {
  for (const int signalNumber : kEndingSignals) {
    struct sigaction action = {};
    sigaction(signalNumber, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action.sa_handler = RemoveAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signalNumber, &action, nullptr);
  }
  signal(SIGXFSZ, SIG_IGN);  // a file that grows too large fails its write instead
  programName = program;
  std::set_new_handler(EndWithoutMemory);
}

}  // namespace tabulon
