// Security descriptors and accounts of made-up CIFS scans, counted so that the uses told with each
// SID agree with the descriptors that the records were given.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/mkdtl/random.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

class SecurityMaker {
 public:
  explicit SecurityMaker(Random& random);

  // Gives the next record a descriptor and returns the record flags that follow from it.
  uint32_t Draw(Random& random) {
    Descriptor& drawn = descriptors_[random.Skewed(static_cast<uint32_t>(descriptors_.size()))];
    ++drawn.uses;
    return drawn.recordFlags;
  }

  // Fills in the tables of the scan, once all records are drawn.
  void Finish(ScanSpec& spec) const;

  static constexpr uint32_t kOwners = 50;
  static constexpr uint32_t kDescriptors = 300;
  static constexpr uint32_t kOrdinary = 20;  // the first ones, drawn most often

 private:
  static constexpr size_t kNobody = SIZE_MAX;
  struct Descriptor {
    size_t owner = kNobody;  // indexes into sids_
    size_t group = kNobody;
    std::vector<size_t> allowed;
    uint32_t recordFlags = 0;
    uint32_t uses = 0;
  };

  void MakeAccounts();
  void AddAccount(std::string name, uint32_t domain, int32_t type, std::string sid);
  Descriptor MakeOrdinary(Random& random) const;
  Descriptor MakeOdd(Random& random, uint32_t number) const;
  uint32_t RecordFlags(const Descriptor& descriptor) const;
  bool IsOrphan(size_t account) const;
  std::string DescriptorBytes(const Descriptor& descriptor) const;

  std::vector<SidSpec> sids_;
  size_t orphan_ = kNobody;  // an account that was deleted
  std::vector<Descriptor> descriptors_;
};

}  // namespace tabulon
