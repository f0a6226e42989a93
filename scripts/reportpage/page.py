"""Puts the page together."""
import itertools
import os

from reportpage.cards import (account_card, band_card, duplicates_card, figure_tiles, head_tiles,
                              ranking_card)
from reportpage.charts import count, escaped
from reportpage.reports import Duplicates, Ranking

KINDS = {"NFS": "Unix filesystem", "CIFS": "Windows share or disk"}
SUMMARY_LINES = 200  # more than a summary has

# Nothing may be fetched or run, even if a name from a report came to stand as markup.
PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>{title} – filesystem report</title>
<style>
{style}</style>
</head>
<body>
<header>
<p class="eyebrow">Filesystem report</p>
<h1><bdi>{title}</bdi></h1>
<p class="about">{about}</p>
{head}
</header>
<main>
{figures}
<div class="cards">
{cards}
</div>
</main>
<footer>
<p>{notes}</p>
{text}
</footer>
</body>
</html>
"""


def style():
    path = os.path.join(os.path.dirname(os.path.realpath(__file__)), "style.css")
    with open(path, encoding="utf-8") as file:
        return file.read()


def owner_cards(reports, whole):
    """Those that a scan of its kind has: owners and groups of Unix, accounts of Windows."""
    owners = Ranking(reports.rows("owners.csv"))
    if owners.top:
        listed = {row.label for row in owners.top}
        cold = {row.label: row.size for row in reports.rows("owners-cold.csv")
                if row.label in listed}
        yield ranking_card("owners", "Owners (user IDs)", "user ID", owners, whole, cold)
    groups = Ranking(reports.rows("groups.csv"))
    if groups.top:
        yield ranking_card("groups", "Groups (group IDs)", "group ID", groups, whole)
    accounts = Ranking(reports.accounts())
    if accounts.top:
        yield account_card(accounts)


def cards(reports, kind, figures, bands, whole):
    """The charts for which there are reports."""
    out = [band_card(f"bands-{index}", name, rows)
           for index, (name, rows) in enumerate(bands.items())]
    types = Ranking(reports.rows("types.csv"))
    if types.top:
        # Beside the sizes, which it explains.
        out.insert(1, ranking_card("types", "File types", "extension", types, whole))
    out += owner_cards(reports, whole)
    duplicates = Duplicates(reports.lines("duplicates.txt"))
    if duplicates.top:
        total = next((row for row in figures if row.label == duplicates.title), None)
        # Two cards fit side by side; an odd one would leave a gap.
        out.append(duplicates_card(duplicates, kind, total, "" if len(out) % 2 else "wide"))
    return "\n".join(out)


def audit_summary(reports):
    lines = list(itertools.islice(reports.lines("summary.txt"), SUMMARY_LINES))
    if not any(lines):
        return ""
    text = "\n".join(map(escaped, lines)).strip("\n")
    return f"<details><summary>The audit summary</summary><pre>{text}</pre></details>"


def page(reports):
    """The page as text; pieces are empty where their reports are missing."""
    summary = reports.summary()
    figures, bands = reports.totals()
    whole = next((row for row in figures if row.label == "All files"), None)
    singles = [row for row in figures if row is not whole]
    pieces = {
        "title": escaped(summary[8]) if summary else "Filesystem",
        "style": style(),
        "about": (f"{KINDS[summary[0]]} on <b>{escaped(summary[7])}</b>, scanned "
                  f"{escaped(summary[1])}") if summary else "",
        "head": head_tiles(summary) if summary else "",
        "figures": figure_tiles(singles, whole) if singles else "",
        "cards": cards(reports, summary[0] if summary else "", figures, bands, whole),
        "text": audit_summary(reports),
    }
    notes = ["KB, MB, GB and TB count by 1024. Ages count back from the day of the scan."]
    if reports.unread:
        notes.append(f'<strong class="warning">{count(reports.unread, "row")} of the reports could '
                     'not be read; the figures lack them.</strong>')
    return PAGE.format(notes=" ".join(notes), **pieces)
