#include "driver/cmdopts.h"

#include <string_view>

namespace tabulon {
namespace {

constexpr uint32_t kText = kOptTakesArgument | kOptArgumentRequired;
constexpr uint32_t kNumber = kText | kOptNumeric;

constexpr CmdOptions kOptions = {{
    {"dtl", kText},                   // detail file, "trawlx.dtl" when not given
    {"cfg", kText},                   // configuration file
    {"l", kText},                     // list log, standard output when not given
    {"e", kText},                     // error log, standard error when not given
    {"rdir", kText},                  // report directory, before the configuration's
    {"cat", kText | kOptRepeatable},  // selected report categories
    {"q", kText},                     // query, listing with directory headings
    {"qf", kText},                    // query, listing with full paths
    {"z", 0},                         // keep the duplicate finder's files
    {"qva", 0},                       // one QVA output file
    {"p", 0},                         // progress marks
    {"t", 0},                         // wildcard tester
    {"debug", kNumber},               // level of the debug log
    {"tempdir", kText},               // directory of temporary files
    {"tempid", kText},                // text woven into their names
    {"adsfull", 0},                   // list alternate data streams
    {},
}};

constexpr bool RowIs(CmdOptionIndex row, std::string_view name) {
  return kOptions[row].name == name;
}
static_assert(RowIs(kOptDtl, "dtl") && RowIs(kOptCfg, "cfg") && RowIs(kOptList, "l") &&
              RowIs(kOptErr, "e") && RowIs(kOptRdir, "rdir") && RowIs(kOptCat, "cat") &&
              RowIs(kOptQuery, "q") && RowIs(kOptQueryFull, "qf"));
static_assert(RowIs(kOptDebugFlag, "z") && RowIs(kOptQva, "qva") && RowIs(kOptProgress, "p") &&
              RowIs(kOptTester, "t") && RowIs(kOptDebug, "debug") &&
              RowIs(kOptTempDir, "tempdir") && RowIs(kOptTempId, "tempid") &&
              RowIs(kOptAdsFull, "adsfull"));

}  // namespace

CmdOptions NoOptionsGiven() {
  return kOptions;
}

}  // namespace tabulon
