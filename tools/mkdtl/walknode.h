// A directory on its way through a walk: found, read, told.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/fileio.h"
#include "tools/mkdtl/entryreader.h"
#include "tools/mkdtl/namelist.h"

namespace tabulon {

// A directory that is open. It stays so while anybody holds it.
class OpenDirectory {
 public:
  OpenDirectory(UniqueFd fd, std::atomic<size_t>& count) : fd_(std::move(fd)), count_(count) {
    ++count_;
  }
  ~OpenDirectory() { --count_; }
  OpenDirectory(const OpenDirectory&) = delete;
  OpenDirectory& operator=(const OpenDirectory&) = delete;
  int get() const { return fd_.get(); }

 private:
  UniqueFd fd_;
  std::atomic<size_t>& count_;
};

// What a visit of a directory found out about the directory itself.
struct DirectoryFacts {
  bool recorded = false;    // it is there, and has a record
  bool mountPoint = false;  // on another filesystem, and not entered
  bool parentLost = false;  // `error` is of the directory above, which could not be opened again
  int error = 0;            // why it could not be looked at, opened or listed to its end
  uint64_t excluded = 0;    // entries that the caller wants no part of
  struct stat info = {};
};

// A piece of a directory's names, and what is found for them.
struct NamePiece {
  bool done = false;
  FoundEntries found;
};

// A directory. Those that have been taken up by a thread and are not yet told form a tree; a
// directory that is only known by its name is an entry of its parent's `subdirectories`.
struct WalkNode {
  WalkNode* parent = nullptr;
  std::string name;
  size_t pathLength = 1;  // bytes of the path from the root of the walk

  // Set by the visit; nobody else looks at them before `visited`.
  DirectoryFacts facts;
  NameList names;                 // until all pieces are done
  std::vector<NamePiece> pieces;  // each written by the thread that took it
  NameList subdirectories;        // complete when `listed`

  // Under the lock of the walk.
  bool visited = false;
  bool listed = false;
  bool told = false;  // the directory itself
  bool lost = false;  // it could not be opened again, and that has been told
  size_t piecesTaken = 0, piecesDone = 0, piecesTold = 0;
  size_t subdirectoriesTaken = 0;
  std::shared_ptr<OpenDirectory> directory;       // while something is to be taken, or closed to
                                                  // save descriptors
  std::list<std::unique_ptr<WalkNode>> children;  // taken, not yet told to the end; in order
  std::optional<std::list<WalkNode*>::iterator> queued, opened;  // places in the queue's lists

  bool HasPieces() const { return visited && piecesTaken < pieces.size(); }
  bool HasSubdirectories() const {
    return visited && listed && subdirectoriesTaken < subdirectories.size();
  }
};

// The path of a node from the root of the walk; "/" is the root.
std::string PathOf(const WalkNode& node);

}  // namespace tabulon
