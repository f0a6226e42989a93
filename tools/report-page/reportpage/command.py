"""The command line of report-page(1), and the way from reports or a scan to the page."""
import argparse
import os
import signal
import sys
import tempfile

from reportpage.gather import Failure, Programs, gather
from reportpage.page import page
from reportpage.reports import Reports

USAGE = """report-page --scan SCAN.dtl [--older OLDER.dtl] OUT.html
       report-page DIR OUT.html"""
ABOUT = """Draws a scan as one HTML page: where the space is, the largest files, what grew, types,
owners, ages, duplicates. The page needs nothing else: no network, no script."""
EPILOG = """OUT.html may be - for standard output. Exit status: 0 when the page is written, 1 when
it could not be, 2 for a wrong command line, 3 when it is written, but a scan breaks off."""
BREAKS_OFF = 3


def parse(version, arguments):
    parser = argparse.ArgumentParser(prog="report-page", usage=USAGE, description=ABOUT,
                                     epilog=EPILOG, allow_abbrev=False)
    parser.add_argument("--scan", metavar="SCAN.dtl",
                        help="make the reports of this scan first, in a temporary directory")
    parser.add_argument("--older", metavar="OLDER.dtl",
                        help="with --scan: an older scan of the same tree, to show what grew")
    parser.add_argument("--version", action="version", version=f"%(prog)s {version}")
    parser.add_argument("paths", nargs="*", metavar="[DIR] OUT.html",
                        help="a directory with the reports of dashboard.cfg; the page to write")
    options = parser.parse_args(arguments)
    if options.scan is None and options.older is not None:
        parser.error("--older needs --scan")
    wanted = ["OUT.html"] if options.scan is not None else ["DIR", "OUT.html"]
    if len(options.paths) != len(wanted):
        parser.error(f"{' and '.join(wanted)} must be given"
                     + ("" if options.scan else ", or --scan SCAN.dtl and OUT.html"))
    return options


def write(path, text):
    """Writes the page; a file appears under its name only when it is whole."""
    if path == "-":
        sys.stdout.buffer.write(text.encode())
        sys.stdout.buffer.flush()
        return
    special = os.path.exists(path) and not os.path.isfile(path)
    part = path if special else path + ".part"
    try:
        with open(part, "w", encoding="utf-8") as file:
            file.write(text)
        if not special:
            os.replace(part, path)
    except OSError:
        if not special and os.path.exists(part):
            os.unlink(part)
        raise


def draw(directory, out, made_from=None):
    reports = Reports(directory, made_from)
    text = page(reports)
    if not reports.found:
        raise Failure(f"no report of dashboard.cfg in '{directory}'")
    write(out, text)


def draw_scan(options, programs, examples):
    """Returns the exit status."""
    with tempfile.TemporaryDirectory(prefix="report-page-") as directory:
        made = gather(options.scan, options.older, directory, programs, examples)
        draw(directory, options.paths[0], made)
    for name in sorted(made.absent):
        print(f"report-page: '{name}' is not there; the page does without it", file=sys.stderr)
    if made.cut:
        print("report-page: a scan breaks off: the page shows what it holds", file=sys.stderr)
    return BREAKS_OFF if made.cut else 0


def main(version, bin_directory, examples):
    """Returns the exit status. `bin_directory` is where the other programs are looked for first."""
    options = parse(version, sys.argv[1:])
    for number in (signal.SIGTERM, signal.SIGHUP):
        # Ends by an exception, so that the temporary directory is removed.
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    try:
        if options.scan is not None:
            return draw_scan(options, Programs(bin_directory), examples)
        draw(*options.paths)
    except (OSError, Failure) as error:
        print(f"report-page: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    return 0
