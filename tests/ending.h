// How a piece of the program ends the run.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "base/loganderr.h"

namespace tabulon {

struct Ending {
  int status = 0;  // of the fatal exit; 0: there was none
  std::string err;
};

inline std::ostream& operator<<(std::ostream& out, const Ending& ending) {
  return out << "status " << ending.status << ", \"" << ending.err << '"';
}

inline Ending EndingOf(const std::function<void()>& part) {
  Ending ending;
  testing::internal::CaptureStderr();
  try {
    part();
  } catch (const EndOfRun& end) {
    ending.status = end.status;
  }
  ending.err = testing::internal::GetCapturedStderr();
  return ending;
}

}  // namespace tabulon

// That the statement ends the run with this status and writes what matches (a text: just that) to
// standard error.
#define EXPECT_ENDS(statement, expectedStatus, message)                                \
  EXPECT_THAT(tabulon::EndingOf([&] { (void)(statement); }),                           \
              testing::AllOf(testing::Field(&tabulon::Ending::status, expectedStatus), \
                             testing::Field(&tabulon::Ending::err, message)))
