// Every cut and every change of a scan file ends in a clean run: status 0 or 1 with a message, no
// signal, no sanitizer report, bounded time and memory, no file left behind.
//
// A sample of the cases runs each time, all of them with TABULON_FULL set.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "fuzz/samples.h"
#include "fuzz/sandbox.h"

namespace tabulon {
namespace {

// Takes one case of `stride`, another one in each sweep; every case in the full set.
class Sampler {
 public:
  explicit Sampler(size_t stride) : stride_(SweepStep(stride, 1)), at_(stride_ / 2) {}
  bool Takes() { return at_++ % stride_ == 0; }

 private:
  size_t stride_;
  size_t at_;
};

// Seconds of processor time for a run on 64 KiB: any, and one that a huge count must not lengthen.
// Sanitizers, or a build without optimising, make each several times as long.
constexpr double kLongestRun = 1;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr double kShortRun = 0.25;
#else
constexpr double kShortRun = 0.05;
#endif

using Arguments = std::vector<std::string>;

class Sweep : public testing::TestWithParam<size_t> {
 protected:
  Sweep() : sample_(Samples()[GetParam()]) {
    WriteFile(box_.dir() / "c.cfg", SampleConfiguration(sample_.kind));
    for (Arguments& road : roads_) {
      road.insert(road.end(), {"-dtl", "x.dtl"});
      if (sample_.name.back() != '6') road.push_back("-adsfull");
      sound_.push_back(Run(sample_.bytes, road));
      EXPECT_EQ(sound_.back().status, 0)
          << testing::PrintToString(road) << ": " << sound_.back().err;
    }
  }

  Outcome Run(const std::string& bytes, const Arguments& road) {
    WriteFile(box_.dir() / "x.dtl", bytes);
    const bool leaks = ++runs_ % 16 == 0;
    box_.tuning.dupLimits = {.runFiles = 10, .gathered = 8, .sorted = 8, .written = 3};
    return box_.Run(road, {}, leaks);
  }

  void ExpectClean(const std::string& bytes, const std::string& what,
                   double seconds = kLongestRun) {
    for (size_t i = 0; i < roads_.size() && !HasFailure(); ++i) {
      const Outcome run = Run(bytes, roads_[i]);
      SCOPED_TRACE(sample_.name + ", " + testing::PrintToString(roads_[i]) + ", " + what);
      EXPECT_TRUE(run.Clean()) << run.status << ' ' << run.signal << ": " << run.err;
      EXPECT_LT(run.seconds, seconds);
      const uint64_t allowed = 4 * bytes.size() + (uint64_t{1} << 20);
      EXPECT_LE(run.peakHeap, sound_[i].peakHeap + allowed);
      for (const std::string& name : box_.dir().Entries()) {
        // Queries of CIFS scans leave the descriptors' file.
        const bool descriptors = name.starts_with("sdtem");
        if (descriptors) unlink((box_.dir() / name).c_str());
        EXPECT_TRUE(descriptors || name == "x.dtl" || name == "c.cfg" || name == "r") << name;
      }
    }
  }

  // The sweeps that take long for all samples do so for one of each kind.
  bool IsWhole() const { return sample_.name.back() == '8'; }

  const Sample& sample_;
  Sandbox box_;
  // The summary, reports, a query.
  std::vector<Arguments> roads_ = {
      {}, {"-cfg", "c.cfg", "-rdir", "r", "-cat", "all"}, {"-qf", SampleQuery(sample_.kind)}};
  std::vector<Outcome> sound_;  // runs on the sound scan, by road
  size_t runs_ = 0;
};

TEST_P(Sweep, Cuts) {
  Sampler sampler(509);
  for (size_t size = 0; size < sample_.bytes.size(); ++size) {
    if (sampler.Takes())
      ExpectClean(sample_.bytes.substr(0, size), "cut at " + std::to_string(size));
  }
}

TEST_P(Sweep, FlippedBits) {
  Sampler sampler(IsWhole() ? 2003 : 401);
  const size_t bytes = IsWhole() ? sample_.bytes.size() : sample_.blocks;
  for (size_t bit = 0; bit < bytes * 8; ++bit) {
    if (!sampler.Takes()) continue;
    std::string changed = sample_.bytes;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ 1 << bit % 8);
    ExpectClean(changed, "bit " + std::to_string(bit));
  }
}

TEST_P(Sweep, LyingNumbers) {
  Sampler sampler(307);
  for (const Field& field : sample_.fields) {
    const auto left = static_cast<uint32_t>(sample_.bytes.size() - field.at - field.width);
    const std::set<uint32_t> values = {
        0,       1,          0x7F,       0x80,       0xFF,       0x7FFF, 0x8000,   0xFFFF,
        0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF, left,   left - 1, left + 1};
    for (const uint32_t value : values) {
      if ((field.width == 2 && value > 0xFFFF) || !sampler.Takes()) continue;
      ExpectClean(WithField(sample_.bytes, field, value),
                  std::to_string(value) + " at " + std::to_string(field.at));
    }
  }
}

// A count of 4,294,967,295 in a file of 64 KiB costs next to nothing.
TEST_P(Sweep, HugeCountsInLargerFiles) {
  Sampler sampler(29);
  std::string larger = sample_.bytes;
  larger.resize(0x10000, '\0');
  for (const Field& field : sample_.fields) {
    if (field.width != 4 || !sampler.Takes()) continue;
    ExpectClean(WithField(larger, field, 0xFFFFFFFF), "huge at " + std::to_string(field.at),
                kShortRun);
  }
}

INSTANTIATE_TEST_SUITE_P(AllSamples, Sweep, testing::Range<size_t>(0, 6),
                         [](const auto& row) { return Samples()[row.param].name; });

}  // namespace
}  // namespace tabulon
