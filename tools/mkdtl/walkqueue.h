// What a walk has still to do, in the order in which it will be told. The threads take what is
// needed first, so that little has to wait for its turn.
//
// The queue is a list of directories of which some part is to be taken or being done: first what
// comes first. A directory's children are put before it, so only directories that threads are busy
// with come before the first that has something to take.
//
// REQUIRES: every call is made under the lock of the walk.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>

#include "tools/mkdtl/walknode.h"

namespace tabulon {

// Memory of what is told of entries, in bytes.
size_t ResultBytes(const FoundEntries& found);

// What a walk may hold.
struct WalkLimits {
  size_t waitingBytes = size_t{64} << 20;  // results that wait for their turn
  size_t openDirectories = 0;              // 0 = half of what the process may open
};

// One thing to do. `directory` is that of `node` for a piece of its names; for a visit it is that
// of the directory above, or null when that has been closed meanwhile.
struct WalkTask {
  WalkNode* node = nullptr;
  std::optional<size_t> piece;
  std::shared_ptr<OpenDirectory> directory;
};

class WalkQueue {
 public:
  explicit WalkQueue(const WalkLimits& limits) : limits_(limits) {}

  // The root, which is taken at once.
  WalkTask Start(WalkNode& root);
  // The next thing to do; none when all is taken, or when too much waits. What belongs to `awaited`
  // is given however much waits.
  std::optional<WalkTask> Take(const WalkNode* awaited);
  // What Start or Take gave has been done. A visited node's `facts`, `names`, `pieces` and
  // `subdirectories` are set. `directory` is the node's, open.
  void Visited(WalkNode& node, std::shared_ptr<OpenDirectory> directory);
  // True for the last piece: the node's `subdirectories` are to be gathered, then Listed is called.
  bool PieceDone(WalkNode& node, size_t piece);
  void Listed(WalkNode& node);

  // Results of so many ResultBytes have been told and are gone.
  void Told(size_t bytes);
  // A whole directory has been told and goes.
  void Gone(WalkNode& node);
  // Nothing more can be taken from the node.
  void GiveUp(WalkNode& node);

  // A closed directory is open again. Nothing happens when another thread was faster, or when there
  // is nothing more to take.
  void Reopened(WalkNode& node, const std::shared_ptr<OpenDirectory>& directory);
  // Closes directories that nobody uses, those first that were used longest ago, until another may
  // be opened.
  void MakeRoomForDirectory();

  // Things that can be taken, waiting results or not.
  size_t pending() const { return pending_; }
  bool full() const { return full_; }
  std::atomic<size_t>& openDirectories() { return openDirectories_; }
  // The directory that will be told first of those that are being worked on; null when none is.
  const WalkNode* first() const { return queue_.empty() ? nullptr : queue_.front(); }

 private:
  bool MayTake(const WalkNode& node, const WalkNode* awaited) const;
  WalkTask TakePiece(WalkNode& node);
  WalkTask TakeSubdirectory(WalkNode& node);
  void Wait(size_t bytes);
  void Close(WalkNode& node);
  void LeaveWhenTaken(WalkNode& node);

  WalkLimits limits_;
  std::list<WalkNode*> queue_;
  std::list<WalkNode*> opened_;  // nodes with an open directory, the longest unused first
  std::atomic<size_t> openDirectories_ = 0;
  size_t pending_ = 0;
  size_t waiting_ = 0;      // bytes of results, nodes included
  size_t namesListed_ = 0;  // bytes of names whose pieces are not done
  bool full_ = false;
};

}  // namespace tabulon
