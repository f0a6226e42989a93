"""The parts of the page: tiles for single figures, a card with chart and table for each report."""
from reportpage.charts import (Bar, card, chart, count, escaped, human, legend, meter, ratio, share,
                               table)
from reportpage.reports import Row

BARS = 10  # longest ranking in a chart


def size_cells(row, whole):
    return (f"{row.files:,}", f"{row.size:,}", share(row.size, whole))


def band_card(ident, name, bands):
    """A distribution: each band with its share of the bytes and, beneath, of the files."""
    size, files = sum(row.size for row in bands), sum(row.files for row in bands)
    longest = max(max(ratio(row.size, size), ratio(row.files, files)) for row in bands)
    bars = [Bar(row.label, f"{human(row.size)} · {count(row.files, 'file')}",
                f"{escaped(row.label)}: {share(row.size, size)} of the space, "
                f"{share(row.files, files)} of the files",
                [("size", 23, 9, ratio(ratio(row.size, size), longest)),
                 ("files", 34, 5, ratio(ratio(row.files, files), longest))]) for row in bands]
    most = max(bands, key=lambda row: row.size)
    lead = (f"Most space: <b>{escaped(most.label)}</b>, {human(most.size)} or "
            f"{share(most.size, size)}.") if most.size > 0 else "No file holds anything."
    title = escaped(name)
    cells = [(escaped(row.label), *size_cells(row, size), share(row.files, files)) for row in bands]
    cells.append(("All", *size_cells(Row("", files, size), size), share(files, files)))
    return card(ident, title, lead,
                legend(("size", "share of the space"), ("files", "share of the files"))
                + chart(f"{ident}-c", f"{title}: shares of space and files", bars)
                + table(f"{title}: files and bytes", ("Band", "Files", "Bytes",
                                                      "Of the space", "Of the files"), cells))


def remainder(ranking, whole):
    """Table lines for what is not listed: rows beyond the longest table, files in no row at all."""
    rest = Row("", ranking.files - sum(row.files for row in ranking.top),
               ranking.size - sum(row.size for row in ranking.top))
    if ranking.rows > len(ranking.top):
        yield (f"{ranking.rows - len(ranking.top):,} more", *size_cells(rest, whole.size))
    missing = Row("", whole.files - ranking.files, whole.size - ranking.size)
    if missing.files > 0:
        yield ("none of these", *size_cells(missing, whole.size))


def ranking_card(ident, title, noun, ranking, whole, cold=None):
    """Who holds the most bytes; `cold` maps labels to the old part of their bytes."""
    whole = whole or Row("", ranking.files, ranking.size)
    shown, longest = ranking.top[:BARS], ranking.top[0].size
    bars = []
    for row in shown:
        parts = [("size", 23, 9, ratio(row.size, longest))]
        hint = f"{escaped(row.label)}: {human(row.size)} in {count(row.files, 'file')}"
        if cold:
            parts.append(("cold", 23, 9, ratio(cold.get(row.label, 0), longest)))
            hint += f", {human(cold.get(row.label, 0))} of it not modified for two years"
        bars.append(Bar(row.label, f"{human(row.size)} · {share(row.size, whole.size)}",
                        hint, parts))
    top = sum(row.size for row in shown)
    lead = f"The first {len(shown)} of " if len(shown) < ranking.rows else ""
    lead += (f"{count(ranking.rows, noun)} hold{'' if ranking.rows > 1 else 's'} "
             f"<b>{human(top)}</b>, {share(top, whole.size)} of the space.")
    heads = [noun[0].upper() + noun[1:], "Files", "Bytes", "Of the space"]
    cells = [(escaped(row.label), *size_cells(row, whole.size)) for row in ranking.top]
    cells += remainder(ranking, whole)
    body = ""
    if cold:
        body = legend(("size", "space in all"), ("cold", "of it not modified for two years"))
        heads.append("Old bytes")
        cells = [(*line, f"{cold[row.label]:,}" if row.label in cold else "")
                 for line, row in zip(cells, ranking.top)] + [
                     (*line, "") for line in cells[len(ranking.top):]]
    return card(ident, title, lead, body + chart(f"{ident}-c", f"{title}, by bytes", bars)
                + table(f"{title}: files and bytes", heads, cells))


