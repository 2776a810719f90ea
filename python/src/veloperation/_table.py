"""Tables as people read them."""

from __future__ import annotations

import html
from collections.abc import Iterable, Sequence


def as_text(header: Sequence[str], rows: Iterable[Sequence[str]]) -> str:
    """Align the cells of a table."""
    lines = [list(header), *map(list, rows)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(header))]
    lines.insert(1, ["-" * width for width in widths])
    return "\n".join(
        "  ".join(cell.ljust(width) for cell, width in zip(line, widths, strict=True)).rstrip() for line in lines
    )


def as_html(header: Sequence[str], rows: Iterable[Sequence[str]]) -> str:
    """Make a table for notebooks."""

    def line(cells: Sequence[str], tag: str) -> str:
        return "<tr>" + "".join(f"<{tag}>{html.escape(cell)}</{tag}>" for cell in cells) + "</tr>"

    return "<table>" + line(header, "th") + "".join(line(row, "td") for row in rows) + "</table>"
