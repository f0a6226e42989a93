// Made-up scans are the same bytes everywhere.
#include <zlib.h>

#include "companion.h"

namespace tabulon {
namespace {

// The checksums hold on every machine; a change of the generator changes them for good.
TEST(Synth, SameSeedGivesTheSameBytesEverywhere) {
  const TempDir dir;
  const std::pair<std::string, uint32_t> rows[] = {{"nfs --records 1", 3101122933},
                                                   {"cifs --records 41", 1586929969},
                                                   {"nfs --records 20000 --seed 5", 211786761},
                                                   {"nfs --records 3000 --distinct", 2553920420},
                                                   {"cifs --records 20000 --seed 5", 3617513785},
                                                   {"cifs --records 3000 --distinct", 2163968578}};
  for (const auto& [options, checksum] : rows) {
    EXPECT_EQ(RunShell(dir, "mkdtl synth s.dtl --kind " + options).status, 0);
    const std::string bytes = ReadFile(dir / "s.dtl");
    EXPECT_EQ(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()), checksum)
        << options;
  }
}

}  // namespace
}  // namespace tabulon
