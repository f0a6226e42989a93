#include "driver/showversion.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "base/loganderr.h"

namespace tabulon {
namespace {

// Kept so, with its errors: the default is "trawlx.dtl" in truth, <report-directory lacks its '>',
// and the options for support and tests are not mentioned.
constexpr std::string_view kUsageText =
    R"(
Tabulon is the report generation partner application of Trawlix

Usage: Tabulon [-dtl <detail-file>] [-rdir <report-directory]
                [-cfg <configuration-file>] [-q "<query-select>"]
                [-l <list-file>] [-e <err-file>]
                [-cat all | -cat <category1> -cat <category2> ...]
where:

    -dtl <detail-file>
        specifies the name of a .dtl file created by Trawlix.  If this option
        is not present, the default is 'Trawlx.dtl'
    -cfg <configuration-file>
        specifies the name of a configuration file which contains the report
        definitions and parameters.  If this option is not present, a simple
        summary of the contents of the detail file is displayed.  For the format
        and contents of the configuration file, see the product documentation.
    -q "<query-select>"
        specifies criteria to select entries from the .dtl file for an ad-hoc
        report that does not require creating a configuration file.  For the
        syntax of <query-select>, refer to the Tavex documentation.  This
        string must be enclosed in double-quotes.
    -rdir <report-directory>
        specifies a target directory for reports defined in the configuration
        file.  If the last component in the path does not exist, it will be
        created.  If present, this option overrides the ReportDirectory option
        in the configuration file.
    -l <list-file>  -and-  -e <err-file>
        specify the output list file and error file.  If these options are not
        present, the defaults are stdout and stderr, respectively.
    -cat all | -cat <category>
        when present, this option specifies which report categories are selected
        in the configuration file.  The option '-cat all' selects all categories.
        For a description of report category specification in the configuration
        file, see the product documentation.


)";

// One line a release.
constexpr std::string_view kHistory =
    "    21 Nov 2026 - First release: audit summary, queries and configured reports for CIFS and "
    "NFS scans\n";

constexpr std::string_view kFifteenTabs = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\n";

std::string_view InvocationName(const char* invocation) {
  const std::string_view name = invocation != nullptr ? invocation : "tabulon";
  return name.substr(name.rfind('\\') + 1);
}

[[noreturn]] void PrintAndLeave(std::string_view text) {
  Console().WriteBytes(text);
  Console().Flush();
  if (Console().error() != 0) ReportWriteError(Console().name(), Console().error());
  throw EndOfRun{HadWriteErrors() ? 1 : 0};
}

}  // namespace

void ShowUsage(const char* invocation) {
  std::string text(kUsageText);
  text.append("For version information enter '").append(InvocationName(invocation));
  text.append(" -?V'\n");
  PrintAndLeave(text);
}

void ShowVersion(const char* invocation) {
  // The build gives the version, and the date of the newest entry of packaging/changelog.
  std::string text = "Version " TABULON_VERSION " built on " TABULON_DATE " at " TABULON_TIME;
  text.append("\n\n\n");
  text.append("Tabulon - report component of the Velmora Korrin filesystem analysis utilities\n\n");
  text.append(kHistory).append(kFifteenTabs);
  text.append("For usage information enter '").append(InvocationName(invocation));
  text.append(" -?'\n");
  PrintAndLeave(text);
}

}  // namespace tabulon
