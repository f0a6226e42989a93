// What the configuration's tests share: a configuration file made from text, and what it is read
// with.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <string_view>

#include "config/configfile.h"
#include "reports/reportkinds.h"
#include "support.h"
#include "tests/ending.h"
#include "tests/support/openscan.h"

namespace tabulon {

class ConfigTest : public ::testing::Test {
 protected:
  // Reads a configuration of this text; the report directory is `directory()` unless the text or a
  // setting names one.
  Configuration Read(std::string_view text) {
    if (!settings_.reportDir) settings_.reportDir = directory() + "/reports";
    return ReadPath(File(text));
  }
  Configuration ReadPath(const std::string& path) {
    return ReadConfiguration(path.c_str(), scan_, kReportKinds, settings_);
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
  Settings settings_;

 private:
  TempDir dir_;
};

// That the statement ends the run with status 1 and exactly this text on standard error.
#define EXPECT_FATAL(statement, message) EXPECT_ENDS(statement, 1, std::string(message))

}  // namespace tabulon
