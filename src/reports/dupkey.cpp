#include "reports/dupkey.h"

// The one-shot digest is what is wanted here; the library would rather see its general interface,
// which costs several times the digest of so short a buffer.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/unitcode.h"
#include "config/report.h"

namespace tabulon {
namespace {

// Odd constants with evenly spread bits, one for each thing that is mixed in.
constexpr uint64_t kMixSize = 0x9E3779B97F4A7C15;
constexpr uint64_t kMixTime = 0xD6E8FEB86659FD93;
constexpr uint64_t kMixText = 0xA0761D6478BD642F;
constexpr uint64_t kMixEnd = 0xE7037ED1A0B428DB;

// Both halves of the 128-bit product folded together: every bit of the input moves every bit.
uint64_t Mix(uint64_t a, uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

uint64_t MixBytes(uint64_t hash, std::string_view bytes) {
  const size_t length = bytes.size();
  for (; bytes.size() >= sizeof(uint64_t); bytes.remove_prefix(sizeof(uint64_t))) {
    hash = Mix(hash ^ LoadU64(bytes.data()), kMixText);
  }
  uint64_t rest = 0;
  for (const char byte : bytes) rest = rest << 8 | static_cast<unsigned char>(byte);
  return Mix(hash ^ rest, kMixEnd + length);
}

uint64_t LoadBigEndian(const unsigned char* bytes) {
  return __builtin_bswap64(LoadU64(bytes));
}

}  // namespace

uint64_t DupKey::Fingerprint(const RecordFields& record, const RecordText& name) {
  uint64_t hash = kMixTime;
  if ((fields_ & kDupMdate) != 0) hash ^= record.modified();
  if ((fields_ & kDupCdate) != 0) hash ^= uint64_t{record.created()} << 32;
  hash = Mix(record.size() ^ kMixSize, hash);
  if ((fields_ & kDupName) != 0) hash = MixText(hash, name, 0);
  if ((fields_ & kDupExtension) != 0 && name.LastDot() >= 0) {
    hash = MixText(hash, name, static_cast<size_t>(name.LastDot()));
  }
  return hash;
}

uint64_t DupKey::MixText(uint64_t hash, const RecordText& name, size_t from) {
  if (name.IsAscii()) return MixBytes(hash, name.Ascii().substr(from));
  // An ASCII extension hashes alike whatever the rest of the name holds.
  const std::wstring_view text = name.Wide().substr(from);
  narrowed_.clear();
  for (const wchar_t unit : text) {
    if (!IsAsciiUnit(unit)) hash = Mix(hash ^ static_cast<uint32_t>(unit), kMixText);
    narrowed_.push_back(static_cast<char>(unit));
  }
  return MixBytes(hash, narrowed_);
}

Digest DupKey::Md5(const RecordFields& record, const RecordText& name) {
  buffer_.clear();
  const auto append = [this](uint64_t value) {
    const size_t at = buffer_.size();
    buffer_.resize(at + sizeof value);
    std::memcpy(buffer_.data() + at, &value, sizeof value);
  };
  append(record.size());
  if ((fields_ & kDupMdate) != 0) append(record.modified());
  if ((fields_ & kDupCdate) != 0) append(record.created());
  if ((fields_ & kDupName) != 0) AppendText(name, 0);
  if ((fields_ & kDupExtension) != 0 && name.LastDot() >= 0) {
    AppendText(name, static_cast<size_t>(name.LastDot()));
  }
  unsigned char digest[MD5_DIGEST_LENGTH];
  MD5(buffer_.data(), buffer_.size(), digest);
  return {LoadBigEndian(digest), LoadBigEndian(digest + sizeof(uint64_t))};
}

void DupKey::AppendText(const RecordText& name, size_t from) {
  name.Visit([&](auto text) {
    text.remove_prefix(from);
    const size_t at = buffer_.size();
    buffer_.resize(at + text.size() * sizeof(uint32_t));
    unsigned char* out = buffer_.data() + at;
    for (const auto unit : text) {
      const auto wide = static_cast<uint32_t>(unit);
      std::memcpy(out, &wide, sizeof wide);
      out += sizeof wide;
    }
  });
}

}  // namespace tabulon
