#include "tools/mkdtl/defaultjobs.h"

#include <sys/vfs.h>

#include <algorithm>
#include <iterator>

#include "base/threads.h"

namespace tabulon {
namespace {

constexpr unsigned kMostJobs = 32;

// Types of filesystems that ask somebody else, from linux/magic.h and statfs(2).
// clang-format off
constexpr unsigned kDistant[] = {
    0x00006969,  // NFS
    0x0000517B,  // SMB
    0xFE534D42,  // SMB2
    0xFF534D42,  // CIFS
    0x65735546,  // FUSE
    0x00C36400,  // Ceph
    0x01021997,  // 9P
    0x5346414F,  // AFS
    0x6B414653,  // AFS, kernel's own
    0x73757245,  // Coda
    0x0000564C,  // NCP
    0x01161970,  // GFS2
    0x7461636F,  // OCFS2
    0x0BD00BD0,  // Lustre
    0x47504653,  // GPFS
    0x20030528,  // OrangeFS
    0x786F4256,  // VirtualBox's shared folders
};
// clang-format on

bool IsDistant(int directory) {
  struct statfs info;
  if (fstatfs(directory, &info) != 0) return false;
  // Numbers above 2^31 may come sign-extended.
  const auto type = static_cast<unsigned>(info.f_type);
  return std::find(std::begin(kDistant), std::end(kDistant), type) != std::end(kDistant);
}

}  // namespace

unsigned DefaultJobs(int directory) {
  if (IsDistant(directory)) return kMostJobs;
  return static_cast<unsigned>(std::min<size_t>(2 * AllowedProcessors(), kMostJobs));
}

}  // namespace tabulon
