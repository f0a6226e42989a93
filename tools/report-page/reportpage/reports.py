"""Reads the reports of examples/dashboard.cfg, and rows that the companions write.

Nothing in a report of tabulon is quoted or escaped, and a name may hold any character, a line break
among them. Whatever a report holds, reading it ends, keeps no more than the rows that a page shows,
and counts what it could not make sense of.
"""
import csv
import heapq
import json
import os
import re

TABLE_ROWS = 100  # rows of a ranking that are kept; the rest is summed up
GROUPS = 50  # groups of duplicates that are kept
PATHS = 3  # files named of each group
LONGEST_NAME = 4096  # characters of a name that are kept
LONGEST_ROW = 1 << 17  # characters after which an unfinished row is given up
NAMES = 100000  # owners and groups whose names are kept

csv.field_size_limit(LONGEST_ROW)


def true_names(line):
    """Text as it was before tabulon wrote it. Tabulon holds characters of three UTF-8 bytes 0xE0000
    too high. One of four bytes it takes for two units, the second of which swallows two more bytes;
    a mark stands for these."""
    def four_bytes(match):
        first, second = ord(match[1]), ord(match[2])
        char = (first >> 12 & 7) << 18 | (first & 0xFFF) << 6 | second >> 12 & 0x3F
        swallowed = "\ufffd" if second & 0xFFF else ""
        return (chr(char) if 0x10000 <= char <= 0x10FFFF else "\ufffd") + swallowed

    if line.isascii():
        return line
    line = re.sub("([\U000f0000-\U000f7fff])([\U00080000-\U000bffff])", four_bytes, line)
    return re.sub("[\U000e0800-\U000effff]", lambda match: chr(ord(match[0]) - 0xE0000), line)


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
    """A report directory. `found` and `missing` have the names of the reports that were asked for.
    `made` tells how the reports were made when report-page made them."""

    def __init__(self, directory, made=None):
        self.directory, self.made = directory, made
        self.found, self.missing = set(), set()
        self._unread, self._names = {}, None

    def unread(self):
        """How many rows made no sense."""
        return sum(self._unread.values())

    def _open(self, name):
        """Only a line feed ends a line: names hold all other characters."""
        try:
            file = open(os.path.join(self.directory, name), encoding="utf-8", errors="replace",
                        newline="\n")
        except FileNotFoundError:
            self.missing.add(name)
            return None
        self.found.add(name)
        self._unread[name] = 0  # it may be read more than once
        return file

    def lines(self, name):
        """The lines of a report that tabulon wrote."""
        file = self._open(name)
        if file:
            with file:
                for line in file:
                    yield true_names(line.removesuffix("\n"))

    def table(self, name, columns):
        """The rows of CSV with a heading and quotes (RFC 4180): a list of the values of `columns`
        for each, with None for a column that is not there."""
        file = self._open(name)
        if not file:
            return
        with file:
            rows, places = csv.reader(file), None
            while True:
                try:
                    row = next(rows)
                except StopIteration:
                    return
                except csv.Error:
                    self._unread[name] += 1
                    continue
                if places is None:
                    width = len(row)
                    places = [row.index(column) if column in row else None for column in columns]
                elif len(row) == width:
                    yield [None if place is None else row[place] for place in places]
                else:
                    self._unread[name] += 1

    def name(self, kind, number):
        """The name of the owner ("user") or group ("group") with that number (text), or None."""
        if self._names is None:
            self._names = self._read_names()
        return self._names.get((kind, number))

    def _read_names(self):
        names, file = {}, self._open("names.ndjson")
        if not file:
            return names
        with file:
            for line in file:
                try:
                    row = json.loads(line)
                    for kind, number in (("user", row["uid"]), ("group", row["gid"])):
                        if row[kind] and len(names) < NAMES:
                            names[kind, str(number)] = str(row[kind])[:LONGEST_NAME]
                except (ValueError, TypeError, KeyError, RecursionError):
                    self._unread["names.ndjson"] += 1
        return names

    def matches(self, name, pattern):
        """The rows of a CSV report of tabulon. Nothing is quoted in it, so the numbers at its end
        tell a row from the beginning of a name with a line break."""
        pending = ""
        for line in self.lines(name):
            pending += line
            match = re.fullmatch(pattern, pending, re.DOTALL)
            if match:
                yield match
                pending = ""
            elif len(pending) > LONGEST_ROW:
                self._unread[name], pending = self._unread[name] + 1, ""
            elif pending:
                pending += "\n"
        if pending:
            self._unread[name] += 1

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
