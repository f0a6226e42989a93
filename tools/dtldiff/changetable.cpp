#include "tools/dtldiff/changetable.h"

#include "base/loganderr.h"
#include "tools/common/figures.h"
#include "tools/common/terminaltext.h"

namespace tabulon {
namespace {

constexpr size_t kKindWidth = 9, kSizeWidth = 11, kFilesWidth = 13;

ExportFormat DataFormat(DiffFormat format) {
  return format == DiffFormat::kNdjson   ? ExportFormat::kNdjson
         : format == DiffFormat::kPaths0 ? ExportFormat::kPaths0
                                         : ExportFormat::kCsv;
}

}  // namespace

ChangeTable::ChangeTable(const DiffOptions& options, int fd)
    : options_(options), text_(fd), data_(fd, DataFormat(options.format)) {
  if (options.format != DiffFormat::kCsv) return;
  data_.BeginRow();
  data_.Word("change");
  if (options.summary) data_.Word("files");
  for (const char* name : {"bytes_before", "bytes_after", "difference"}) data_.Word(name);
  if (!options.summary) {
    data_.Word("path");
    data_.Word("new_path");
  }
  data_.EndRow();
}

bool ChangeTable::Row(const ChangeRow& row) {
  if (options_.top != 0 && rows_ == options_.top) return false;
  ++rows_;
  if (options_.format == DiffFormat::kText) {
    TextRow(row);
  } else if (options_.format == DiffFormat::kPaths0) {
    PathRow(row);
  } else {
    DataRow(row);
  }
  return true;
}

void ChangeTable::End(const ChangeTotals& totals) {
  if (options_.format == DiffFormat::kText) TextSummary(totals);
  if (options_.format != DiffFormat::kText && options_.summary) DataSummary(totals);
  text_.Flush();
  data_.Flush();
}

// Columns are aligned to the right, with a blank between them.
void ChangeTable::Column(std::string_view text, size_t width) {
  for (size_t i = text.size(); i < width; ++i) text_.Put(' ');
  text_.Raw(text);
  text_.Put(' ');
}

void ChangeTable::TextHead(std::string_view first, size_t width) {
  text_.Raw(first);
  for (size_t i = first.size(); i < width; ++i) text_.Put(' ');
  for (const char* name : {"difference", "before", "after"}) Column(name, kSizeWidth);
}

void ChangeTable::TextFigures(uint64_t before, uint64_t after) {
  Column(SignedText(static_cast<int64_t>(after) - static_cast<int64_t>(before), SizeText),
         kSizeWidth);
  Column(SizeText(before), kSizeWidth);
  Column(SizeText(after), kSizeWidth);
}

void ChangeTable::TextRow(const ChangeRow& row) {
  if (rows_ == 1) {
    TextHead("change", kKindWidth);
    text_.Raw(" path\n");
  }
  text_.FlushWhenNearlyFull();
  text_.Raw(NameOf(row.kind));
  for (size_t i = NameOf(row.kind).size(); i < kKindWidth; ++i) text_.Put(' ');
  TextFigures(row.before, row.after);
  text_.Put(' ');
  text_.Raw(Harmless(row.path));
  if (row.kind == ChangeKind::kMoved) text_.Raw(" -> " + Harmless(row.newPath));
  text_.Put('\n');
}

// Nothing at all when nothing has changed, so that a nightly job sends no mail.
void ChangeTable::TextSummary(const ChangeTotals& totals) {
  uint64_t all = 0;
  for (const ChangeSum& sum : totals) all += sum.files;
  if (all == 0) return;
  if (!options_.summary && rows_ < all) text_.Raw("… and " + Grouped(all - rows_) + " more\n");
  if (!options_.summary) text_.Put('\n');
  text_.Raw("change    ");
  Column("files", kFilesWidth);
  TextHead("", 0);
  text_.DropLast(' ');
  text_.Put('\n');
  for (size_t i = 0; i < totals.size(); ++i) {
    if (totals[i].files == 0) continue;
    text_.Raw(kChangeNames[i]);
    for (size_t j = kChangeNames[i].size(); j <= kKindWidth; ++j) text_.Put(' ');
    Column(Grouped(totals[i].files), kFilesWidth);
    TextFigures(totals[i].before, totals[i].after);
    text_.DropLast(' ');
    text_.Put('\n');
  }
}

// What precedes a value.
void ChangeTable::Key(std::string_view name) {
  if (data_.format() != ExportFormat::kNdjson) return;
  data_.Key("\"");
  data_.Key(name);
  data_.Key("\":");
}

void ChangeTable::DataFigures(uint64_t before, uint64_t after) {
  Key("bytes_before");
  data_.Number(before);
  Key("bytes_after");
  data_.Number(after);
  Key("difference");
  data_.Number(static_cast<int64_t>(after) - static_cast<int64_t>(before));
}

void ChangeTable::DataPath(std::string_view name, std::string_view path) {
  Key(name);
  EscapeText(data_.format(), path, escaped_);
  data_.Text(escaped_);
  if (escaped_.valid || data_.format() != ExportFormat::kNdjson) return;
  Key(std::string(name) + "_bytes");
  data_.Hex(path, {});
}

void ChangeTable::DataRow(const ChangeRow& row) {
  data_.BeginRow();
  Key("change");
  data_.Word(NameOf(row.kind));
  DataFigures(row.before, row.after);
  DataPath("path", row.path);
  if (row.kind == ChangeKind::kMoved) {
    DataPath("new_path", row.newPath);
  } else {
    Key("new_path");
    data_.Null();
  }
  data_.EndRow();
}

void ChangeTable::DataSummary(const ChangeTotals& totals) {
  for (size_t i = 0; i < totals.size(); ++i) {
    if (totals[i].files == 0) continue;
    data_.BeginRow();
    Key("change");
    data_.Word(kChangeNames[i]);
    Key("files");
    data_.Number(totals[i].files);
    DataFigures(totals[i].before, totals[i].after);
    data_.EndRow();
  }
}

void ChangeTable::PathRow(const ChangeRow& row) {
  const std::string_view path = row.kind == ChangeKind::kMoved ? row.newPath : row.path;
  if (row.fault == nullptr) {
    data_.Path(path, {});
    return;
  }
  leftOut_ = true;
  LogErr(L"left out, %s: '%s'\n", row.fault, path);
}

}  // namespace tabulon
