#include "reports/dupkey.h"

// The library declares its plain digest deprecated in favour of a general interface, whose set-up
// costs several times the digest of so short a buffer.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <cstring>

#include "base/bytes.h"
#include "base/unitcode.h"
#include "config/reportdefinition.h"
#include "query/choosepassing.h"

namespace tabulon {
namespace {

// Odd constants with evenly spread bits, one for each thing that is mixed in.
constexpr uint64_t kMixSize = kGoldenMultiplier;
constexpr uint64_t kMixTime = 0xD6E8FEB86659FD93;
constexpr uint64_t kMixText = 0xA0761D6478BD642F;
constexpr uint64_t kMixEnd = 0xE7037ED1A0B428DB;

inline uint64_t MixFields(const RecordFields& record, uint32_t fields) {
  uint64_t hash = kMixTime;
  if ((fields & kDupMdate) != 0) hash ^= record.modified();
  if ((fields & kDupCdate) != 0) hash ^= uint64_t{record.created()} << 32;
  return FoldedProduct(record.size() ^ kMixSize, hash);
}

// Mixes in the end of a text of `length` bytes: its last one to eight, the last one highest, or 0
// for an empty text.
inline uint64_t MixEnd(uint64_t hash, uint64_t word, size_t length) {
  return FoldedProduct(hash ^ word, kMixEnd + length);
}

uint64_t MixBytes(uint64_t hash, std::string_view bytes) {
  const size_t length = bytes.size();
  for (; bytes.size() > kWordBytes; bytes.remove_prefix(kWordBytes)) {
    hash = FoldedProduct(hash ^ LoadU64(bytes.data()), kMixText);
  }
  uint64_t word = 0;
  std::memcpy(&word, bytes.data(), bytes.size());
  return MixEnd(hash, word, length);
}

uint64_t LoadBigEndian(const unsigned char* bytes) {
  return __builtin_bswap64(LoadU64(bytes));
}

}  // namespace

std::span<const uint64_t> DupKey::Fingerprints(Pass& pass) {
  RecordBatch& batch = pass.batch;
  const uint32_t fields = fields_;
  const uint32_t texts = fields & (kDupName | kDupExtension);
  uint64_t* out = fingerprints_.data();
  if (texts == 0) {
    ForEachChosen(pass, [&](size_t i) { *out++ = MixFields(batch.fields(i), fields); });
  } else if (!LookAtNamesFor(pass) || texts != kDupExtension) {
    ForEachChosen(pass, [&](size_t i) { *out++ = Fingerprint(batch, i); });
  } else {
    // Most extensions are in the tail of an ASCII name: a few shifts, and no loop.
    const RecordBatch::Names& names = batch.names();
    ForEachChosen(pass, [&](size_t i) {
      const uint64_t tail = names.tail[i];
      const uint64_t dots = MarksOf('.', tail);
      if (dots != 0 && names.other[i] == 0) {
        const auto after = static_cast<uint32_t>(__builtin_clzll(dots)) / 8;  // letters after it
        *out++ = MixEnd(MixFields(batch.fields(i), fields), tail >> (kWordBits - 8 - 8 * after),
                        after + 1);
      } else {
        const bool isFile = (batch.fields(i).attributes() & kAttrDirectory) == 0;
        *out++ = isFile ? Fingerprint(batch, i) : 0;
      }
    });
  }
  return {fingerprints_.data(), pass.chosen.count};
}

uint64_t DupKey::Fingerprint(RecordBatch& batch, size_t i) {
  return MixName(MixFields(batch.fields(i), fields_), batch.At(i).name);
}

uint64_t DupKey::MixName(uint64_t hash, const RecordText& name) {
  if ((fields_ & kDupName) != 0) hash = MixText(hash, name, 0);
  if ((fields_ & kDupExtension) != 0 && name.LastDot() >= 0) {
    hash = MixText(hash, name, static_cast<size_t>(name.LastDot()));
  }
  return hash;
}

uint64_t DupKey::MixText(uint64_t hash, const RecordText& name, size_t from) {
  if (name.IsAscii()) return MixBytes(hash, name.Ascii().substr(from));
  // An ASCII extension gets the same hash whether the rest of the name is ASCII or not.
  const std::wstring_view text = name.Wide().substr(from);
  narrowed_.clear();
  for (const wchar_t unit : text) {
    if (!IsAsciiUnit(unit)) hash = FoldedProduct(hash ^ static_cast<uint32_t>(unit), kMixText);
    narrowed_.push_back(static_cast<char>(unit));
  }
  return MixBytes(hash, narrowed_);
}

std::span<const unsigned char> DupKey::CheckBuffer(const RecordFields& record,
                                                   const RecordText& name) {
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
  return buffer_;
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

Digest Md5(std::span<const unsigned char> message) {
  unsigned char digest[MD5_DIGEST_LENGTH];
  MD5(message.data(), message.size(), digest);
  return {LoadBigEndian(digest), LoadBigEndian(digest + sizeof(uint64_t))};
}

}  // namespace tabulon
