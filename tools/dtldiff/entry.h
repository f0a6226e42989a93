// What a comparison keeps of a file that it cannot compare on the spot, and where to find the rest.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "detail/recordreader.h"
#include "tools/dtldiff/options.h"

namespace tabulon {

// A digest of a path. Two seeds that nobody knows beforehand make equal digests of different paths
// as likely as nothing.
struct PathDigest {
  uint64_t first = 0, second = 0;
  auto operator<=>(const PathDigest&) const = default;
};

// The seeds of one run.
struct Seeds {
  Seeds();
  uint64_t first, second;

  PathDigest OfDirectory(std::string_view path) const;
  PathDigest OfFile(const PathDigest& directory, std::string_view name) const;
  uint64_t OfText(std::string_view text) const;  // never 0
};

inline constexpr uint64_t kNoRecord = ~uint64_t{0};

// Where a file's record is, and that of its directory (kNoRecord: it is in front of all).
struct FilePlace {
  uint64_t directory = kNoRecord;
  uint64_t file = kNoRecord;
};

struct FileEntry {
  PathDigest path;
  FilePlace place;
  uint64_t size = 0;
  uint64_t target = 0;   // of a link, hashed; 0: none
  uint64_t moveKey = 0;  // equal for what may be one file in two places
  uint32_t flags = 0, attributes = 0;
  uint32_t created = 0, accessed = 0, modified = 0;
  uint32_t uid = 0, gid = 0;
  uint32_t inode = 0, links = 0;
  uint32_t passes = 0;  // not 0: the query selects it
};

// Fills in all but the digest and the query's verdict.
FileEntry EntryOf(const RecordView& view, const FilePlace& place, bool cifs, const Seeds& seeds);

// How the two states of a file differ; none: not at all. `sameTarget`: they lead to one target, or
// neither is a link. `metadata`: look at owner, mode and access time as well. Both have the members
// of FileEntry as functions or values, through `Get`.
struct ComparedState {
  uint64_t size;
  uint32_t modified, type;
  uint32_t attributes, uid, gid, accessed;
};
ComparedState StateOf(const RecordFields& fields, bool cifs);
ComparedState StateOf(const FileEntry& entry, bool cifs);
std::optional<ChangeKind> ChangeOf(const ComparedState& before, const ComparedState& after,
                                   bool sameTarget, bool metadata);

// Whether the two are surely one file in two places, as far as a scan can tell. REQUIRES: their
// moveKey is equal.
bool MayBeMoved(const FileEntry& before, const FileEntry& after, bool cifs);
// Whether the two are names of one file in one scan.
bool AreLinked(const FileEntry& a, const FileEntry& b);

}  // namespace tabulon
