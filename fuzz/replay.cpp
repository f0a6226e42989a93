// Gives a fuzz target every file of the directories named on the command line.
#include <cstdio>
#include <filesystem>
#include <vector>

#include "fuzz/target.h"
#include "tests/support.h"

int main(int argc, char** argv) {
  size_t files = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      const std::string bytes = tabulon::ReadFile(entry.path());
      std::fprintf(stderr, "%s\n", entry.path().c_str());
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++files;
    }
  }
  std::fprintf(stderr, "%zu inputs\n", files);
  return files > 0 ? 0 : 1;
}
