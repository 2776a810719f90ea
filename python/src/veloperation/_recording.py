"""Recordings in files."""

from __future__ import annotations

import dataclasses
import os
from collections.abc import Callable, Sequence

from veloperation import _core
from veloperation._result import Progress, Replaying
from veloperation._sources import Source, Wanted, format_of

_CSV_OPTIONS = ("separator", "decimal_comma", "thousands", "missing", "skip", "units_row", "on_bad_cell")


@dataclasses.dataclass(frozen=True)
class Looks:
    """What a replay makes besides samples."""

    statuses: bool
    warnings: bool
    are_all_samples: bool = False
    """Whether a writer of texts takes the result."""


class Recording:
    """A recording in one file or several, as `open` returns it. `Plan.replay` reads it.

    Examples
    --------
    >>> import veloperation as vel
    >>> vel.open("monday.csv", "tuesday.csv")
    veloperation.open('monday.csv', 'tuesday.csv')
    """

    def __init__(self, files: list[str], options: _core.CsvOptions) -> None:
        self.files = files
        self.options = options

    def _replay(
        self,
        plan: _core.EnginePlan,
        looks: Looks,
        progress: Progress | None,
        is_stopped: Callable[[], bool] | None = None,
    ) -> Replaying:
        formats = {file: "CSV" if file == "-" else format_of(file) for file in self.files}
        kind = formats[self.files[0]]
        for file, other in formats.items():
            if other != kind:
                raise _core.Error(
                    f"{file}: its format is {other}, and that of {self.files[0]} is {kind}\n  replay them separately"
                )
        if kind == "CSV":
            how = (looks.statuses, looks.warnings, progress, looks.are_all_samples)
            return Replaying(plan.replay_files(self.files, self.options, *how, is_stopped), None)
        for option in _CSV_OPTIONS:
            if getattr(self.options, option) is not None:
                raise _core.Error(f"{self.files[0]}: {option} is for CSV, and this is {kind}\n  leave it out")
        wanted = Wanted.by(plan, self.options, len(self.files))
        source = Source(self.files, kind, wanted, is_stopped, looks.are_all_samples)

        def report(rows: int, _: float | None) -> None:
            if progress is not None:
                progress(rows, source.share)

        with source.own_errors():
            made = plan.replay_data(
                source.stream(),
                self.options,
                looks.statuses,
                looks.warnings,
                None if progress is None else report,
                looks.are_all_samples,
            )
        return Replaying(made, source)

    def __repr__(self) -> str:
        return f"veloperation.open({', '.join(map(repr, self.files))})"


def open(
    *files: str | os.PathLike[str],
    separator: str | None = None,
    decimal_comma: bool | None = None,
    thousands: str | None = None,
    missing: Sequence[str] | None = None,
    skip: int | None = None,
    units_row: bool | None = None,
    on_bad_cell: str | None = None,
    on_no_value: str | None = None,
) -> Recording:
    r"""Name a recording in MDF 4, Parquet, Arrow IPC or CSV, for `Plan.replay`.

    A replay reads the files piece by piece, and only the columns that the plan uses. The first bytes of a file tell its
    format; all that is not known is CSV, and so is a pipe. CSV is read as velreplay reads it: packed with gzip or not,
    times as texts, and kept columns as they are. Other formats need ``pip install 'veloperation[files]'``.

    Parameters
    ----------
    *files : str or os.PathLike
        The parts of one recording, all in one format; ``"-"`` is CSV from standard input. In CSV each has a header.
    separator : str, optional
        What separates cells: one character, or ``"tab"``.
    decimal_comma : bool, optional
        Whether numbers are written as 1,5.
    thousands : str, optional
        What stands between groups of three digits.
    missing : sequence of str, optional
        Cells that mean "no sample", beside the empty one, NaN and NA.
    skip : int, optional
        Lines before the header.
    units_row : bool, optional
        Whether a row of units follows the header.
    on_bad_cell, on_no_value : {"error", "missing"}, optional
        What becomes of cells that are no numbers, and of samples that equal the NoValue of an integer type. The latter
        holds for all formats, the other options for CSV alone.

    Returns
    -------
    Recording
        The recording. What is not given here is as the plan's table ``[recording]`` says.

    Examples
    --------
    >>> import pathlib, tempfile
    >>> import veloperation as vel
    >>> file = pathlib.Path(tempfile.mkdtemp(), "log.csv")
    >>> _ = file.write_text("v;comment\n1,5;a\n;b\n")
    >>> plan = vel.Plan(keep=["comment"])
    >>> plan["twice"] = plan.input("v", vel.Float64) * 2
    >>> plan.replay(vel.open(file, decimal_comma=True)).read()
    v    twice  comment
    ---  -----  -------
    1.5  3.0    a
                b
    """
    if not files:
        raise TypeError("open() needs a file")
    options = _core.CsvOptions()
    options.separator = separator
    options.decimal_comma = decimal_comma
    options.thousands = thousands
    options.missing = None if missing is None else list(missing)
    options.skip = skip
    options.units_row = units_row
    options.on_bad_cell = on_bad_cell
    options.on_no_value = on_no_value
    return Recording([os.fspath(file) for file in files], options)
