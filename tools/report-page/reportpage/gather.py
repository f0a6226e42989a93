"""Makes the reports of a scan by running the programs that report-page(1) is installed with."""
import itertools
import os
import shutil
import subprocess
import sys

from reportpage.sources import SOURCES

# Without a category these are the reports of any scan that cost nothing.
HEAD_CONFIGURATION = """[parameters]
csvhdrs = no
dateformat = %Y-%m-%d %H:%M:%S
[report]
type = summary
format = csv
fields = type,timestamp
reportfile = head.csv
"""
CATEGORIES = {"NFS": "unix", "CIFS": "windows"}
COMPRESSED = b"\x78\x01"  # how compressed scans begin, tabulon-dtl(5)
DISTINCT_LINES = 100000  # owners with their groups; those of a house are some thousands
BREAKS_OFF = 3  # status of programs that have written what an incomplete scan holds
CHANGED, INCOMPARABLE = 1, 2  # statuses of dtldiff: changes; a scan breaks off, or other trouble


class Failure(Exception):
    """What is told when there can be no page."""


class Programs:
    """The other programs: those beside this one go before those in PATH."""

    def __init__(self, directory):
        self.places = directory + os.pathsep + os.environ.get("PATH", os.defpath)

    def find(self, name):
        return shutil.which(name, path=self.places)


class Made:
    """What the page has to know about how its reports were made: the kind of scan, the time of the
    older scan, programs that are not there, and whether a scan breaks off."""

    def __init__(self, scan):
        self.scan, self.kind, self.older, self.absent, self.cut = scan, "", "", set(), False


class Runner:
    """Runs programs in one temporary directory and tells on a terminal which one is at work."""

    def __init__(self, directory, programs):
        self.directory, self.programs = directory, programs
        # Names are written as UTF-8 whatever the locale; temporary files go where this ends them.
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8", "TMPDIR": directory}
        self.progress = sys.stderr.isatty()

    def path(self, name):
        return os.path.join(self.directory, name)

    def tell(self, what):
        if self.progress:
            print(f"\r\x1b[K{what}", end="", file=sys.stderr, flush=True)

    def _start(self, name, arguments, out, errors):
        program = self.programs.find(name)
        if program is None:
            raise Failure(f"the program '{name}' is not there")
        self.tell(f"report-page: {name} is at work")
        return subprocess.Popen([program, *arguments], stdin=subprocess.DEVNULL, stdout=out,
                                stderr=errors, env=self.environment, cwd=self.directory)

    def run(self, name, arguments, out="said.txt", accepted=(0,)):
        """Runs a program with its output in a file here; returns its status."""
        with open(self.path(out), "wb") as rows, open(self.path("errors.txt"), "w+b") as errors:
            with self._start(name, arguments, rows, errors) as process:
                status = self._wait(process)
            if status not in accepted:
                raise Failure(f"{name} failed{last_line(errors)}")
            return status

    def _wait(self, process):
        try:
            return process.wait()
        except BaseException:
            process.kill()
            raise
        finally:
            self.tell("")

    def distinct_lines(self, name, arguments, out):
        """Runs a program and keeps each line that it writes once, up to a limit; returns its
        status."""
        seen = set()
        with open(self.path("errors.txt"), "w+b") as errors:
            with self._start(name, arguments, subprocess.PIPE, errors) as process:
                try:
                    while len(seen) < DISTINCT_LINES and (
                            lines := list(itertools.islice(process.stdout, DISTINCT_LINES))):
                        seen.update(lines)
                finally:
                    process.stdout.close()
                    status = self._wait(process)
            if len(seen) >= DISTINCT_LINES:
                status = 0  # it was not heard to its end
            if status not in (0, BREAKS_OFF):
                raise Failure(f"{name} failed{last_line(errors)}")
        with open(self.path(out), "wb") as file:
            file.writelines(sorted(seen))
        return status


def last_line(errors):
    """What a program said last, as the end of a message."""
    errors.seek(max(errors.seek(0, os.SEEK_END) - 4096, 0))
    lines = errors.read().decode(errors="replace").split("\n")
    said = [line.strip() for line in lines if line.strip() and not line.startswith("Scan time:")]
    return f": {said[-1]}" if said else ""


def plain_scan(runner, scan, name):
    """The scan as an absolute path. A compressed one is copied and the copy inflated, because
    tabulon would inflate it in place."""
    with open(scan, "rb") as file:
        if file.read(len(COMPRESSED)) != COMPRESSED:
            return os.path.abspath(scan)
    copy = runner.path(name)
    runner.tell(f"report-page: inflating a copy of {scan}")
    shutil.copyfile(scan, copy)
    # A query leaves the scan inflated; this one selects nothing.
    runner.run("tabulon", ["-dtl", copy, "-qf", "size lt 0"])
    return copy


def head(runner, scan):
    """Kind and time of a scan."""
    with open(runner.path("head.cfg"), "w", encoding="utf-8") as file:
        file.write(HEAD_CONFIGURATION)
    runner.run("tabulon", ["-dtl", scan, "-cfg", runner.path("head.cfg"),
                           "-rdir", runner.directory])
    with open(runner.path("head.csv"), encoding="utf-8", errors="replace") as file:
        kind, _, time = file.readline().rstrip("\n").partition(",")
    if kind not in CATEGORIES:
        raise Failure(f"'{scan}' is no scan of a kind that can be drawn")
    return kind, time


def configuration(examples, kind):
    """Scans of Unix have one of their own, which leaves hard links out of the duplicates."""
    path = os.path.join(examples, "dashboard-unix.cfg" if kind == "NFS" else "dashboard.cfg")
    if not os.path.exists(path):
        raise Failure(f"'{path}' is not there")
    return path


def words(source, scan, older):
    stand_ins = {"SCAN": [scan], "OLDER": [older], "[OLDER]": [older] if older else []}
    return [word for each in source.command[1:] for word in stand_ins.get(each, [each])]


def make_source(runner, source, scan, older, made):
    name = source.command[0]
    if runner.programs.find(name) is None:
        made.absent.add(name)
        return
    if source.file == "names.ndjson":
        status = runner.distinct_lines(name, words(source, scan, older), source.file)
    elif name == "dtldiff":
        # Scans that break off have been told by dtldu already; the page does without the changes.
        accepted = (0, CHANGED, INCOMPARABLE) if made.cut else (0, CHANGED)
        status = runner.run(name, words(source, scan, older), source.file, accepted)
        if status == INCOMPARABLE:
            os.unlink(runner.path(source.file))
    else:
        status = runner.run(name, words(source, scan, older), source.file, (0, BREAKS_OFF))
    made.cut = made.cut or status == BREAKS_OFF


def gather(scan, older, directory, programs, examples):
    """Fills the directory with all that a page can show of the scan; returns what Made says."""
    runner, made = Runner(directory, programs), Made(scan)
    plain = plain_scan(runner, scan, "scan.dtl")
    made.kind, _ = head(runner, plain)
    plain_older = None
    if older is not None:
        plain_older = plain_scan(runner, older, "older.dtl")
        _, made.older = head(runner, plain_older)
    runner.run("tabulon", ["-dtl", plain, "-cfg", configuration(examples, made.kind),
                           "-rdir", directory, "-cat", CATEGORIES[made.kind]])
    for source in SOURCES:
        if source.command and made.kind in source.kinds and (older or not source.needs_older()):
            make_source(runner, source, plain, plain_older, made)
    return made
