// What the threads of a walk do: they open directories, list them, and look at their entries.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "tools/mkdtl/opendirectory.h"
#include "tools/mkdtl/walk.h"

namespace tabulon {
namespace {

constexpr size_t kNamesAtOnce = 1024;  // of a directory that one thread reads alone
constexpr size_t kPieceNames = 128;

size_t PieceEnd(const NameList& names, size_t piece) {
  return std::min((piece + 1) * kPieceNames, names.size());
}

void AddSubdirectories(const FoundEntries& found, const NameList& names, NameList& subdirectories) {
  for (const size_t index : found.subdirectories) subdirectories.Add(names[index], DT_DIR);
}

}  // namespace

void TreeWalk::Do(WalkTask task, Worker& worker, Lock& lock) {
  if (task.piece) {
    ReadPiece(task, worker, lock);
  } else {
    Visit(task, worker, lock);
  }
  if (waits_) told_.notify_one();
  WakeOne();
}

void TreeWalk::Visit(WalkTask& task, Worker& worker, Lock& lock) {
  WalkNode& node = *task.node;
  if (!task.directory) task.directory = OpenClosed(*node.parent, lock);
  const int parentError = errno;
  queue_.MakeRoomForDirectory();
  lock.unlock();
  std::shared_ptr<OpenDirectory> directory;
  bool listed = true;
  if (task.directory) {
    directory = OpenVisited(node, task.directory->get());
    if (directory) listed = List(node, directory->get(), worker);
  } else {
    node.facts.parentLost = true;
    node.facts.error = parentError;
  }
  lock.lock();
  // Before the node is told, and the directories above it may go.
  ReopenAbove(task, lock);
  node.listed = listed;
  if (listed && !node.pieces.empty()) CountFound(node.pieces.front().found);
  queue_.Visited(node, directory);
}

// Opens the directory of a node to be listed. Null, with the facts of the node set, when it is not
// to be listed.
std::shared_ptr<OpenDirectory> TreeWalk::OpenVisited(WalkNode& node, int parent) {
  DirectoryFacts& facts = node.facts;
  if (node.parent == nullptr) {
    facts.recorded = fstat(parent, &facts.info) == 0;
    facts.error = facts.recorded ? 0 : errno;
    device_ = facts.info.st_dev;
    return facts.recorded ? rootDirectory_ : nullptr;
  }
  if (fstatat(parent, node.name.c_str(), &facts.info, kStatFlags) != 0) {
    facts.error = errno == ENOENT ? 0 : errno;
    return nullptr;
  }
  if (!S_ISDIR(facts.info.st_mode)) return nullptr;  // replaced since its name was read
  if (node.pathLength > kLongestPath) {
    facts.error = ENAMETOOLONG;
    return nullptr;
  }
  facts.recorded = true;
  facts.mountPoint = facts.info.st_dev != device_ && !options_.cross;
  if (facts.mountPoint) return nullptr;
  UniqueFd fd = OpenToList(parent, node.name.c_str(), facts.info);
  struct stat opened;
  if (!fd.valid() || fstat(fd.get(), &opened) != 0) {
    facts.error = errno;
    return nullptr;
  }
  if (opened.st_dev != facts.info.st_dev) {  // opening it has mounted a filesystem there
    facts.mountPoint = !options_.cross;
    if (facts.mountPoint) return nullptr;
    facts.info = opened;
  } else if (!SameFile(facts.info, opened)) {  // exchanged between the two looks
    facts.error = ESTALE;
    return nullptr;
  }
  return Counted(std::move(fd));
}

// Reads the names in a directory and, when they are few, what there is to know of them. False when
// their pieces are still to be done.
bool TreeWalk::List(WalkNode& node, int directory, Worker& worker) const {
  NameList& names = worker.names;
  names.Clear();
  node.facts.error = ReadNames(directory, worker.listing, names);
  if (!options_.excludes.empty()) LeaveOutExcluded(node, worker);
  names.Sort();
  if (names.size() > kNamesAtOnce) {
    node.names = std::move(names);
    names = NameList();
    node.pieces.resize((node.names.size() + kPieceNames - 1) / kPieceNames);
    return false;
  }
  if (names.empty()) return true;
  NamePiece& piece = node.pieces.emplace_back();
  piece.found = worker.reader.Read(directory, names, 0, names.size());
  piece.done = true;
  AddSubdirectories(piece.found, names, node.subdirectories);
  return true;
}

void TreeWalk::LeaveOutExcluded(WalkNode& node, Worker& worker) const {
  const std::string path = PathOf(node);
  NameList kept;
  for (size_t i = 0; i < worker.names.size(); ++i) {
    if (options_.excludes.Match(path, worker.names[i], worker.path)) {
      ++node.facts.excluded;
    } else {
      kept.Add(worker.names[i], worker.names.Type(i));
    }
  }
  worker.names = std::move(kept);
}

void TreeWalk::ReadPiece(WalkTask& task, Worker& worker, Lock& lock) {
  WalkNode& node = *task.node;
  const size_t piece = *task.piece;
  if (!task.directory) task.directory = OpenClosed(node, lock);
  const int openError = errno;
  lock.unlock();
  FoundEntries& found = node.pieces[piece].found;
  if (task.directory) {
    found = worker.reader.Read(task.directory->get(), node.names, piece * kPieceNames,
                               PieceEnd(node.names, piece));
  } else {
    found.problems.push_back({"", openError});
  }
  lock.lock();
  CountFound(found);
  if (!queue_.PieceDone(node, piece)) return;
  lock.unlock();
  for (const NamePiece& done : node.pieces) {
    AddSubdirectories(done.found, node.names, node.subdirectories);
  }
  lock.lock();
  queue_.Listed(node);
}

// Opens a directory that was closed to save descriptors. Null with errno set on failure.
std::shared_ptr<OpenDirectory> TreeWalk::OpenClosed(WalkNode& node, Lock& lock) {
  std::vector<std::string> names = {node.name};
  const WalkNode* above = node.parent;
  for (; above->parent != nullptr && !above->directory; above = above->parent) {
    names.push_back(above->name);
  }
  std::reverse(names.begin(), names.end());
  const std::shared_ptr<OpenDirectory> from = above->directory ? above->directory : rootDirectory_;
  queue_.MakeRoomForDirectory();
  lock.unlock();
  std::shared_ptr<OpenDirectory> directory =
      Counted(OpenAgain(from->get(), names, node.facts.info));
  const int error = errno;
  lock.lock();
  queue_.Reopened(node, directory);
  errno = error;
  return directory;
}

// The last entry of a directory is done: the one above it is next, and when it was closed, this is
// the moment in which the way to it is short.
void TreeWalk::ReopenAbove(const WalkTask& task, Lock& lock) {
  WalkNode* const parent = task.node->parent;
  if (parent == nullptr || !task.directory) return;
  queue_.Reopened(*parent, task.directory);
  WalkNode* const above = parent->parent;
  if (parent->HasSubdirectories() || above == nullptr || above->directory) return;
  if (!above->HasSubdirectories()) return;
  queue_.MakeRoomForDirectory();
  lock.unlock();
  const std::shared_ptr<OpenDirectory> directory =
      Counted(OpenParent(task.directory->get(), above->facts.info));
  lock.lock();
  queue_.Reopened(*above, directory);
}

// An open directory that counts against the limit; null when there is none. Keeps errno.
std::shared_ptr<OpenDirectory> TreeWalk::Counted(UniqueFd fd) {
  if (!fd.valid()) return nullptr;
  return std::make_shared<OpenDirectory>(std::move(fd), queue_.openDirectories());
}

void TreeWalk::CountFound(const FoundEntries& found) {
  found_.files += found.files.totals.files;
  found_.bytes += found.files.totals.bytes;
}

}  // namespace tabulon
