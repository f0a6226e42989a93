"""Directories as nested rectangles: the area of each is its share of the bytes."""
from reportpage.charts import escaped, human, ratio, share, visible
from reportpage.directories import last_name

HEIGHT = 300  # pixels
NOMINAL_WIDTH = 1000  # for the shape of rectangles; the map takes any width
HEAD = 22  # pixels for the name of a directory above those in it
LEAST = 0.004  # share of the map below which a rectangle is not drawn
CHARACTER = 8  # pixels of a label's character, at least


class Box:
    """A rectangle in nominal pixels."""

    def __init__(self, left, top, width, height):
        self.left, self.top, self.width, self.height = left, top, width, height

    def inner(self):
        return Box(self.left + 3, self.top + HEAD, self.width - 6, self.height - HEAD - 3)


def worst(row, size, side):
    """How far the rectangles of a row are from squares, at the worst."""
    thick = size / side
    return max(max(thick * thick / area, area / (thick * thick)) for area in row)


def squarified(areas, box):
    """Boxes for areas that add up to at most that of the box, the largest first: rows along the
    shorter side, each as long as its rectangles come closer to squares (Bruls, Huizing, van Wijk:
    "Squarified Treemaps", 2000)."""
    boxes, at = [], 0
    box = Box(box.left, box.top, box.width, box.height)
    while at < len(areas):
        side, end = min(box.width, box.height), at + 1
        if side <= 0:
            break
        while end < len(areas) and (worst(areas[at:end + 1], sum(areas[at:end + 1]), side)
                                    <= worst(areas[at:end], sum(areas[at:end]), side)):
            end += 1
        boxes += placed(areas[at:end], box)
        at = end
    return boxes


def placed(row, box):
    """Boxes for one row along the shorter side of the box, which loses that strip."""
    boxes, upright = [], box.width >= box.height
    thick = sum(row) / (box.height if upright else box.width)
    offset = 0
    for area in row:
        if upright:
            boxes.append(Box(box.left, box.top + offset, thick, area / thick))
        else:
            boxes.append(Box(box.left + offset, box.top, area / thick, thick))
        offset += area / thick
    if upright:
        box.left, box.width = box.left + thick, box.width - thick
    else:
        box.top, box.height = box.top + thick, box.height - thick
    return boxes


def text(name, box, style):
    """The name, as far as there is room for it; on narrow screens only that of wide rectangles."""
    room = int((box.width - 12) / CHARACTER)
    if room < 3 or box.height < HEAD - 4:
        return ""
    name = name if len(name) <= room else name[:room - 1] + "\u2026"
    narrow = " fine" if box.width < NOMINAL_WIDTH * max(len(name) + 2, 8) / 42 else ""
    return f'<text class="{style}-label{narrow}" x="6" y="15">{escaped(name)}</text>'


def picture(box, hint, style, label):
    """A picture in the picture, which cuts its label at its edge."""
    return (f'<svg x="{100 * box.left / NOMINAL_WIDTH:.2f}%" y="{box.top:.1f}" '
            f'width="{100 * box.width / NOMINAL_WIDTH:.2f}%" height="{box.height:.1f}">'
            f'<title>{hint}</title><rect class="{style}" width="100%" height="100%"/>{label}</svg>')


def rectangle(place, box, root, style):
    hint = f"{escaped(place.path)}: {human(place.size)}, {share(place.size, root.size)}"
    return picture(box, hint, style, text(visible(last_name(place.path)), box, style))


def rectangles(places, whole, box, root, style):
    """Directories, the largest first, as far as they can be seen; a strip shows the rest."""
    scale = box.width * box.height
    areas = [ratio(place.size, whole) * scale for place in places]
    drawn = [area for area in areas if area >= LEAST * NOMINAL_WIDTH * HEIGHT]
    used = box.width * sum(drawn) / scale
    for place, each in zip(places, squarified(drawn, Box(box.left, box.top, used, box.height))):
        yield rectangle(place, each, root, style)
        inner = each.inner()
        if style == "outer" and inner.width > 40 and inner.height > 20:
            yield from rectangles(place.shown, place.size, inner, root, "inner")
    if style == "outer" and box.width - used > 2:
        rest = Box(box.left + used, box.top, box.width - used, box.height)
        yield picture(rest, "everything else", "others", text("everything else", rest, "others"))


def treemap(root, ident, title):
    if not root.shown:
        return ""
    parts = rectangles(root.shown, root.size, Box(0, 0, NOMINAL_WIDTH, HEIGHT), root, "outer")
    return (f'<svg class="map" role="img" aria-labelledby="{ident}" width="100%" height="{HEIGHT}">'
            f'<title id="{ident}">{title}</title>{"".join(parts)}</svg>')
