"""The files that a page is drawn from, and the commands that make them."""
import shlex


class Source:
    """A file in the report directory: what the page shows of it, the kinds of scan that have it,
    and how it is made; `command` is None for a report of dashboard.cfg. SCAN and OLDER stand for
    scans in commands; a source with OLDER is for pages with an older scan only."""

    def __init__(self, file, shows, command=None, kinds=("NFS", "CIFS")):
        self.file, self.shows, self.kinds = file, shows, kinds
        self.command = command.split() if command else None

    def needs_older(self):
        return self.command is not None and "OLDER" in self.command


# The directories are written with their growth when there is an older scan.
SOURCES = (
    Source("summary.csv", "The head of the page"),
    Source("totals.csv", "At a glance, sizes and ages"),
    Source("directories.csv", "Where the space is",
           "dtldu --format csv --depth 3 --by bytes SCAN [OLDER]"),
    Source("largest.csv", "Largest files", "dtldu --format csv --files 100 SCAN"),
    Source("changes.csv", "Changed files", "dtldiff --format csv --top 100 OLDER SCAN"),
    Source("types.csv", "File types"),
    Source("owners.csv", "Owners", kinds=("NFS",)),
    Source("groups.csv", "Groups", kinds=("NFS",)),
    Source("names.ndjson", "Names of owners and groups",
           "dtlexport --format ndjson --fields uid,user,gid,group SCAN", kinds=("NFS",)),
    Source("accounts.csv", "Owners", kinds=("CIFS",)),
    Source("duplicates.txt", "Duplicates"),
    Source("summary.txt", "The audit summary"),
)


def reports_command(kind, directory):
    """The command that makes the reports of a configuration, for people to type."""
    configuration = "dashboard.cfg" if kind == "CIFS" else "dashboard-unix.cfg"
    category = " -cat windows" if kind == "CIFS" else ""
    return f"tabulon -dtl SCAN.dtl -cfg {configuration} -rdir {shlex.quote(directory)}{category}"


def typed_command(source, kind, directory):
    """The command that makes one source, for people to type."""
    if source.command is None:
        return reports_command(kind, directory)
    words = " ".join(source.command).replace("OLDER", "OLDER.dtl").replace("SCAN", "SCAN.dtl")
    unique = " | sort -u" if source.file == "names.ndjson" else ""
    return f"{words}{unique} > {shlex.quote(directory.rstrip('/') + '/' + source.file)}"
