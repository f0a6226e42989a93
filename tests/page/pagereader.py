"""Reads a page as a browser would and holds on to what tests look at."""
import html.parser

VOID = {"meta", "br"}
ALLOWED = VOID | set(
    "html head title style body header main section footer h1 h2 p div dl dt dd b span bdi strong "
    "ul li svg g rect text details summary table caption thead tbody tr th td pre code".split())


class PageReader(html.parser.HTMLParser):
    """tables: caption to rows of cell texts; tiles: label to value and note; items: texts of list
    items. Faults are collected."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.faults, self.stack, self.ids, self.refs = [], [], [], []
        self.tables, self.tiles, self.headings, self.items = {}, {}, [], []
        self.rows, self.buffers = [], []
        self.feed(text)
        self.close()
        if self.stack:
            self.faults.append(f"never closed: {self.stack}")
        self.faults += [f"no such id: {ref}" for ref in self.refs if ref not in self.ids]
        self.faults += [f"an id twice: {name}" for name in self.ids if self.ids.count(name) > 1]

    def handle_starttag(self, tag, attributes):
        if tag not in ALLOWED:
            self.faults.append(f"element {tag}")
        for name, value in attributes:
            if name in ("src", "href", "xlink:href", "action", "srcset") or name.startswith("on"):
                self.faults.append(f"attribute {name}")
            if name == "id":
                self.ids.append(value)
            if name == "aria-labelledby":
                self.refs.append(value)
        named = {"role", "aria-hidden"} & dict(attributes).keys()
        if tag == "svg" and "svg" not in self.stack and not named:
            self.faults.append("a picture without a role")
        if tag == "table":
            self.rows = []
        if tag == "tr":
            self.rows.append([])
        if tag == "br":
            self.handle_data(" ")
        if tag not in VOID:
            self.stack.append(tag)
            self.buffers.append("")

    def handle_endtag(self, tag):
        if tag in VOID:
            return
        if not self.stack or self.stack[-1] != tag:
            self.faults.append(f"</{tag}> in {self.stack[-3:]}")
            return
        self.stack.pop()
        text = self.buffers.pop()
        if self.buffers and tag != "style":
            self.buffers[-1] += text + (" " if tag in ("li", "summary", "b") else "")
        if tag in ("th", "td"):
            self.rows[-1].append(text)
        elif tag == "caption":
            self.caption = text
        elif tag == "table":
            self.tables[self.caption] = self.rows
        elif tag == "dt":
            self.label = text
        elif tag == "dd":
            self.tiles[self.label] = " ".join(text.split())
        elif tag == "li":
            self.items.append(" ".join(text.split()))
        elif tag in ("h1", "h2"):
            self.headings.append((tag, text))
        elif tag == "style" and ("url(" in text or "@import" in text):
            self.faults.append("style that fetches")

    def handle_data(self, data):
        if self.buffers:
            self.buffers[-1] += data

    def unknown_decl(self, data):
        self.faults.append(f"declaration {data[:20]}")

    handle_comment = unknown_decl
