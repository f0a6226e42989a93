// Temporary files: named in the chosen directory, made exclusively, removed on every way out.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "base/fileio.h"

namespace tabulon {

// Where the temporary files of a run go, while it lives. A place made meanwhile takes over until it
// goes; without one, both members count as none.
class TempPlace {
 public:
  explicit TempPlace(std::optional<std::string> directory = {}, std::optional<std::string> id = {});
  ~TempPlace();
  TempPlace(const TempPlace&) = delete;
  TempPlace& operator=(const TempPlace&) = delete;

  const std::optional<std::string> tempDir;  // from -tempdir; none = TMPDIR or /tmp
  const std::optional<std::string> tempId;   // from -tempid; put in front of temporary names

 private:
  const TempPlace* before_;
};

// From here on the signals that end a process from outside (SIGHUP, SIGINT, SIGQUIT, SIGPIPE,
// SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU) remove the temporary files before they do so. A
// signal that is ignored or handled stays so.
void RemoveTempFilesOnSignals();
// Removes the temporary files of a process that ends without unwinding.
void RemoveTempFilesNow();

// A name for a temporary file, by the rules of tempnam(3). Its directory is the first of the
// environment's TMPDIR, `tempDir` and P_tmpdir ("/tmp") that is one. The name is the first five
// bytes of "<tempId>.<name>", or of whichever of the two is there ("file" when neither is), and six
// random letters and digits. The file is not made and may exist: make it exclusively. Empty with
// errno set when there is no directory or no random numbers.
std::string DefinedTempName(const char* name);

// A temporary file, open for reading and writing. It is removed when its owner goes, or when a
// signal or exhausted memory ends the process, unless Keep was called.
class TempFile {
 public:
  struct Live;
  TempFile() = default;
  TempFile(TempFile&& other) noexcept;
  TempFile& operator=(TempFile&& other) noexcept;
  ~TempFile();

  // Makes a new file under a DefinedTempName, with permission bits `mode`. The file is made
  // exclusively: an existing file or a planted link is never opened. On failure the result is not
  // valid(), path() is the name tried and errno tells why.
  static TempFile Create(const char* name, mode_t mode = 0600);
  // Makes a new file of this very name, exclusively too; fails with EEXIST when there is one.
  static TempFile CreateExclusive(std::string path, mode_t mode = 0600);
  // Makes a new file beside the one named `path`: its name, a dot and six random characters.
  static TempFile CreateBeside(const std::string& path);
  // Makes, or empties, the file of this very name; not removed at the end (as if kept).
  static TempFile CreateNamed(std::string path, mode_t mode = 0666);

  bool valid() const { return fd_.valid(); }
  int fd() const { return fd_.get(); }
  const std::string& path() const { return path_; }

  // Closes the file, which stays on disk until it is removed. Returns close's result.
  int Close() { return fd_.Reset(); }
  // Opens it again after Close; false with errno set when that fails or when the name now belongs
  // to another file than the one that was made.
  bool Reopen();
  // The file stays when its owner goes.
  void Keep();
  // Takes back Keep: the file goes with its owner, or with the process. REQUIRES: valid().
  void RemoveAtEnd();
  // The file stays when its owner goes and at a fatal exit; a signal that ends the process removes
  // it. REQUIRES: the file has been made.
  void KeepUnlessSignalled();
  // Gives the file the name of `other`, which is no more then; both are kept from there on, and no
  // signal comes in between. False with errno set; nothing has changed then.
  bool Replace(TempFile& other);
  // Closes and removes the file.
  void Remove();

 private:
  struct Forget {
    void operator()(Live* file) const;
  };
  template <class NextName>
  static TempFile CreateFirstFree(NextName nextName, mode_t mode);
  bool Open(int flags, mode_t mode);
  template <class Make>
  void Note(Make make);

  UniqueFd fd_;
  std::string path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::unique_ptr<Live, Forget> live_;  // while the file has to go
};

}  // namespace tabulon
