// Walks a directory tree: one filesystem unless more is wanted, links not followed, names sorted by
// their bytes, a directory's files before its subdirectories.
//
// Several threads read directories, the caller's among them, and the caller's tells the visitor
// what was found, always in the order in which one thread alone would have found it. With one
// thread everything happens in the caller's.
//
// A directory is one thread's work, and 128 names at a time where it has more than 1,024 names.
// What waits to be told is limited, but what is to be told next is always worked on, whatever
// waits, by the caller's thread if by no other.
#pragma once

#include <sys/stat.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/fileio.h"
#include "tools/mkdtl/entryreader.h"
#include "tools/mkdtl/exclude.h"
#include "tools/mkdtl/walkqueue.h"

namespace tabulon {

// What a walk finds. Paths count from the root of the walk: "/" is the root, "/a/b" lies below it.
// Everything is called by the thread that runs the walk.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;
  // A directory. Its files follow, then its subdirectories. Returning false ends the walk.
  virtual bool Directory(const std::string& path, const struct stat& info) = 0;
  // Some of the other entries of the directory told last. Returning false ends the walk.
  virtual bool Files(const FileRecords& files) = 0;
  // The directory told last is on another filesystem and is not entered.
  virtual void MountPoint(const std::string& path) = 0;
  // What could not be read, and the system error. Entries that vanish while the walk is on are not
  // told: they are not there.
  virtual void Unreadable(const std::string& path, int error) = 0;
};

struct WalkOptions {
  unsigned jobs = 1;   // threads, the caller's included; fewer when descriptors are scarce
  bool cross = false;  // enter other filesystems
  Excludes excludes = {};
  std::vector<NamedFile> leftOut = {};  // files that are not told
  RecordForm form = {};
  WalkLimits limits = {};
};

// How far a walk is.
struct WalkState {
  uint64_t files = 0;
  uint64_t bytes = 0;   // their sizes
  size_t waiting = 0;   // directories that are known, and not begun
  std::string current;  // path of the directory that is needed first
};

class TreeWalk {
 public:
  // `root` is an open directory. `visitor` must outlive the walk.
  TreeWalk(UniqueFd root, WalkOptions options, TreeVisitor& visitor);
  ~TreeWalk();
  TreeWalk(const TreeWalk&) = delete;
  TreeWalk& operator=(const TreeWalk&) = delete;

  // Ends when everything has been told or the visitor wants no more. REQUIRES: called once.
  void Run();

  // May be called by other threads while Run is on.
  WalkState State();
  // After Run.
  const OwnerSet& owners() const { return owners_; }
  uint64_t excluded() const { return excluded_; }

  // Longest path that is entered, in bytes; what a record of a detail file can name.
  static constexpr size_t kLongestPath = 65534;

 private:
  using Lock = std::unique_lock<std::mutex>;
  // What one thread uses again and again.
  struct Worker {
    EntryReader reader;
    std::vector<char> listing = {};
    NameList names = {};
    std::string path = {};
  };

  // The lock is held at call and return of whatever gets it, and not while the system is asked.
  void StartThreads();
  void Work();
  void WakeOne();

  // What threads do (walktasks.cpp).
  void Do(WalkTask task, Worker& worker, Lock& lock);
  void Visit(WalkTask& task, Worker& worker, Lock& lock);
  void ReadPiece(WalkTask& task, Worker& worker, Lock& lock);
  std::shared_ptr<OpenDirectory> OpenVisited(WalkNode& node, int parent);
  bool List(WalkNode& node, int directory, Worker& worker) const;
  void LeaveOutExcluded(WalkNode& node, Worker& worker) const;
  std::shared_ptr<OpenDirectory> OpenClosed(WalkNode& node, Lock& lock);
  void ReopenAbove(const WalkTask& task, Lock& lock);
  std::shared_ptr<OpenDirectory> Counted(UniqueFd fd);
  void CountFound(const FoundEntries& found);

  // What the caller's thread tells.
  WalkNode* TellNext(WalkNode& node, Worker& worker, Lock& lock);
  WalkNode* TellDirectory(WalkNode& node, Lock& lock);
  WalkNode* TellPiece(WalkNode& node, Lock& lock);
  WalkNode* Enter(WalkNode& child);
  WalkNode* Leave(WalkNode& node, Lock& lock);
  void HelpOrWait(const WalkNode& awaited, Worker& worker, Lock& lock);
  void TellLostParent(WalkNode& node, Lock& lock);
  std::string PathBelow(const std::string& name) const;

  WalkOptions options_;
  TreeVisitor& visitor_;
  dev_t device_ = 0;        // of the root
  std::string path_ = "/";  // of the directory that is being told

  std::mutex mutex_;  // guards what follows, and parts of the nodes
  std::condition_variable work_, told_;
  WalkQueue queue_;
  std::shared_ptr<OpenDirectory> rootDirectory_;
  std::unique_ptr<WalkNode> root_;
  WalkState found_;
  OwnerSet owners_;
  uint64_t excluded_ = 0;
  unsigned idle_ = 0;
  bool waits_ = false;  // the caller's thread does
  bool over_ = false;
  std::vector<std::jthread> threads_;
};

}  // namespace tabulon
