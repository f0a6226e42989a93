#include "tools/dtldu/rowtable.h"

#include "tools/common/figures.h"
#include "tools/common/terminaltext.h"
#include "tools/scanreader/timetext.h"

namespace tabulon {
namespace {

constexpr size_t kSizeWidth = 11, kFilesWidth = 13, kDayWidth = 12;

int64_t Difference(uint64_t now, uint64_t before) {
  return static_cast<int64_t>(now) - static_cast<int64_t>(before);
}

ExportFormat DataFormat(DuFormat format) {
  return format == DuFormat::kNdjson ? ExportFormat::kNdjson : ExportFormat::kCsv;
}

}  // namespace

DuTable::DuTable(int fd, DuFormat format, bool compared, bool ofFiles)
    : format_(format),
      compared_(compared),
      ofFiles_(ofFiles),
      text_(fd),
      data_(fd, DataFormat(format)) {
  if (format == DuFormat::kText) TextHead();
  if (format != DuFormat::kCsv) return;
  data_.BeginRow();
  for (const char* name : {"path", "bytes", "own_bytes", "files", "newest"}) data_.Word(name);
  if (compared) {
    for (const char* name : {"bytes_before", "files_before", "growth"}) data_.Word(name);
  }
  data_.EndRow();
}

void DuTable::Row(const DuRow& row) {
  format_ == DuFormat::kText ? TextRow(row) : DataRow(row);
}

void DuTable::End(uint64_t left) {
  if (format_ == DuFormat::kText && left > 0) {
    text_.Raw("… and " + Grouped(left) + " more (--top 0)\n");
  }
  text_.Flush();
  data_.Flush();
}

// Columns are aligned to the right, with a blank between them.
void DuTable::Column(std::string_view text, size_t width) {
  for (size_t i = text.size(); i < width; ++i) text_.Put(' ');
  text_.Raw(text);
  text_.Put(' ');
}

void DuTable::TextHead() {
  Column("bytes", kSizeWidth);
  if (compared_) {
    Column("before", kSizeWidth);
    Column("growth", kSizeWidth);
    Column("files", kFilesWidth);
    Column("before", kFilesWidth);
    Column("growth", kFilesWidth);
  } else {
    if (!ofFiles_) Column("own", kSizeWidth);
    if (!ofFiles_) Column("files", kFilesWidth);
    Column(ofFiles_ ? "modified" : "newest", kDayWidth);
  }
  text_.Raw(" path\n");
}

void DuTable::TextRow(const DuRow& row) {
  text_.FlushWhenNearlyFull();
  Column(SizeText(row.bytes), kSizeWidth);
  if (compared_) {
    Column(SizeText(row.bytesBefore), kSizeWidth);
    Column(SignedText(Difference(row.bytes, row.bytesBefore), SizeText), kSizeWidth);
    Column(Grouped(row.files), kFilesWidth);
    Column(Grouped(row.filesBefore), kFilesWidth);
    Column(SignedText(Difference(row.files, row.filesBefore), Grouped), kFilesWidth);
  } else {
    if (!ofFiles_) Column(SizeText(row.own), kSizeWidth);
    if (!ofFiles_) Column(Grouped(row.files), kFilesWidth);
    Column(row.files > 0 ? TimeText(row.newest).day() : "-", kDayWidth);
  }
  text_.Put(' ');
  text_.Raw(Harmless(row.path));
  text_.Put('\n');
}

void DuTable::DataRow(const DuRow& row) {
  const bool json = format_ == DuFormat::kNdjson;
  const auto key = [&](std::string_view name) { data_.Key(json ? name : std::string_view()); };
  EscapeText(data_.format(), row.path, path_);
  data_.BeginRow();
  key("\"path\":");
  data_.Text(path_);
  if (json && !path_.valid) {
    key("\"path_bytes\":");
    data_.Hex(row.path, {});
  }
  key("\"bytes\":");
  data_.Number(row.bytes);
  key("\"own_bytes\":");
  data_.Number(row.own);
  key("\"files\":");
  data_.Number(row.files);
  key("\"newest\":");
  row.files > 0 ? data_.Time(row.newest) : data_.Null();
  if (compared_) {
    key("\"bytes_before\":");
    data_.Number(row.bytesBefore);
    key("\"files_before\":");
    data_.Number(row.filesBefore);
    key("\"growth\":");
    data_.Number(Difference(row.bytes, row.bytesBefore));
  }
  data_.EndRow();
}

}  // namespace tabulon
