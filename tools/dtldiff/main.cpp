// dtldiff: the command line, and the run.
#include "tools/dtldiff/comparison.h"

namespace tabulon {
namespace {

int Main(int argc, char** argv) {
  const DiffOptions options = ParseDiffOptions(argc, argv);
  const int rows = TakeStandardOutput(kDtldiff);
  const QueriedScan older(options.older, options.where);
  const QueriedScan newer(options.scan, options.where);
  RequireOneKind(older.scan, older.name, newer.scan, newer.name);
  Changes changes(options, older, newer, rows);
  if (!ScanComparison(options, older, newer, changes).Run()) return kExitTrouble;
  changes.End();
  CloseRows(rows);
  if (changes.leftOut()) return kExitTrouble;
  return changes.any() ? 1 : 0;
}

}  // namespace
}  // namespace tabulon

// Status 1 would say that the scans differ.
int main(int argc, char** argv) {
  return tabulon::RunTool(argc, argv, tabulon::Main, tabulon::kExitTrouble);
}
