// Records in batches, as the scan hands them on, for tests.
#pragma once

#include <functional>

#include "detail/pass.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {

// Hands the records of the scan on.
inline void ForEachBatch(const ScanSpec& spec, const BatchSink& use) {
  const Scan scan = OpenInMemory(BuildDtl(spec));
  RecordReader reader(scan);
  Pass pass(scan);
  uint64_t position = scan.logRoot.firstRecord;
  while (pass.batch.Fill(reader, position)) use(pass);
}

}  // namespace tabulon
