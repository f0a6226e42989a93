// What tests of queries share: their text, and a record as a scan shows it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "base/utf.h"
#include "detail/recordreader.h"
#include "detail/scanrecord.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {

// Text as the program holds it.
inline std::wstring Wide(std::string_view text) {
  std::wstring wide;
  AppendUtfToWide(wide, text);
  return wide;
}

// One record of a scan of this kind (kRootCifs, kRootNfs), in a directory.
class TestRecord {
 public:
  TestRecord(int kind, std::string_view directory, const RecordSpec& spec)
      : scan_(OpenInMemory(BuildDtl(
            {.kind = kind == kRootCifs ? ScanKind::kCifs : ScanKind::kNfs, .records = {spec}}))) {
    EXPECT_TRUE(reader_.Read(scan_.logRoot.firstRecord, record_.view));
    record_.name.Assign(record_.view.name);
    if (record_.view.hasTarget) record_.target.Assign(record_.view.target);
    directory_.AssignCopy(directory);
    record_.directory = &directory_;
  }

  const ScanRecord& operator*() const { return record_; }

 private:
  Scan scan_;
  RecordReader reader_{scan_};
  RecordText directory_;
  ScanRecord record_;
};

}  // namespace tabulon
