// What the configuration's tests share: every setting at its default before each test, and a
// configuration file made from text.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/format.h"
#include "config/configfile.h"
#include "config/report.h"
#include "config/settings.h"
#include "detail/bands.h"
#include "detail/recordclass.h"
#include "detail/scandetail.h"
#include "query/classlist.h"
#include "query/datevalue.h"
#include "query/filter.h"
#include "support.h"
#include "tests/ending.h"
#include "tests/support/openscan.h"

namespace tabulon {

class ConfigTest : public ::testing::Test {
 protected:
  ConfigTest() { ForgetConfiguration(); }
  ~ConfigTest() override { ForgetConfiguration(); }

  static void ForgetConfiguration() {
    reportList.clear();
    classList.clear();
    FreeFilters();
    ResetSettings();
    ResetBands();
    configEOF = 0;
    scanDateRelative = 1;
    fileIncr = 0;
    maxPath = 1024;
    maxPathUnits = kPathUtfBytes;
    isoCodepage = 1;
  }

  // Reads a configuration of this text; the report directory is `directory()` unless the text or an
  // earlier setting names one.
  void Read(std::string_view text) {
    if (!reportDir) reportDir = directory() + "/reports";
    ProcessConfigFile(File(text).c_str(), scan_);
  }
  // The path of a configuration file of this text.
  std::string File(std::string_view text) const {
    WriteFile(dir_ / "test.cfg", text);
    return dir_ / "test.cfg";
  }
  const std::string directory() const { return dir_.path(); }
  std::string Path(std::string_view name) const { return dir_ / name; }

  static std::wstring Wide(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

  Scan scan_ = ScanOfKind(kRootNfs);

 private:
  TempDir dir_;
};

// That the statement ends the run with status 1 and exactly this text on standard error.
#define EXPECT_FATAL(statement, message) EXPECT_ENDS(statement, 1, std::string(message))

}  // namespace tabulon
