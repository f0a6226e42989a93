// What tests of queries share: their text, and records made without a scan file.
#pragma once

#include <string>
#include <string_view>

#include "base/utf.h"
#include "detail/scan.h"
#include "detail/scanrecord.h"
#include "tools/scanwriter/dtlwriter.h"
#include "tools/scanwriter/littlebytes.h"

namespace tabulon {

// Text as the program holds it.
inline std::wstring Wide(std::string_view text) {
  std::wstring wide;
  AppendUtfToWide(wide, text);
  return wide;
}

// One record of a scan's kind, in a directory.
class TestRecord {
 public:
  TestRecord(const Scan& scan, const std::string& directory, const RecordSpec& spec)
      : bytes_(kCifsRecord.fixedSize, '\0'), name_(spec.name), target_(spec.target) {
    const bool cifs = scan.isCifs();
    const RecordLayout& at = cifs ? kCifsRecord : kNfsRecord;
    Store32(bytes_, 0, spec.flags);
    Store32(bytes_, at.attributes, spec.attributes);
    Store32(bytes_, at.created, spec.created);
    Store32(bytes_, at.accessed, spec.accessed);
    Store32(bytes_, at.modified, spec.modified);
    Store64(bytes_, at.size, spec.size);
    Store32(bytes_, at.uid, spec.uid);
    Store32(bytes_, at.gid, spec.gid);
    Store32(bytes_, at.inode, spec.inode);
    Store32(bytes_, at.links, spec.links);
    directory_.AssignCopy(directory);
    record_.view.fields =
        RecordFields(reinterpret_cast<const unsigned char*>(bytes_.data()), &scan.layout());
    record_.view.hasTarget = (spec.flags & kRecordHasTarget) != 0;
    record_.name.Assign(name_);
    record_.target.Assign(target_);
    record_.directory = &directory_;
  }
  TestRecord(const TestRecord&) = delete;
  TestRecord& operator=(const TestRecord&) = delete;

  const ScanRecord& operator*() const { return record_; }

 private:
  std::string bytes_;
  std::string name_;
  std::string target_;
  RecordText directory_;
  ScanRecord record_;
};

}  // namespace tabulon
