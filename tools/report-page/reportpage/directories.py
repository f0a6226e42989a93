"""Reads what dtldu and dtldiff write: directories as a tree, the largest files, the changes.

There may be millions of rows. A file is read once for each level of the tree, and only the
directories that the page shows are kept."""
import heapq

from reportpage.reports import LONGEST_NAME, TABLE_ROWS

SHOWN = (12, 8, 6)  # directories shown at each level below the root
LONGEST_NUMBER = 20


def number(text):
    """A number from a cell; 0 for what is none."""
    digits = (text or "").removeprefix("-")
    sound = digits.isascii() and digits.isdigit() and len(digits) <= LONGEST_NUMBER
    return int(text) if sound else 0


class Place:
    """A directory with all that is below it, or a file. `shown` are the directories in it that the
    page shows, `others` counts the rest of them."""

    COLUMNS = ("path", "bytes", "own_bytes", "files", "newest", "bytes_before", "files_before",
               "growth")

    def __init__(self, row):
        self.path, self.newest = (row[0] or "")[:LONGEST_NAME], row[4] or ""
        self.size, self.own, self.files = map(number, row[1:4])
        self.before, self.files_before, self.growth = map(number, row[5:8])
        self.shown, self.others = [], 0


def separator(root):
    return "/" if "/" in root or not root else "\\"


def last_name(path, names=1):
    """The end of a path; what tells two files of one name apart takes two names."""
    mark = separator(path)
    return mark.join(path.rstrip("/\\").split(mark)[-names:]) or path


class Tree:
    """The root with the directories that weigh most, three levels down. `grown` tells whether the
    rows compare with an older scan."""

    def __init__(self, reports, weight):
        self.reports, self.weight, self.grown = reports, weight, False
        self.root = self._find_root()
        level = [self.root] if self.root else []
        for shown in SHOWN:
            if level:
                level = self._fill(level, shown)

    def _rows(self):
        return self.reports.table("directories.csv", Place.COLUMNS)

    def _find_root(self):
        shortest = min(self._rows(), key=lambda row: len(row[0] or ""), default=None)
        if shortest is None or shortest[0] is None:
            return None
        self.grown = shortest[7] is not None
        return Place(shortest)

    def _fill(self, parents, shown):
        """Gives each of the directories those in it that weigh most; returns these."""
        mark = separator(self.root.path)
        heaps = {parent.path.removesuffix(mark): [] for parent in parents}
        counts = dict.fromkeys(heaps, 0)
        for index, row in enumerate(self._rows()):
            head = row[0].rpartition(mark)[0]
            heap = heaps.get(head)
            weight = self.weight(row)
            if heap is None or weight == 0 or row[0] == self.root.path:
                continue
            counts[head] += 1
            if len(heap) < shown:
                heapq.heappush(heap, (weight, -index, row))
            elif weight > heap[0][0]:
                heapq.heapreplace(heap, (weight, -index, row))
        for parent in parents:
            head = parent.path.removesuffix(mark)
            parent.shown = [Place(row) for _, _, row in sorted(heaps[head], reverse=True)]
            parent.others = counts[head] - len(parent.shown)
        return [place for parent in parents for place in parent.shown]


def by_size(row):
    return max(number(row[1]), 0)


def by_growth(row):
    return abs(number(row[7]))


def largest_files(reports):
    rows = (row for row in reports.table("largest.csv", Place.COLUMNS) if row[0])
    return [Place(row) for row in heapq.nlargest(TABLE_ROWS, rows, key=by_size)]


class Change:
    """A file that appeared, vanished, grew, shrank, was rewritten or moved."""

    COLUMNS = ("change", "bytes_before", "bytes_after", "difference", "path", "new_path")

    def __init__(self, row):
        self.kind, self.path, self.new_path = row[0] or "", row[4] or "", row[5] or ""
        self.before, self.after, self.difference = map(number, row[1:4])


def changes(reports):
    rows = (row for row in reports.table("changes.csv", Change.COLUMNS) if row[4])
    return [Change(row) for row in heapq.nlargest(TABLE_ROWS, rows,
                                                  key=lambda row: abs(number(row[3])))]
