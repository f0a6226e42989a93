#include "reports/reportdir.h"

#include "config/settings.h"

namespace tabulon {

ShownDirectory ShowDirectory(const Report& report, const Scan& scan, const RecordText& name) {
  if ((report.flags & kFlagRelative) != 0) return {false, 0};
  const size_t length = name.Visit([](auto text) { return text.size(); });
  if (length == 1) return {true, 1};  // the root itself
  // A root that ends in a separator takes the place of the name's leading one.
  const bool rootHasSeparator = scan.diskLtrRoot || scan.rootPath.size() == 1;
  return {true, rootHasSeparator && length > 0 ? size_t{1} : 0};
}

void WriteDirectoryHeading(const Report& report, LineWriter& writer, const EncodedText& path) {
  if (report.format == kFormatCsv) {
    writer.Add('D').Add(csvSep).Add(path);
  } else {
    writer.Add(std::string_view("In directory: ")).Add(path);
  }
  writer.EndLine();
}

}  // namespace tabulon
