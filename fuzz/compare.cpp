// Two record streams, the older and the newer one, through dtldu and dtldiff. The first byte
// chooses the scan kind, the next two say how long the first stream is. Every file counts once in
// the sums, and a scan never differs from itself.
#include <fcntl.h>

#include <string>

#include "fuzz/target.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"
#include "tools/dtldiff/comparison.h"
#include "tools/dtldu/counting.h"
#include "tools/dtldu/ncdu.h"

using namespace tabulon;

namespace {

QueriedScan Open(bool nfs, std::string_view records) {
  std::string bytes = BuildDtl({.kind = nfs ? ScanKind::kNfs : ScanKind::kCifs,
                                .rootPath = nfs ? "/srv" : "C:\\",
                                .endMarker = false});
  bytes.append(records);
  return {"x.dtl", OpenInMemory(bytes, {.security = false})};
}

void Count(const QueriedScan& older, const QueriedScan& newer, int null) {
  ReadProgress progress(0, -1);
  HardLinks links(newer.scan);
  DirTree tree(newer.separator(), 2);
  CountScan(newer, 0, &links, tree, progress);
  CountScan(older, 1, nullptr, tree, progress);
  uint64_t files[2] = {};
  for (DirNumber dir = 0; dir < tree.size(); ++dir) {
    for (int scan = 0; scan < 2; ++scan) files[scan] += tree.sums(scan, dir).files;
  }
  tree.AddUp();
  for (int scan = 0; scan < 2; ++scan) Require(tree.sums(scan, kRootDir).files == files[scan]);
  DuOptions options;
  WriteNcdu(newer, options, null, progress);
}

// Whether the comparison told a change.
bool Differ(const QueriedScan& older, const QueriedScan& newer, int null) {
  DiffOptions options;
  options.metadata = true;
  options.held = 3;  // so that a few files already go through temporary files
  Changes changes(options, older, newer, null);
  if (ScanComparison(options, older, newer, changes).Run()) changes.End();
  return changes.any();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kHead = 3;
  if (size < kHead) return 0;
  const bool nfs = (data[0] & 1) != 0;
  const std::string_view records = AsText(data + kHead, size - kHead);
  const size_t length = (data[1] | size_t{data[2]} << 8) % (records.size() + 1);
  RunPart([&] {
    const UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    {
      const QueriedScan older = Open(nfs, records.substr(0, length));
      Count(older, older, null.get());
      Require(!Differ(older, older, null.get()));
    }
    const QueriedScan older = Open(nfs, records.substr(0, length));
    const QueriedScan newer = Open(nfs, records.substr(length));
    Count(older, newer, null.get());
    Differ(older, newer, null.get());
  });
  return 0;
}
