#include "tools/mkdtl/walk.h"

#include <sys/resource.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace tabulon {
namespace {

// A thread that visits holds its directory, the one above it and, on the way to one that was
// closed, another.
constexpr size_t kOpenByThread = 4;

WalkLimits Completed(WalkLimits limits) {
  rlimit files{};
  if (limits.openDirectories == 0 && getrlimit(RLIMIT_NOFILE, &files) == 0) {
    limits.openDirectories = static_cast<size_t>(files.rlim_cur / 2);
  }
  return limits;
}

}  // namespace

std::string PathOf(const WalkNode& node) {
  if (node.parent == nullptr) return "/";
  std::string path(node.pathLength, '/');
  for (const WalkNode* at = &node; at->parent != nullptr; at = at->parent) {
    at->name.copy(path.data() + at->pathLength - at->name.size(), at->name.size());
  }
  return path;
}

TreeWalk::TreeWalk(UniqueFd root, WalkOptions options, TreeVisitor& visitor)
    : options_(std::move(options)),
      visitor_(visitor),
      queue_(options_.limits = Completed(options_.limits)),
      rootDirectory_(Counted(std::move(root))),
      root_(std::make_unique<WalkNode>()) {
  root_->directory = rootDirectory_;
}

// A walk that was ended early leaves directories as deep as the tree: too deep for destructors that
// call each other.
TreeWalk::~TreeWalk() {
  for (WalkNode* node = root_.get(); node != nullptr;) {
    if (node->children.empty()) {
      node = node->parent;
      if (node != nullptr) node->children.pop_back();
    } else {
      node = node->children.back().get();
    }
  }
}

void TreeWalk::Run() {
  Worker worker{EntryReader(options_.form, options_.leftOut)};
  Lock lock(mutex_);
  const WalkTask first = queue_.Start(*root_);
  StartThreads();
  Do(first, worker, lock);
  for (WalkNode* node = root_.get(); node != nullptr;) node = TellNext(*node, worker, lock);
  over_ = true;
  work_.notify_all();
  lock.unlock();
  threads_.clear();
  owners_.Merge(worker.reader.owners());
}

void TreeWalk::StartThreads() {
  const size_t most = std::max<size_t>(options_.limits.openDirectories / kOpenByThread, 1);
  const size_t jobs = std::min<size_t>(options_.jobs, most);
  try {
    while (threads_.size() + 1 < jobs) threads_.emplace_back([this] { Work(); });
  } catch (const std::system_error&) {
    // No more are to be had: the walk goes on with those there are.
  }
}

void TreeWalk::Work() {
  Worker worker{EntryReader(options_.form, options_.leftOut)};
  Lock lock(mutex_);
  while (!over_) {
    if (auto task = queue_.Take(nullptr)) {
      WakeOne();
      Do(std::move(*task), worker, lock);
    } else {
      ++idle_;
      work_.wait(lock);
      --idle_;
    }
  }
  owners_.Merge(worker.reader.owners());
}

// Each thread that finds something to do wakes the next, as long as there is more.
void TreeWalk::WakeOne() {
  if (idle_ > 0 && queue_.pending() > 0 && !queue_.full()) work_.notify_one();
}

WalkState TreeWalk::State() {
  const Lock lock(mutex_);
  WalkState state = found_;
  state.waiting = queue_.pending();
  if (const WalkNode* first = queue_.first()) state.current = PathOf(*first);
  return state;
}

// Tells the next thing of a directory, or does other work until it is known. Returns the directory
// that has the next thing to tell; null at the end.
WalkNode* TreeWalk::TellNext(WalkNode& node, Worker& worker, Lock& lock) {
  if (node.visited && !node.told) return TellDirectory(node, lock);
  if (node.visited && node.piecesTold < node.pieces.size()) {
    if (node.pieces[node.piecesTold].done) return TellPiece(node, lock);
  } else if (!node.children.empty()) {
    return Enter(*node.children.front());
  } else if (node.visited && node.listed && !node.HasSubdirectories()) {
    return Leave(node, lock);
  }
  HelpOrWait(node, worker, lock);
  return &node;
}

void TreeWalk::HelpOrWait(const WalkNode& awaited, Worker& worker, Lock& lock) {
  if (auto task = queue_.Take(&awaited)) {
    WakeOne();
    Do(std::move(*task), worker, lock);
  } else {
    waits_ = true;
    told_.wait(lock);
    waits_ = false;
  }
}

WalkNode* TreeWalk::TellDirectory(WalkNode& node, Lock& lock) {
  node.told = true;
  const DirectoryFacts& facts = node.facts;
  excluded_ += facts.excluded;
  if (facts.parentLost) {
    TellLostParent(node, lock);
    return &node;
  }
  lock.unlock();
  const bool more = !facts.recorded || visitor_.Directory(path_, facts.info);
  if (facts.mountPoint) visitor_.MountPoint(path_);
  if (facts.error != 0) visitor_.Unreadable(path_, facts.error);
  lock.lock();
  return more ? &node : nullptr;
}

// The rest of the directory above cannot be had. This is told once, however many threads found it
// out.
void TreeWalk::TellLostParent(WalkNode& node, Lock& lock) {
  WalkNode& parent = *node.parent;
  queue_.GiveUp(parent);
  if (std::exchange(parent.lost, true)) return;
  lock.unlock();
  visitor_.Unreadable(path_.substr(0, parent.pathLength), node.facts.error);
  lock.lock();
}

WalkNode* TreeWalk::TellPiece(WalkNode& node, Lock& lock) {
  FoundEntries& found = node.pieces[node.piecesTold++].found;
  const size_t bytes = ResultBytes(found);
  lock.unlock();
  bool more = true;
  {
    const std::vector<ReadProblem> problems = std::move(found.problems);
    const FileRecords files = std::move(found.files);
    for (const ReadProblem& problem : problems) {
      visitor_.Unreadable(PathBelow(problem.name), problem.error);
    }
    more = visitor_.Files(files);
  }
  lock.lock();
  queue_.Told(bytes);
  WakeOne();
  return more ? &node : nullptr;
}

WalkNode* TreeWalk::Enter(WalkNode& child) {
  path_ = PathBelow(child.name);
  return &child;
}

WalkNode* TreeWalk::Leave(WalkNode& node, Lock& lock) {
  WalkNode* const parent = node.parent;
  queue_.Gone(node);
  WakeOne();
  if (parent == nullptr) return nullptr;
  std::unique_ptr<WalkNode> gone = std::move(parent->children.front());
  parent->children.pop_front();
  path_.resize(parent->pathLength);
  lock.unlock();
  gone.reset();
  lock.lock();
  return parent;
}

std::string TreeWalk::PathBelow(const std::string& name) const {
  if (name.empty()) return path_;
  return path_.size() == 1 ? path_ + name : path_ + "/" + name;
}

}  // namespace tabulon
