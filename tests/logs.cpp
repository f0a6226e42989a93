// The logs of a test program: standard output and standard error. A test makes its own to look at.
#include "base/loganderr.h"

namespace tabulon {
namespace {

Logs logs;

}  // namespace
}  // namespace tabulon
