"""Puts the page together."""
import itertools
import os

from reportpage.cards import figure_tiles, head_tiles
from reportpage.charts import count, escaped
from reportpage.deck import cards
from reportpage.reports import Duplicates
from reportpage.sources import SOURCES, typed_command

KINDS = {"NFS": "Unix filesystem", "CIFS": "Windows share or disk"}
SUMMARY_LINES = 200  # more than a summary has

# Nothing may be fetched or run, even if a name from a report got into the page as markup.
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
{missing}
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


def missing_card(reports, kind):
    """What the page lacks, with the command that makes it."""
    lacking = {}
    for source in SOURCES:
        if source.file not in reports.missing or (kind and kind not in source.kinds):
            continue
        if reports.made and source.command:
            how = f"<code>{source.command[0]}</code>, which is not installed"
        else:
            how = f"<code>{escaped(typed_command(source, kind, reports.directory))}</code>"
        lacking.setdefault(how, []).append(f"{source.shows} (<code>{source.file}</code>)")
    if not lacking:
        return ""
    lines = "".join(f"<li>{', '.join(shows)}: run {how}</li>" for how, shows in lacking.items())
    return ('<section class="card missing" aria-labelledby="missing">'
            '<h2 id="missing">Not on this page</h2><p class="lead">These reports are missing; '
            '<code>report-page --scan SCAN.dtl OUT.html</code> makes them all.</p>'
            f'<ul>{lines}</ul></section>')


def audit_summary(reports):
    lines = list(itertools.islice(reports.lines("summary.txt"), SUMMARY_LINES))
    if not any(lines):
        return ""
    text = "\n".join(map(escaped, lines)).strip("\n")
    return ('<details><summary>The audit summary</summary>'
            f'<pre tabindex="0">{text}</pre></details>')


def head(summary):
    """What the line of the summary tells."""
    if not summary:
        return {"title": "Filesystem", "about": "", "head": ""}
    return {"title": escaped(summary[8]), "head": head_tiles(summary),
            "about": f"{KINDS[summary[0]]} on <b>{escaped(summary[7])}</b>, scanned "
                     f"{escaped(summary[1])}"}


def warning(text):
    return f'<strong class="warning">{text}</strong>'


def notes(reports, summary, whole):
    """The end of the page: units, and what its figures lack."""
    out = ["KB, MB, GB and TB count by 1024. Ages count back from the day of the scan."]
    if reports.made and reports.made.cut:
        out.append(warning("A scan breaks off: the page shows what it holds."))
    if summary and whole and int(summary[5]) > whole.files:
        out.append(warning(f"The scan says that it holds {count(int(summary[5]), 'file')}; the "
                           f"reports found {whole.files:,}."))
    if reports.unread():
        out.append(warning(f"{count(reports.unread(), 'row')} of the reports could not be read; "
                           "the figures lack them."))
    return " ".join(out)


def page(reports):
    """The page as text; pieces are empty where their reports are missing."""
    summary = reports.summary()
    kind = summary[0] if summary else ""
    figures, bands = reports.totals()
    whole = next((row for row in figures if row.label == "All files"), None)
    singles = [row for row in figures if row is not whole]
    duplicates = Duplicates(reports.lines("duplicates.txt"))
    total = next((row for row in figures if row.label == duplicates.title), None)
    pieces = {
        **head(summary),
        "style": style(),
        "figures": figure_tiles(singles, whole, duplicates.title) if singles else "",
        "cards": cards(reports, kind, duplicates, bands, whole, total),
        "text": audit_summary(reports),
        "notes": notes(reports, summary, whole),
    }
    # Now it is known which reports are missing.
    return PAGE.format(missing=missing_card(reports, kind), **pieces)
