// Reports of a real directory against find and awk; the comparison itself is a script.
#include <gtest/gtest.h>

#include <iostream>

#include "support.h"

namespace tabulon {
namespace {

TEST(Peers, AgreeOnARealDirectory) {
  const std::string script = SOURCE_DIR "/tests/driver/peers.sh";
  const RunResult run = RunProgram({script, TabulonPath(), MkdtlPath()});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  std::cout << run.out;
}

}  // namespace
}  // namespace tabulon
