#include "reports/csvcolumns.h"

#include <span>

#include "config/reportfields.h"
#include "detail/attributes.h"

namespace tabulon {
namespace {

// Everything that writing one field needs.
struct CsvRow {
  const ReportDefinition& report;
  wchar_t csvSep;
  const ListingLine& line;
  FileTimeFormatter& times;
  LineWriter& out;
};

void AddName(CsvRow& row) {
  if (!ShowsFullPaths(row.report)) {
    row.out.Add('F').Add(row.csvSep);
  } else if (row.report.type() == kReportSubdirCount) {
    row.out.Add(*row.line.directory);  // its records are the directories themselves
    return;
  } else {
    row.out.Add(*row.line.directoryPrefix);
  }
  row.out.Add(*row.line.name).Add(row.line.streamName);
}

void AddLetters(CsvRow& row, std::span<const BitLetter> letters) {
  for (const BitLetter& entry : letters) {
    const bool set = (row.line.fields.attributes() & entry.bit) != 0;
    row.out.Add(set ? static_cast<char>(entry.letter) : '-');
  }
}

void AddType(CsvRow& row) {
  row.out.Add((row.line.fields.attributes() & kAttrDirectory) != 0 ? 'D' : 'F');
}
void AddSize(CsvRow& row) {
  row.out.AddSigned(static_cast<int64_t>(row.line.size));
}
void AddStreamSize(CsvRow& row) {
  row.out.AddSigned(static_cast<int64_t>(row.line.streamSize));
}
void AddCreated(CsvRow& row) {
  row.out.Add(row.times.Format(row.line.fields.created()));
}
void AddModified(CsvRow& row) {
  row.out.Add(row.times.Format(row.line.fields.modified()));
}
void AddAccessed(CsvRow& row) {
  row.out.Add(row.times.Format(row.line.fields.accessed()));
}
void AddAttributes(CsvRow& row) {
  AddLetters(row, attrTbl);
}
void AddTarget(CsvRow& row) {
  row.out.Add(*row.line.target);
}
void AddInode(CsvRow& row) {
  row.out.AddNumber(row.line.fields.inode());
}
void AddLinks(CsvRow& row) {
  row.out.AddNumber(row.line.fields.links());
}
void AddUid(CsvRow& row) {
  row.out.AddNumber(row.line.fields.uid());
}
void AddGid(CsvRow& row) {
  row.out.AddNumber(row.line.fields.gid());
}
void AddMode(CsvRow& row) {
  AddLetters(row, modeTbl);
}
// The count of subdirectories is kept where other records keep their modification time.
void AddSubdirCount(CsvRow& row) {
  row.out.AddNumber(row.line.fields.modified());
}

// A column by field code. Each field of a line but the first has a separator before it.
struct CsvColumn {
  FieldCode code;
  std::wstring_view header;    // empty: the column has no header
  void (*value)(CsvRow& row);  // null: the column has no value
};
// Owner, group and permissions have a header but no value, the mode a value but no header, so rows
// that hold them do not line up with the header row. Kept so.
constexpr CsvColumn kColumns[] = {
    {kFieldType, L"Type", AddType},
    {kFieldSize, L"File size", AddSize},
    {kFieldAds, L"ADS size", AddStreamSize},
    {kFieldCdate, L"Create date", AddCreated},
    {kFieldMdate, L"Modify date", AddModified},
    {kFieldAdate, L"Last access date", AddAccessed},
    {kFieldAttrs, L"Attributes", AddAttributes},
    {kFieldOwner, L"Owner", nullptr},
    {kFieldGroup, L"Group", nullptr},
    {kFieldAcl, L"Permissions", nullptr},
    {kFieldTarget, L"Symlink target", AddTarget},
    {kFieldInode, L"Inode", AddInode},
    {kFieldLinks, L"Links", AddLinks},
    {kFieldUid, L"UID", AddUid},
    {kFieldGid, L"GID", AddGid},
    {kFieldMode, L"", AddMode},
    {kFieldSdirCount, L"Subdirectory Count", AddSubdirCount},
};

const CsvColumn* FindColumn(char code) {
  for (const CsvColumn& column : kColumns) {
    if (column.code == code) return &column;
  }
  return nullptr;
}

}  // namespace

void FormatCsvColHdrs(const ReportOutput& output, LineWriter& writer) {
  const ReportDefinition& report = output.report();
  const wchar_t csvSep = output.settings().csvSep;
  for (const char code : report.fields) {
    if (code == kFieldName) {
      if (ShowsFullPaths(report)) {
        writer.Add(std::string_view("Full path"));
      } else {
        writer.Add(std::string_view("Code")).Add(csvSep).Add(std::string_view("Name"));
      }
      writer.EndPiece();
      continue;
    }
    const CsvColumn* column = FindColumn(code);
    if (column == nullptr || column->header.empty()) continue;
    writer.Add(csvSep).Add(column->header).EndPiece();
  }
  writer.EndLine();
}

void FormatCsvLine(const ReportOutput& output, const ListingLine& line, FileTimeFormatter& times,
                   LineWriter& writer) {
  const ReportDefinition& report = output.report();
  const wchar_t csvSep = output.settings().csvSep;
  CsvRow row{report, csvSep, line, times, writer};
  for (const char code : report.fields) {
    if (code == kFieldName) {
      AddName(row);
      writer.EndPiece();
      continue;
    }
    const CsvColumn* column = FindColumn(code);
    if (column == nullptr || column->value == nullptr) continue;
    writer.Add(csvSep);
    column->value(row);
    writer.EndPiece();
  }
  writer.EndLine();
}

}  // namespace tabulon
