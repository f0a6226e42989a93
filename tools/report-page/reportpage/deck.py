"""The cards of the page in their order, each where there is a report for it."""
from reportpage.cards import account_card, band_card, duplicates_card, ranking_card
from reportpage.directories import Tree, by_growth, by_size, changes, largest_files
from reportpage.places import changes_card, growth_card, largest_card, space_card
from reportpage.reports import Ranking, Row


def named(reports, kind, rows):
    """Rows by number with the names that the scan knows."""
    for row in rows:
        name = reports.name(kind, row.label)
        yield Row(f"{name} ({row.label})" if name else row.label, row.files, row.size)


def owner_cards(reports, kind, whole):
    """Those that a scan of its kind has: owners and groups of Unix, accounts of Windows."""
    if kind != "CIFS":
        owners = Ranking(reports.rows("owners.csv"))
        if owners.top:
            owners.top = list(named(reports, "user", owners.top))
            listed = {row.label for row in owners.top}
            old = named(reports, "user", reports.rows("owners-cold.csv"))
            cold = {row.label: row.size for row in old if row.label in listed}
            yield ranking_card("owners", "Owners", "owner", owners, whole, cold)
        groups = Ranking(reports.rows("groups.csv"))
        if groups.top:
            groups.top = list(named(reports, "group", groups.top))
            yield ranking_card("groups", "Groups", "group", groups, whole)
    if kind != "NFS":
        accounts = Ranking(reports.accounts())
        if accounts.top:
            yield account_card(accounts)


def directory_cards(reports, whole):
    """Where the space is; what grew, when there is an older scan; the largest files."""
    space = Tree(reports, by_size)
    if space.root:
        yield space_card(space, whole)
    if space.grown:
        yield growth_card(Tree(reports, by_growth), reports.made.older if reports.made else "")
        changed = changes(reports)
        if changed:
            yield changes_card(changed)
    largest = largest_files(reports)
    if largest:
        yield largest_card(largest, whole)


def cards(reports, kind, duplicates, bands, whole, total):
    """The charts for which there are reports. `total` is what the program counted of duplicates."""
    out = list(directory_cards(reports, whole))
    types = Ranking(reports.rows("types.csv"))
    if types.top:
        out.append(ranking_card("types", "File types", "extension", types, whole))
    out += [band_card(f"bands-{index}", name, rows)
            for index, (name, rows) in enumerate(bands.items())]
    out += owner_cards(reports, kind, whole)
    if duplicates.top:
        # Two cards fit side by side; an odd one would leave a gap.
        narrow = sum("class=\"card wide\"" not in each for each in out)
        out.append(duplicates_card(duplicates, kind, total, "" if narrow % 2 else "wide"))
    return "\n".join(out)
