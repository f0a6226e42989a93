#include "tools/dtlexport/fields.h"

#include <algorithm>
#include <array>

#include "detail/attributes.h"

#include "tools/dtlexport/scantexts.h"

namespace tabulon {
namespace {

constexpr unsigned kInNfs = 1;
constexpr unsigned kInCifs = 2;
constexpr unsigned kInBoth = kInNfs | kInCifs;

constexpr uint32_t kPermissionBits = 07777;

// ---- Values

void WritePath(const ExportRow& row, RowWriter& out) {
  out.Text(row.directory().prefix, row.name());
}
void WriteDir(const ExportRow& row, RowWriter& out) {
  out.Text(row.directory().path);
}
bool HasDir(const ExportRow& row) {
  return row.directory().length > 0;  // the root of the scan has none
}
void WriteName(const ExportRow& row, RowWriter& out) {
  out.Text(row.name());
}

bool HasExt(const ExportRow& row) {
  return row.nameBytes().find('.') != std::string_view::npos && !row.fields().isDirectory();
}
// No escape holds a dot, so the last one is that of the name.
void WriteExt(const ExportRow& row, RowWriter& out) {
  ExportText extension;
  extension.escaped = row.name().escaped.substr(row.name().escaped.rfind('.') + 1);
  extension.quoted = row.name().quoted && !extension.escaped.empty();
  out.Text(extension);
}

struct FlagType {
  uint32_t flag;
  std::string_view name;
};
constexpr std::array<FlagType, 4> kFlagTypes = {{{kRecordDirectory, "dir"},
                                                 {kRecordSymlink, "symlink"},
                                                 {kRecordMountPoint, "mountpoint"},
                                                 {kRecordJunction, "junction"}}};
struct ModeType {
  uint32_t mode;  // file-type bits of a POSIX mode
  std::string_view name;
};
constexpr std::array<ModeType, 6> kModeTypes = {{{0010000, "fifo"},
                                                 {0020000, "char"},
                                                 {0040000, "dir"},
                                                 {0060000, "block"},
                                                 {0120000, "symlink"},
                                                 {0140000, "socket"}}};

std::string_view TypeOf(const RecordFields& fields, const Scan& scan) {
  const uint32_t flags = fields.flags();
  if ((flags & (kRecordDirectory | kRecordHasTarget)) != 0) {
    return std::ranges::find_if(kFlagTypes, [&](auto& row) { return (flags & row.flag) != 0; })
        ->name;
  }
  if (scan.isCifs()) return "file";
  const uint32_t mode = fields.attributes() & kModeTypeMask;
  const auto* const found = std::ranges::find(kModeTypes, mode, &ModeType::mode);
  return found != kModeTypes.end() ? found->name : "file";
}
void WriteType(const ExportRow& row, RowWriter& out) {
  out.Word(TypeOf(row.fields(), row.scan()));
}

template <auto Field>
void WriteNumber(const ExportRow& row, RowWriter& out) {
  out.Number((row.fields().*Field)());
}
template <auto Field>
void WriteTime(const ExportRow& row, RowWriter& out) {
  out.Time((row.fields().*Field)());
}

void WriteMode(const ExportRow& row, RowWriter& out) {
  out.Octal(row.fields().attributes() & kPermissionBits);
}

bool HasLetters(const ExportRow& row) {
  return std::ranges::any_of(
      attrTbl, [&](const BitLetter& each) { return (row.fields().attributes() & each.bit) != 0; });
}
void WriteLetters(const ExportRow& row, RowWriter& out) {
  std::array<char, attrTbl.size()> letters{};
  size_t count = 0;
  for (const BitLetter& each : attrTbl) {
    if ((row.fields().attributes() & each.bit) == 0) continue;
    letters[count++] = static_cast<char>(each.letter);
  }
  out.Word({letters.data(), count});
}

void WriteNameOf(const IdNames& names, uint32_t id, RowWriter& out) {
  const auto found = names.find(id);
  found != names.end() ? out.Text(found->second) : out.Null();
}
void WriteUser(const ExportRow& row, RowWriter& out) {
  WriteNameOf(row.texts().users, row.fields().uid(), out);
}
void WriteGroup(const ExportRow& row, RowWriter& out) {
  WriteNameOf(row.texts().groups, row.fields().gid(), out);
}

void WriteStreams(const ExportRow& row, RowWriter& out) {
  out.Number(static_cast<uint64_t>(row.view().streamCount));
}

bool HasTarget(const ExportRow& row) {
  return row.view().hasTarget;
}
void WriteTarget(const ExportRow& row, RowWriter& out) {
  out.Text(row.target());
}

bool PathIsOther(const ExportRow& row) {
  return !row.directory().path.valid || !row.name().valid;
}
void WritePathBytes(const ExportRow& row, RowWriter& out) {
  out.Hex(row.directory().stored, row.nameBytes());
}
bool DirIsOther(const ExportRow& row) {
  return !row.directory().path.valid;
}
void WriteDirBytes(const ExportRow& row, RowWriter& out) {
  out.Hex(row.directory().pathBytes(), {});
}
bool NameIsOther(const ExportRow& row) {
  return !row.name().valid;
}
void WriteNameBytes(const ExportRow& row, RowWriter& out) {
  out.Hex(row.nameBytes(), {});
}
bool TargetIsOther(const ExportRow& row) {
  return row.view().hasTarget && !row.target().valid;
}
void WriteTargetBytes(const ExportRow& row, RowWriter& out) {
  out.Hex(row.targetBytes(), {});
}

void WriteHost(const ExportRow& row, RowWriter& out) {
  out.Text(row.texts().host);
}
void WriteRoot(const ExportRow& row, RowWriter& out) {
  out.Text(row.texts().root);
}
void WriteScanned(const ExportRow& row, RowWriter& out) {
  out.Time(row.scan().logHdr.scanTime);
}

// In the order of the columns when no fields are named. A text's `_bytes` come right after it when
// NDJSON adds them.
using F = RecordFields;
constexpr ExportField kFields[] = {
    {"path", kInBoth, kInBoth, nullptr, WritePath},
    {"dir", kInBoth, kInBoth, HasDir, WriteDir},
    {"name", kInBoth, kInBoth, nullptr, WriteName},
    {"ext", kInBoth, kInBoth, HasExt, WriteExt},
    {"type", kInBoth, kInBoth, nullptr, WriteType},
    {"size", kInBoth, kInBoth, nullptr, WriteNumber<&F::size>},
    {"modified", kInBoth, kInBoth, nullptr, WriteTime<&F::modified>},
    {"accessed", kInBoth, kInBoth, nullptr, WriteTime<&F::accessed>},
    {"created", kInBoth, kInBoth, nullptr, WriteTime<&F::created>},
    {"mode", kInNfs, kInNfs, nullptr, WriteMode},
    {"attrs", kInCifs, kInCifs, HasLetters, WriteLetters},
    {"attributes", kInBoth, kInCifs, nullptr, WriteNumber<&F::attributes>},
    {"uid", kInNfs, kInNfs, nullptr, WriteNumber<&F::uid>},
    {"gid", kInNfs, kInNfs, nullptr, WriteNumber<&F::gid>},
    {"user", kInNfs, kInNfs, nullptr, WriteUser},
    {"group", kInNfs, kInNfs, nullptr, WriteGroup},
    {"inode", kInNfs, kInNfs, nullptr, WriteNumber<&F::inode>},
    {"links", kInNfs, kInNfs, nullptr, WriteNumber<&F::links>},
    {"streams", kInCifs, kInCifs, nullptr, WriteStreams},
    {"flags", kInBoth, kInBoth, nullptr, WriteNumber<&F::flags>},
    {"target", kInBoth, kInBoth, HasTarget, WriteTarget},
    {"path_bytes", kInBoth, kInBoth, PathIsOther, WritePathBytes, true},
    {"dir_bytes", kInBoth, 0, DirIsOther, WriteDirBytes, true},
    {"name_bytes", kInBoth, 0, NameIsOther, WriteNameBytes, true},
    {"target_bytes", kInBoth, kInBoth, TargetIsOther, WriteTargetBytes, true},
    {"host", kInBoth, 0, nullptr, WriteHost},
    {"root", kInBoth, 0, nullptr, WriteRoot},
    {"scanned", kInBoth, 0, nullptr, WriteScanned},
};

const ExportField* FindField(std::string_view name) {
  const auto* const found = std::ranges::find(kFields, name, &ExportField::name);
  return found != std::end(kFields) ? found : nullptr;
}

// For people: "path, dir, ...".
std::string FieldNames(unsigned scans) {
  std::string names;
  for (const ExportField& field : kFields) {
    if ((field.scans & scans) == 0) continue;
    names += (names.empty() ? "" : ", ") + std::string(field.name);
  }
  return names;
}

}  // namespace

std::optional<ExportColumns> ExportColumns::Choose(const Scan& scan, ExportFormat format,
                                                   std::optional<std::string_view> names,
                                                   std::string& problem) {
  ExportColumns columns;
  const unsigned kind = scan.isCifs() ? kInCifs : kInNfs;
  if (!names) {
    for (const ExportField& field : kFields) {
      if ((field.chosen & kind) != 0) columns.Add(format, field);
    }
    return columns;
  }
  for (size_t at = 0; at <= names->size();) {
    const size_t comma = std::min(names->find(',', at), names->size());
    const std::string name(names->substr(at, comma - at));
    at = comma + 1;
    const ExportField* const field = FindField(name);
    if (field == nullptr || (field->scans & kind) == 0) {
      problem = "rows of this scan have no field '" + name + "', but " + FieldNames(kind);
      return std::nullopt;
    }
    if (columns.Has(name) && !field->isBytes) {
      problem = "field '" + name + "' is named twice";
      return std::nullopt;
    }
    columns.Add(format, *field);
  }
  return columns;
}

void ExportColumns::Add(ExportFormat format, const ExportField& field) {
  if (Has(field.name)) return;
  const bool csv = format == ExportFormat::kCsv;
  columns_.push_back({&field, csv ? std::string() : '"' + std::string(field.name) + "\":"});
  if (csv) return;
  if (const ExportField* bytes = FindField(std::string(field.name) + "_bytes")) Add(format, *bytes);
}

void ExportColumns::WriteHeader(RowWriter& out) const {
  if (out.format() != ExportFormat::kCsv) return;
  out.BeginRow();
  for (const Column& column : columns_) out.Word(column.field->name);
  out.EndRow();
}

void ExportColumns::WriteRow(const ExportRow& row, RowWriter& out) const {
  out.BeginRow();
  for (const Column& column : columns_) {
    const ExportField& field = *column.field;
    const bool present = field.present == nullptr || field.present(row);
    if (!present && field.isBytes && out.format() == ExportFormat::kNdjson) continue;
    out.Key(column.key);
    present ? field.write(row, out) : out.Null();
  }
  out.EndRow();
}

bool ExportColumns::Has(std::string_view name) const {
  return std::ranges::any_of(columns_, [&](const Column& c) { return c.field->name == name; });
}

}  // namespace tabulon
