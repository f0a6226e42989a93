#include "tools/dtldiff/dirwalk.h"

#include <utility>

#include "tools/scanreader/escape.h"

namespace tabulon {
namespace {

std::string_view WithoutSeparators(std::string_view path, char separator) {
  while (path.ends_with(separator)) path.remove_suffix(1);
  return path;
}

}  // namespace

DirWalk::DirWalk(const Scan& scan, const Seeds& seeds, ReadProgress& progress)
    : seeds_(seeds),
      separator_(static_cast<char>(scan.pathSep)),
      progress_(progress),
      reader_(scan),
      batch_(scan),
      position_(scan.logRoot.firstRecord) {
  next_.begin = position_;
  next_.digest = seeds_.OfDirectory({});
}

bool DirWalk::Fill() {
  const uint64_t before = position_;
  at_ = 0;
  const bool filled = batch_.Fill(reader_, position_);
  progress_.Add(position_ - before);
  return filled;
}

// Moves on to the next directory; false at the end of the scan.
bool DirWalk::FindDirectory() {
  for (;;) {
    for (; at_ < batch_.size(); ++at_) {
      if (batch_.fields(at_).isDirectory()) return true;
    }
    if (!Fill()) return false;
  }
}

bool DirWalk::Next(DirSection& section) {
  while (begun_) {
    std::swap(section, next_);
    begun_ = FindDirectory();
    section.end = position_;
    if (begun_) {
      const RecordView& view = batch_.At(at_++).view;
      section.end = next_.begin = next_.directory = view.position;
      next_.path = WithoutSeparators(TextOf(view.name), separator_);
      next_.digest = seeds_.OfDirectory(next_.path);
    }
    if (section.begin < section.end) return true;  // else the scan begins with a directory
  }
  return false;
}

DirFiles::DirFiles(const QueriedScan& scan, const Seeds& seeds)
    : scan_(scan), seeds_(seeds), reader_(scan.scan) {
  record_.directory = &directory_;
}

void DirFiles::Start(const DirSection& section) {
  section_ = &section;
  directory_.Assign(section.path.empty() && section.directory != kNoRecord
                        ? std::string_view(scan_.rootText)
                        : std::string_view(section.path));
  record_.directoryPosition = section.directory == kNoRecord ? 0 : section.directory;
  Seek(section.begin);
  if (valid_ && record_.fields().isDirectory()) Advance();
}

void DirFiles::Seek(uint64_t position) {
  valid_ = position < section_->end && reader_.Read(position, record_.view);
  if (valid_) name_ = TextOf(record_.view.name);
}

std::string_view DirFiles::target() const {
  return record_.view.hasTarget ? TextOf(record_.view.target) : std::string_view();
}

bool DirFiles::Passes() {
  if (scan_.filter() == nullptr) return true;
  record_.name.Assign(record_.view.name);
  if (record_.view.hasTarget) record_.target.Assign(record_.view.target);
  return scan_.filter()->Passes(record_);
}

FileEntry DirFiles::Entry() {
  FileEntry entry =
      EntryOf(record_.view, {section_->directory, position()}, scan_.scan.isCifs(), seeds_);
  entry.path = seeds_.OfFile(section_->digest, name_);
  entry.passes = Passes() ? 1 : 0;
  return entry;
}

}  // namespace tabulon
