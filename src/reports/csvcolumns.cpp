#include "reports/csvcolumns.h"

#include <array>

#include "base/decimal.h"
#include "base/unitcode.h"
#include "config/reportfields.h"
#include "detail/attributes.h"

namespace tabulon {

enum class CsvValue : uint8_t {
  kNone,
  kName,
  kTarget,
  kType,
  kSize,
  kStreamSize,
  kCreated,
  kModified,
  kAccessed,
  kAttributes,
  kInode,
  kLinks,
  kUid,
  kGid,
  kMode,
  kSubdirCount,
};

namespace {

// A column by field code. Each field of a line but the first has a separator before it.
struct CsvColumn {
  FieldCode code;
  std::wstring_view header;  // empty: the column has no header
  CsvValue value;
};
// Owner, group and permissions have a header but no value, the mode a value but no header, so rows
// that hold them do not line up with the header row. Kept so.
constexpr CsvColumn kColumns[] = {
    {kFieldName, L"", CsvValue::kName},  // its header is written by hand
    {kFieldType, L"Type", CsvValue::kType},
    {kFieldSize, L"File size", CsvValue::kSize},
    {kFieldAds, L"ADS size", CsvValue::kStreamSize},
    {kFieldCdate, L"Create date", CsvValue::kCreated},
    {kFieldMdate, L"Modify date", CsvValue::kModified},
    {kFieldAdate, L"Last access date", CsvValue::kAccessed},
    {kFieldAttrs, L"Attributes", CsvValue::kAttributes},
    {kFieldOwner, L"Owner", CsvValue::kNone},
    {kFieldGroup, L"Group", CsvValue::kNone},
    {kFieldAcl, L"Permissions", CsvValue::kNone},
    {kFieldTarget, L"Symlink target", CsvValue::kTarget},
    {kFieldInode, L"Inode", CsvValue::kInode},
    {kFieldLinks, L"Links", CsvValue::kLinks},
    {kFieldUid, L"UID", CsvValue::kUid},
    {kFieldGid, L"GID", CsvValue::kGid},
    {kFieldMode, L"", CsvValue::kMode},
    {kFieldSdirCount, L"Subdirectory Count", CsvValue::kSubdirCount},
};

const CsvColumn* FindColumn(char code) {
  for (const CsvColumn& column : kColumns) {
    if (column.code == code) return &column;
  }
  return nullptr;
}

// Room for one value that is no text of the scan, and the separator before it.
constexpr size_t kValueRoom = 64;
static_assert(kTimeTextSize < kValueRoom && modeTbl.size() < kValueRoom);

void AddNameOf(const CsvColumns& columns, const ListingLine& line, LineWriter& out) {
  if (!ShowsFullPaths(columns.report())) {
    out.Add('F').Add(columns.separator());
  } else if (columns.report().type() == kReportSubdirCount) {
    out.Add(*line.directory);  // its records are the directories themselves
    return;
  } else {
    out.Add(*line.directoryPrefix);
  }
  out.Add(*line.name).Add(line.streamName);
}

// Without a branch for each bit: which of them are set follows no pattern.
template <size_t N>
char* PutLetters(char* out, const std::array<BitLetter, N>& letters, uint32_t bits) {
  for (const BitLetter& entry : letters) {
    const char letter = static_cast<char>(entry.letter);
    *out++ = (bits & entry.bit) != 0 ? letter : '-';
  }
  return out;
}

// Values that are not text of the scan, nor times. The count of subdirectories is kept where other
// records keep their modification time.
char* PutValue(CsvValue value, const ListingLine& line, char* at) {
  const RecordFields& fields = line.fields;
  switch (value) {
    case CsvValue::kType:
      *at++ = (fields.attributes() & kAttrDirectory) != 0 ? 'D' : 'F';
      return at;
    case CsvValue::kSize:
      return PutSigned(at, static_cast<int64_t>(line.size));
    case CsvValue::kStreamSize:
      return PutSigned(at, static_cast<int64_t>(line.streamSize));
    case CsvValue::kAttributes:
      return PutLetters(at, attrTbl, fields.attributes());
    case CsvValue::kMode:
      return PutLetters(at, modeTbl, fields.attributes());
    case CsvValue::kInode:
      return PutDecimal(at, fields.inode());
    case CsvValue::kLinks:
      return PutDecimal(at, fields.links());
    case CsvValue::kUid:
      return PutDecimal(at, fields.uid());
    case CsvValue::kGid:
      return PutDecimal(at, fields.gid());
    case CsvValue::kSubdirCount:
      return PutDecimal(at, fields.modified());
    default:
      return at;
  }
}

// The values of one line. Those between two texts are put into one stretch of room.
class CsvRow {
 public:
  CsvRow(const CsvColumns& columns, LineWriter& out)
      : columns_(columns), out_(out), room_(columns.values().size() * kValueRoom) {
    at_ = out_.Reserve(room_);
  }

