"""Reads the reports of examples/dashboard.cfg.

Nothing in a report is quoted or escaped, and a name may hold any character, a line break among
them. Whatever a report holds, reading it ends, keeps no more than the rows that a page shows, and
counts what it could not make sense of.
"""
import heapq
import os
import re

TABLE_ROWS = 100  # rows of a ranking that are kept; the rest is summed up
GROUPS = 50  # groups of duplicates that are kept
PATHS = 3  # files named of each group
LONGEST_NAME = 4096  # characters of a name that are kept
LONGEST_ROW = 1 << 17  # characters after which an unfinished row is given up


class Row:
    """One line of a totals report: a label, a number of files and their bytes."""

    def __init__(self, label, files, size):
        self.label, self.files, self.size = label, files, size


class Group:
    """Files that the duplicates report takes for copies of each other."""

    def __init__(self, size, dates):
        self.size, self.dates, self.files, self.paths = size, dates.strip(), 0, []

    def reclaimable(self):
        return self.size * max(self.files - 1, 0)


class Ranking:
    """The rows of one report with the most bytes, and the sums of all of them."""

    def __init__(self, rows):
        self.rows = self.files = self.size = 0
        self.top = heapq.nlargest(TABLE_ROWS, self._tally(rows), key=lambda row: row.size)

    def _tally(self, rows):
        for row in rows:
            self.rows, self.files = self.rows + 1, self.files + row.files
            self.size += row.size
            yield row


class Duplicates:
    """The groups that waste most, and the sums of all of them."""

    def __init__(self, lines):
        self.title, self.groups, self.files, self.size = "", 0, 0, 0
        self.top = heapq.nlargest(GROUPS, self._tally(lines), key=Group.reclaimable)

    def _tally(self, lines):
        for group in duplicate_groups(self._behind_title(lines)):
            self.groups, self.files = self.groups + 1, self.files + max(group.files - 1, 0)
            self.size += group.reclaimable()
            yield group

    def _behind_title(self, lines):
        for line in lines:
            if not self.title and line.startswith("---- ") and line.endswith(" ----"):
                self.title = line[5:-5]
                yield from lines


def duplicate_groups(lines):
    """Groups are a heading, an indented line for each file and an empty line. What is neither
    belongs to the name before it, which then holds a line break."""
    group, after_gap = None, True
    for line in lines:
        heading = re.fullmatch(r"Size: (\d{1,20})((?:  .*)?)", line) if after_gap else None
        if heading:
            if group:
                yield group
            group = Group(int(heading[1]), heading[2])
        elif group and line.startswith("  "):
            group.files += 1
            if len(group.paths) < PATHS:
                group.paths.append(line[2:][:LONGEST_NAME])
        elif group and line and group.files == len(group.paths) > 0:
            group.paths[-1] = (group.paths[-1] + "\n" + line)[:LONGEST_NAME]
        after_gap = not line
    if group:
        yield group


class Reports:
    """A report directory. `found` counts its readable reports, `unread` the lines without sense."""

    def __init__(self, directory):
        self.directory, self.found, self.unread = directory, 0, 0

    def lines(self, name):
        """Only a line feed ends a line: names hold all other characters."""
        try:
            file = open(os.path.join(self.directory, name), encoding="utf-8", errors="replace",
                        newline="\n")
        except FileNotFoundError:
            return
        with file:
            self.found += 1
            for line in file:
                yield line.removesuffix("\n")

    def matches(self, name, pattern):
        """The rows of a CSV report. Nothing is quoted in it, so the numbers at its end tell a row
        from the beginning of a name with a line break."""
        pending = ""
        for line in self.lines(name):
            pending += line
            match = re.fullmatch(pattern, pending, re.DOTALL)
            if match:
                yield match
                pending = ""
            elif len(pending) > LONGEST_ROW:
                self.unread, pending = self.unread + 1, ""
            elif pending:
                pending += "\n"
        self.unread += bool(pending)

    def rows(self, name):
        for match in self.matches(name, r"(.*),(-?\d{1,20}),(-?\d{1,20})"):
            yield Row(match[1], int(match[2]), int(match[3]))

    def accounts(self):
        """Windows accounts as rows without bytes; those that own nothing are left out."""
        for match in self.matches("accounts.csv", r"([^,]*),(.*),(-?\d{1,20}),(-?\d{1,20})"):
            if int(match[4]) > 0:
                yield Row(match[2], int(match[4]), int(match[4]))

    def summary(self):
        fields = r"(NFS|CIFS),([^,]*)" + r",(-?\d{1,20})" * 5 + r",([^,]*),(.*)"
        for match in self.matches("summary.csv", fields):
            return match.groups()
        return None

    def totals(self):
        """Single figures, and bands by chart, each in the order of the configuration."""
        figures, charts = [], {}
        for row in self.rows("totals.csv"):
            chart, colon, band = row.label.partition(": ")
            if colon:
                charts.setdefault(chart, []).append(Row(band, row.files, row.size))
            else:
                figures.append(row)
        return figures, charts
