// What one record of the scan looks like to everyone who is offered it: the filters, the reports.
#pragma once

#include <cstdint>
#include <memory>

#include "base/stringobj.h"
#include "detail/recordreader.h"
#include "detail/recordtext.h"

namespace tabulon {

struct ScanRecord {
  RecordView view;
  RecordText name;
  RecordText target;                      // REQUIRES: view.hasTarget
  const RecordText* directory = nullptr;  // path of the current directory; never null
  uint64_t directoryPosition = 0;         // file offset of its record; 0 before the first
  uint64_t allocatedSize = 0;             // size rounded up to the allocation unit; 0 without one

  const RecordFields& fields() const { return view.fields; }
};

}  // namespace tabulon