  void AddValue(CsvValue value, const ListingLine& line) {
    AddSeparator();
    at_ = PutValue(value, line, at_);
  }
  void AddTime(uint32_t seconds, FileTimeFormatter& times) {
    AddSeparator();
    if (char* const end = times.Put(seconds, at_); end != nullptr) {
      at_ = end;
    } else {
      Around([&] { out_.Add(times.Format(seconds)); });
    }
  }
  void AddTarget(const ListingLine& line) {
    Around([&] { out_.Add(columns_.separator()).Add(*line.target).EndPiece(); });
  }
  void AddName(const ListingLine& line) {
    Around([&] {
      AddNameOf(columns_, line, out_);
      out_.EndPiece();
    });
  }
  void End() {
    out_.End(at_);
    out_.EndLine();
  }

 private:
  void AddSeparator() {
    if (IsAsciiUnit(columns_.separator())) {
      *at_++ = static_cast<char>(columns_.separator());
    } else {
      Around([&] { out_.Add(columns_.separator()); });
    }
  }
  // Takes what has been put, and goes on after what `add` adds.
  template <class Add>
  void Around(Add add) {
    out_.End(at_);
    add();
    at_ = out_.Reserve(room_);
  }

  const CsvColumns& columns_;
  LineWriter& out_;
  size_t room_;
  char* at_;
};

}  // namespace

CsvColumns::CsvColumns(const ReportDefinition& report, const Settings& settings)
    : report_(report), separator_(settings.csvSep) {
  for (const char code : report.fields) {
    const CsvColumn* const column = FindColumn(code);
    if (column != nullptr && column->value != CsvValue::kNone) values_.push_back(column->value);
  }
}

void FormatCsvColHdrs(const CsvColumns& columns, LineWriter& writer) {
  for (const char code : columns.report().fields) {
    if (code == kFieldName) {
      if (ShowsFullPaths(columns.report())) {
        writer.Add(std::string_view("Full path"));
      } else {
        writer.Add(std::string_view("Code"));
        writer.Add(columns.separator()).Add(std::string_view("Name"));
      }
      writer.EndPiece();
      continue;
    }
    const CsvColumn* column = FindColumn(code);
    if (column == nullptr || column->header.empty()) continue;
    writer.Add(columns.separator()).Add(column->header).EndPiece();
  }
  writer.EndLine();
}

void FormatCsvLine(const CsvColumns& columns, const ListingLine& line, FileTimeFormatter& times,
                   LineWriter& writer) {
  CsvRow row(columns, writer);
  for (const CsvValue value : columns.values()) {
    switch (value) {
      case CsvValue::kName:
        row.AddName(line);
        break;
      case CsvValue::kTarget:
        row.AddTarget(line);
        break;
      case CsvValue::kCreated:
        row.AddTime(line.fields.created(), times);
        break;
      case CsvValue::kModified:
        row.AddTime(line.fields.modified(), times);
        break;
      case CsvValue::kAccessed:
        row.AddTime(line.fields.accessed(), times);
        break;
      default:
        row.AddValue(value, line);
    }
  }
  row.End();
}

}  // namespace tabulon
