// Records in batches, as the scan hands them on, for tests.
#pragma once

#include <fcntl.h>

#include <functional>
#include <string>

#include "base/uniquefd.h"
#include "detail/recordbatch.h"
#include "support.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {

// Writes the scan to a file and hands its records on.
inline void ForEachBatch(const ScanSpec& scan, const std::function<void(RecordBatch&)>& use) {
  const TempDir dir;
  DtlMap map;
  WriteFile(dir / "scan", BuildDtl(scan, &map));
  const UniqueFd file(open((dir / "scan").c_str(), O_RDONLY));
  const RecordLayout& layout = scan.kind == ScanKind::kCifs ? kCifsRecord : kNfsRecord;
  RecordReader reader(file.get(), layout, (scan.revision & kRevisionMask) >= 7);
  RecordBatch batch(layout);
  uint64_t position = map.records.empty() ? map.recordsEnd : map.records.front();
  while (batch.Fill(reader, position)) use(batch);
}

}  // namespace tabulon
