// One record of the scan, as filters and reports see it.
#pragma once

#include <cstdint>

#include "detail/pathtext.h"
#include "detail/recordreader.h"
#include "detail/recordtext.h"

namespace tabulon {

struct ScanRecord {
  RecordView view;
  RecordText name;
  RecordText target;                      // REQUIRES: view.hasTarget
  const RecordText* directory = nullptr;  // path of the current directory; never null
  uint64_t directoryPosition = 0;         // file offset of its record; 0 before the first

  const RecordFields& fields() const { return view.fields; }
  // Directory and name joined; done once for all tests on the record. Valid until the record
  // changes.
  const PathText& path() const {
    path_.Assign(*directory, name);
    return path_;
  }

 private:
  mutable PathText path_;
};

}  // namespace tabulon