def account_card(accounts):
    shown = accounts.top[:BARS]
    bars = [Bar(row.label, count(row.files, "file"),
                f"{escaped(row.label)}: {count(row.files, 'file')}",
                [("files", 23, 9, ratio(row.files, accounts.top[0].files))]) for row in shown]
    lead = f"{count(accounts.rows, 'account')} own {count(accounts.files, 'file')} and directories."
    cells = [(escaped(row.label), f"{row.files:,}", share(row.files, accounts.files))
             for row in accounts.top]
    return card("accounts", "Owners", lead, chart("accounts-c", "Owners, by what they own", bars)
                + table("Owners: files and directories", ("Account", "Owned", "Of all"), cells))


def readable_path(path, kind):
    """The report joins directory and name by a backslash on every kind of scan."""
    directory, separator, name = path.partition("\\")
    if kind != "NFS" or not separator or "\\" in name:
        return path
    return directory + ("" if directory.endswith("/") else "/") + name


def links_note(title):
    """dashboard-unix.cfg leaves files with several links out, and says so in the title."""
    if "one link" in title:
        return "Files with several hard links are left out."
    return "Hard links to one file count as copies."


def duplicates_lead(found, total):
    lead = (f"<b>{human(found.size)} reclaimable</b> in {count(found.files, 'file')}, if one file "
            f"of each of the {count(found.groups, 'group')} is kept. Contents are not compared: "
            f"check them before anything is deleted. {links_note(found.title)}")
    if total and (total.files, total.size) != (found.files, found.size):
        lead += (' <strong class="warning">The groups do not add up: the program counted '
                 f'{human(total.size)} in {count(total.files, "file")}. Names with line breaks can '
                 'be the reason.</strong>')
    return lead


def duplicates_card(found, kind, total, style):
    def name(group):
        path = readable_path(group.paths[0], kind) if group.paths else ""
        return path.rpartition("/" if kind == "NFS" else "\\")[2]

    def paths(group):
        lines = [f"<li><bdi>{escaped(readable_path(path, kind))}</bdi></li>"
                 for path in group.paths]
        if group.files > len(group.paths):
            lines.append(f"<li>and {group.files - len(group.paths):,} more</li>")
        return f'<ul class="paths">{"".join(lines)}</ul>'

    longest = found.top[0].reclaimable()
    bars = [Bar(name(group), f"{human(group.reclaimable())} · {group.files:,}\u00a0×\u00a0"
                f"{human(group.size)}", escaped("\n".join(group.paths)).replace("\u240a", "\n"),
                [("waste", 23, 9, ratio(group.reclaimable(), longest))])
            for group in found.top[:BARS]]
    cells = [(paths(group), f"{group.reclaimable():,}", f"{group.files:,}", f"{group.size:,}",
              escaped(group.dates)) for group in found.top]
    caption = "Duplicates by reclaimable space"
    if found.groups > len(found.top):
        caption += f": the first {len(found.top)} of {count(found.groups, 'group')}"
    heads = ("Where", "Reclaimable bytes", "Files", "Bytes each", "Date")
    return card("duplicates", "Duplicates", duplicates_lead(found, total),
                chart("duplicates-c", caption, bars) + table(caption, heads, cells), style)


def tile(label, value, note, length=None):
    bar = meter("size", length) if length is not None else ""
    return f"<div><dt>{label}</dt><dd><b>{value}</b><span>{note}</span>{bar}</dd></div>"


def head_tiles(summary):
    capacity, free, size, files, directories = map(int, summary[2:7])
    tiles = [tile("Space in files", human(size), count(size, "byte")),
             tile("Files", f"{files:,}", f"{human(size // files)} on average" if files > 0 else ""),
             tile("Directories", f"{directories:,}",
                  f"{files / directories:.1f} files each" if directories > 0 else "")]
    if capacity > 0:
        tiles.append(tile("Free", human(free), f"of {human(capacity)} on the volume, "
                          f"{share(free, capacity)}", ratio(free, capacity)))
    return f'<dl class="tiles head">{"".join(tiles)}</dl>'


def figure_tiles(figures, whole, duplicates):
    """`duplicates` is the title of the duplicates report, whose total is what could be freed."""
    def label(row):
        return escaped(row.label) + (": reclaimable" if row.label == duplicates else "")

    tiles = "".join(
        tile(label(row), human(row.size), f"{count(row.files, 'file')} · "
             f"{share(row.size, whole.size if whole else 0)}",
             ratio(row.size, whole.size if whole else 0)) for row in figures)
    return ('<section aria-labelledby="figures"><h2 id="figures">At a glance</h2>'
            f'<dl class="tiles">{tiles}</dl></section>')
