"""The cards of directories and files: where the space is, what grew, the largest files."""
import re

from reportpage.charts import (Bar, card, chart, count, escaped, human, legend, meter, ratio, share,
                               shortened, signed, table)
from reportpage.cards import BARS
from reportpage.directories import last_name
from reportpage.treemap import treemap

LABEL = 60  # columns of a directory's name in the tree


def day(newest):
    """The day of a time such as 2024-01-31T23:59:59Z."""
    return newest[:10] if re.match(r"\d{4}-\d\d-\d\dT", newest) else escaped(newest)


class Measure:
    """What a tree of directories shows of each: a value as text, a bar with style and length, and
    the number for what is in it beside the directories shown."""

    def __init__(self, value, bar, rest):
        self.value, self.bar, self.rest = value, bar, rest


def by_bytes(root):
    longest = root.shown[0].size if root.shown else 0
    return Measure(lambda place: f"{human(place.size)} · {share(place.size, root.size)}",
                   lambda place: ("size", ratio(place.size, longest)),
                   lambda place: place.size - sum(each.size for each in place.shown))


def by_growth(root):
    longest = abs(root.shown[0].growth) if root.shown else 0
    return Measure(lambda place: f"{signed(place.growth)}, now {human(place.size)}",
                   lambda place: ("grew" if place.growth > 0 else "shrank",
                                  ratio(abs(place.growth), longest)),
                   lambda place: place.growth - sum(each.growth for each in place.shown))


def line(label, value, bar=""):
    return f'<span class="place"><bdi>{label}</bdi> <span>{value}</span></span>{bar}'


def remainder(place, measure):
    """The line for what is in a directory beside the directories shown."""
    rest = measure.rest(place)
    if rest == 0 or not place.shown:
        return ""
    label = "its own files"
    if place.others:
        noun = "directory" if place.others == 1 else "directories"
        label = f"{place.others:,} more {noun} and files"
    value = human(rest) if measure.bar(place)[0] == "size" else signed(rest)
    return f'<li><div class="rest">{line(label, value)}</div></li>'


def branches(place, measure, opened):
    """The directories in one, as a list; those that have some in them open at a click or a key."""
    items = []
    for index, each in enumerate(place.shown):
        head = line(shortened(last_name(each.path), LABEL), measure.value(each),
                    meter(*measure.bar(each), track=False))
        if each.shown:
            state = " open" if opened and index == 0 else ""
            items.append(f"<li><details{state}><summary>{head}</summary>"
                         f"{branches(each, measure, False)}</details></li>")
        else:
            items.append(f"<li><div>{head}</div></li>")
    items.append(remainder(place, measure))
    return f'<ul class="tree">{"".join(items)}</ul>'


def everywhere(place):
    """The places of a tree in the order of the page."""
    for each in place.shown:
        yield each
        yield from everywhere(each)


def space_card(tree, whole):
    root = tree.root
    first = root.shown[0] if root.shown else None
    lead = f"{human(root.size)} in {count(root.files, 'file')}."
    if whole and root.size < whole.size:
        lead = lead[:-1] + ", where a file with several names counts once."
    if first:
        lead += (f" The largest directory is <b>{escaped(last_name(first.path))}</b>, "
                 f"{share(first.size, root.size)}. Directories count with all below; open one to "
                 "see what is in it.")
    cells = [(f"<bdi>{escaped(place.path)}</bdi>", f"{place.files:,}", f"{place.size:,}",
              share(place.size, root.size), f"{place.own:,}", day(place.newest))
             for place in (root, *everywhere(root))]
    heads = ("Directory", "Files", "Bytes", "Of the space", "Bytes directly in it",
             "Newest modification")
    return card("space", "Where the space is", lead,
                treemap(root, "space-m", "Where the space is, two levels as nested rectangles")
                + branches(root, by_bytes(root), True)
                + table("Directories: files and bytes", heads, cells), "wide")


def growth_card(tree, since):
    root = tree.root
    lead = growth_lead(root, since)
    cells = [(f"<bdi>{escaped(place.path)}</bdi>", f"{place.growth:+,}", f"{place.before:,}",
              f"{place.size:,}", f"{place.files_before:,}", f"{place.files:,}")
             for place in (root, *everywhere(root))]
    heads = ("Directory", "Growth", "Bytes before", "Bytes now", "Files before", "Files now")
    return card("growth", "What grew", lead,
                legend(("grew", "grew"), ("shrank", "shrank"))
                + branches(root, by_growth(root), True)
                + table("Directories: growth", heads, cells))


def growth_lead(root, since):
    when = f"the scan of {escaped(since)}" if since else "the older scan"
    files = root.files - root.files_before
    return (f"Since {when}: <b>{signed(root.growth)}</b>, from {human(root.before)} to "
            f"{human(root.size)}; {'+' if files > 0 else ''}{count(files, 'file')}.")


def changes_card(found):
    longest = abs(found[0].difference)
    bars = [Bar(last_name(each.path, 2), f"{each.kind} {signed(each.difference)}",
                escaped(each.path) + (f" → {escaped(each.new_path)}" if each.new_path else ""),
                [("grew" if each.difference > 0 else "shrank", 23, 9,
                  ratio(abs(each.difference), longest))]) for each in found[:BARS]]
    lead = f"Those with the largest difference, {min(len(found), BARS)} of the first {len(found)}."
    cells = [(f"<bdi>{escaped(each.path)}</bdi>"
              + (f"<br>→ <bdi>{escaped(each.new_path)}</bdi>" if each.new_path else ""),
              escaped(each.kind), f"{each.difference:+,}", f"{each.before:,}", f"{each.after:,}")
             for each in found]
    return card("changes", "Changed files", lead,
                chart("changes-c", "Changed files, by bytes", bars)
                + table("Changed files", ("File", "Change", "Difference", "Bytes before",
                                          "Bytes now"), cells))


def largest_card(files, whole):
    shown = files[:BARS]
    bars = [Bar(last_name(each.path, 2), f"{human(each.size)} · {day(each.newest)}",
                f"{escaped(each.path)}: {human(each.size)}, modified {day(each.newest)}",
                [("size", 23, 9, ratio(each.size, files[0].size))]) for each in shown]
    size = sum(each.size for each in shown)
    lead = f"<b>{human(size)}</b> in {count(len(shown), 'file')}"
    lead += f", {share(size, whole.size)} of the space." if whole else "."
    cells = [(f"<bdi>{escaped(each.path)}</bdi>", f"{each.size:,}", day(each.newest))
             for each in files]
    return card("largest", "Largest files", lead,
                chart("largest-c", "The largest files, by bytes", bars)
                + table("Largest files", ("File", "Bytes", "Modified"), cells))
