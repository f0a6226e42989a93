#include "tools/mkdtl/walkqueue.h"

#include <algorithm>
#include <utility>

namespace tabulon {
namespace {

// What a directory costs beside its results: list entries, names of subdirectories and what the
// allocator keeps for itself.
constexpr size_t kNodeOverhead = 512;

size_t NodeBytes(const WalkNode& node) {
  return sizeof(WalkNode) + kNodeOverhead + node.pieces.size() * sizeof(NamePiece);
}

}  // namespace

size_t ResultBytes(const FoundEntries& found) {
  return found.files.bytes.capacity() + found.problems.size() * sizeof(ReadProblem);
}

WalkTask WalkQueue::Start(WalkNode& root) {
  root.queued = queue_.insert(queue_.end(), &root);
  return {.node = &root, .piece = {}, .directory = root.directory};
}

std::optional<WalkTask> WalkQueue::Take(const WalkNode* awaited) {
  for (WalkNode* node : queue_) {
    if (!node->HasPieces() && !node->HasSubdirectories()) continue;  // others are busy with it
    if (!MayTake(*node, awaited)) return std::nullopt;
    --pending_;
    return node->HasPieces() ? TakePiece(*node) : TakeSubdirectory(*node);
  }
  return std::nullopt;
}

// Names that wait for their turn count when directories are begun, but not against their own
// pieces: a directory larger than the limit is still done by all.
bool WalkQueue::MayTake(const WalkNode& node, const WalkNode* awaited) const {
  if (&node == awaited) return true;
  if (full_) return false;
  return node.HasPieces() || waiting_ + namesListed_ < limits_.waitingBytes;
}

WalkTask WalkQueue::TakePiece(WalkNode& node) {
  return {.node = &node, .piece = node.piecesTaken++, .directory = node.directory};
}

WalkTask WalkQueue::TakeSubdirectory(WalkNode& node) {
  auto child = std::make_unique<WalkNode>();
  child->parent = &node;
  child->name = node.subdirectories[node.subdirectoriesTaken++];
  child->pathLength = node.pathLength + (node.pathLength > 1 ? 1 : 0) + child->name.size();
  child->queued = queue_.insert(*node.queued, child.get());
  WalkTask task{.node = child.get(), .piece = {}, .directory = node.directory};
  node.children.push_back(std::move(child));
  if (node.opened) opened_.splice(opened_.end(), opened_, *node.opened);
  LeaveWhenTaken(node);
  return task;
}

void WalkQueue::Visited(WalkNode& node, std::shared_ptr<OpenDirectory> directory) {
  node.visited = true;
  Wait(NodeBytes(node));
  if (!node.listed) {
    namesListed_ += node.names.memory();
    pending_ += node.pieces.size();
  } else {
    pending_ += node.subdirectories.size();
    node.piecesTaken = node.piecesDone = node.pieces.size();
    for (const NamePiece& piece : node.pieces) Wait(ResultBytes(piece.found));
  }
  Reopened(node, directory);
  LeaveWhenTaken(node);
}

bool WalkQueue::PieceDone(WalkNode& node, size_t piece) {
  node.pieces[piece].done = true;
  Wait(ResultBytes(node.pieces[piece].found));
  return ++node.piecesDone == node.pieces.size();
}

void WalkQueue::Listed(WalkNode& node) {
  namesListed_ -= node.names.memory();
  node.names = NameList();
  node.listed = true;
  pending_ += node.subdirectories.size();
  LeaveWhenTaken(node);
}

void WalkQueue::Wait(size_t bytes) {
  waiting_ += bytes;
  if (waiting_ >= limits_.waitingBytes) full_ = true;
}

// Threads go on when a quarter has been told: less would wake them for a moment only.
void WalkQueue::Told(size_t bytes) {
  waiting_ -= bytes;
  if (waiting_ < limits_.waitingBytes - limits_.waitingBytes / 4) full_ = false;
}

void WalkQueue::Gone(WalkNode& node) {
  Told(NodeBytes(node));
}

void WalkQueue::GiveUp(WalkNode& node) {
  if (!node.HasSubdirectories()) return;
  pending_ -= node.subdirectories.size() - node.subdirectoriesTaken;
  node.subdirectoriesTaken = node.subdirectories.size();
  LeaveWhenTaken(node);
}

void WalkQueue::LeaveWhenTaken(WalkNode& node) {
  if (!node.visited || !node.listed || node.HasSubdirectories()) return;
  Close(node);
  if (!node.queued) return;
  queue_.erase(*node.queued);
  node.queued.reset();
}

void WalkQueue::Close(WalkNode& node) {
  node.directory.reset();
  if (node.opened) opened_.erase(*node.opened);
  node.opened.reset();
}

void WalkQueue::Reopened(WalkNode& node, const std::shared_ptr<OpenDirectory>& directory) {
  const bool isNeeded = !node.listed || node.HasSubdirectories();
  if (node.directory || !directory || !isNeeded) return;
  node.directory = directory;
  node.opened = opened_.insert(opened_.end(), &node);
}

void WalkQueue::MakeRoomForDirectory() {
  for (auto at = opened_.begin();
       at != opened_.end() && openDirectories_ >= limits_.openDirectories;) {
    WalkNode& node = **at++;
    if (node.directory.use_count() == 1) Close(node);
  }
}

}  // namespace tabulon
