"""Texts, tables and charts as HTML. What is named "label" or "text" is plain text from a report and
is escaped here; everything else that goes in is HTML already."""
import html
import unicodedata

from reportpage.reports import LONGEST_NAME

LINE_COLUMNS = 42  # room for a label and a value side by side on a telephone


def visible(text):
    """Text with marks in place of what would not show, or would turn the text around."""
    def mark(char):
        if char.isprintable() or unicodedata.category(char) == "Zs":
            return char
        return chr(0x2400 + ord(char)) if char < " " else f"\u27e8U+{ord(char):04X}\u27e9"
    return "".join(map(mark, text))


def escaped(text):
    return html.escape(visible(text[:LONGEST_NAME]))


def shortened(text, room):
    """The text, cut in its middle when it takes more than that many columns."""
    def columns(part):
        return sum(2 if unicodedata.east_asian_width(char) in "WF" else 1 for char in part)
    text = visible(text[:LONGEST_NAME])
    if columns(text) <= room and len(text) <= room:
        return html.escape(text)
    head, tail = text[:room], text[-7:]
    while columns(head) + columns(tail) >= room and head:
        head = head[:-1]
    return html.escape(f"{head}\u2026{tail}")


def human(size):
    """A size in units of 1024, with three digits."""
    if abs(size) < 1024:
        return count(size, "byte")
    value = float(size)
    for unit in ("KB", "MB", "GB", "TB", "PB", "EB"):
        value /= 1024
        if abs(value) < 999.5:
            break
    digits = 2 if abs(value) < 9.995 else 1 if abs(value) < 99.95 else 0
    return f"{value:.{digits}f}\u00a0{unit}"


def count(number, noun):
    return f"{number:,}\u00a0{noun}{'' if number == 1 else 's'}"


def signed(size):
    """A difference of sizes, with its sign."""
    return f"{'+' if size > 0 else chr(0x2212) if size < 0 else ''}{human(abs(size))}"


def share(part, whole):
    if whole <= 0:
        return "\u2013"
    percent = 100 * part / whole
    return "&lt;0.1\u00a0%" if 0 < percent < 0.05 else f"{percent:.1f}\u00a0%"


class Bar:
    """One line of a chart: a label, which is cut to fit beside its value, a hint that holds all of
    it, and bars as (style class, top, height, length from 0 to 1)."""

    def __init__(self, label, value, hint, parts):
        self.label = shortened(label, max(LINE_COLUMNS - len(html.unescape(value)), 10))
        self.value, self.hint, self.parts = value, hint, parts


def ratio(part, whole):
    return min(max(part / whole, 0), 1) if whole > 0 else 0


def chart(ident, title, bars):
    """Bars beneath their labels. Lengths are in percent and texts in pixels: the chart takes any
    width, and its texts stay as large as all others."""
    row_height = 8 + max(top + height for bar in bars for _, top, height, _ in bar.parts)
    out = [f'<svg class="chart" role="img" aria-labelledby="{ident}-t" width="100%" '
           f'height="{row_height * len(bars)}"><title id="{ident}-t">{title}</title>']
    for index, bar in enumerate(bars):
        out.append(f'<g transform="translate(0 {row_height * index})"><title>{bar.hint}</title>'
                   f'<text class="label" y="15">{bar.label}</text>'
                   f'<text class="value" x="100%" y="15">{bar.value}</text>')
        for style, top, height, length in bar.parts:
            if length > 0:
                out.append(f'<rect class="{style}" y="{top}" width="{max(100 * length, 0.5):.2f}%" '
                           f'height="{height}" rx="2"/>')
        out.append("</g>")
    return "".join(out) + "</svg>"


def table(caption, heads, rows):
    """The figures of a chart, folded away; the first cell of each row names it."""
    out = [f'<details><summary>Figures as a table</summary><div class="scroll" role="group" '
           f'tabindex="0" aria-label="{caption}"><table><caption>{caption}</caption><thead><tr>']
    out += [f'<th scope="col">{head}</th>' for head in heads]
    out.append("</tr></thead><tbody>")
    for row in rows:
        cells = "".join(f"<td>{cell}</td>" for cell in row[1:])
        out.append(f'<tr><th scope="row">{row[0]}</th>{cells}</tr>')
    return "\n".join(out) + "</tbody></table></div></details>"


def meter(style, length, track=True):
    """A bar on its track, as wide as its place."""
    bar = (f'<rect class="{style}" width="{max(100 * length, 0.5):.2f}%" height="6" rx="3"/>'
           if length > 0 else "")
    under = '<rect class="track" width="100%" height="6" rx="3"/>' if track else ""
    return (f'<svg class="meter" width="100%" height="6" aria-hidden="true">{under}{bar}</svg>')


def legend(*entries):
    keys = "".join(f'<li><svg width="12" height="12" aria-hidden="true"><rect class="{style}" '
                   f'width="12" height="12" rx="2"/></svg>{text}</li>' for style, text in entries)
    return f'<ul class="legend">{keys}</ul>'


def card(ident, title, lead, body, style=""):
    return (f'<section class="card {style}" aria-labelledby="{ident}"><h2 id="{ident}">{title}</h2>'
            f'<p class="lead">{lead}</p>{body}</section>')
