// dtldu: the command line, and what each of its forms runs.
#include "base/loganderr.h"
#include "tools/dtldu/largestfiles.h"
#include "tools/dtldu/ncdu.h"
#include "tools/dtldu/rows.h"

namespace tabulon {
namespace {

uint64_t BytesToRead(const QueriedScan& scan) {
  return AssumedRecordsEnd(scan.scan) - scan.scan.logRoot.firstRecord;
}

bool Whole(bool whole, const QueriedScan& scan) {
  if (!whole) TellBreakOff(scan);
  return whole;
}

bool Count(const QueriedScan& scan, const DuOptions& options, int number, DirTree& tree,
           ReadProgress& progress) {
  HardLinks links(scan.scan);
  return CountScan(scan, number, options.linksOnce ? &links : nullptr, tree, progress);
}

void WriteRows(const DirTree& tree, const DirRows& rows, std::string_view root, DuTable& table) {
  std::string path;
  for (const DirNumber dir : rows.dirs) {
    const DirSums& now = tree.sums(0, dir);
    DuRow row{
        .path = {}, .bytes = now.bytes, .own = now.own, .files = now.files, .newest = now.newest};
    if (tree.scans() > 1) {
      row.bytesBefore = tree.sums(1, dir).bytes;
      row.filesBefore = tree.sums(1, dir).files;
    }
    tree.PathOf(dir, root, path);
    row.path = path;
    table.Row(row);
  }
  table.End(rows.left);
}

bool ShowDirectories(const DuOptions& options, const QueriedScan& scan, int rows) {
  std::optional<QueriedScan> older;
  if (options.older) older.emplace(*options.older, options.where);
  if (older) RequireOneKind(older->scan, older->name, scan.scan, scan.name);
  ReadProgress progress(BytesToRead(scan) + (older ? BytesToRead(*older) : 0), -1);
  DirTree tree(scan.separator(), older ? 2 : 1);
  bool whole = Whole(Count(scan, options, 0, tree, progress), scan);
  if (older) whole = Whole(Count(*older, options, 1, tree, progress), *older) && whole;
  progress.Stop();
  tree.AddUp();
  const DirNumber first = options.dir ? FindDirectory(tree, scan.root, *options.dir) : kRootDir;
  if (first == kNoDir) ErrExit(L"The scan has no directory '%s'\n", *options.dir);
  DuTable table(rows, options.format, older.has_value(), false);
  WriteRows(tree, ChooseRows(tree, options, first), scan.root, table);
  return whole;
}

bool ShowLargest(const DuOptions& options, const QueriedScan& scan, int rows) {
  ReadProgress progress(BytesToRead(scan), -1);
  DuTable table(rows, options.format, false, true);
  const bool whole = ShowFiles(scan, options, table, progress);
  table.End(0);
  return Whole(whole, scan);
}

bool ShowTree(const DuOptions& options, const QueriedScan& scan, int rows) {
  ReadProgress progress(2 * BytesToRead(scan), rows);
  return Whole(WriteNcdu(scan, options, rows, progress), scan);
}

int Main(int argc, char** argv) {
  const DuOptions options = ParseDuOptions(argc, argv);
  const int rows = TakeStandardOutput(kDtldu);
  const QueriedScan scan(options.scan, options.where);
  const bool whole = options.format == DuFormat::kNcdu ? ShowTree(options, scan, rows)
                     : options.files                   ? ShowLargest(options, scan, rows)
                                                       : ShowDirectories(options, scan, rows);
  CloseRows(rows);
  return whole ? kExitDone : kExitIncomplete;
}

}  // namespace
}  // namespace tabulon

int main(int argc, char** argv) {
  return tabulon::RunTool(argc, argv, tabulon::Main);
}
