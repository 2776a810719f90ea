"""Plans: channels that are read, and channels that are computed from them."""

from __future__ import annotations

import os
from collections.abc import Mapping, Sequence
from pathlib import Path
from typing import Any, overload

from veloperation import _core, _toml
from veloperation._arrays import stream_of
from veloperation._formula import Call, Channel, Operand, call, quoted_name
from veloperation._recording import Looks, Recording
from veloperation._result import Pages, Progress, Replaying, Result, Session
from veloperation._table import as_html, as_text

__all__ = ["Channel", "Operand", "Plan", "call"]

_HEADER = ("channel", "type", "", "from")


class Plan:
    """Channels that are read from a recording, and channels that are computed from them.

    A plan is loaded from a file, parsed from a text, or built: `input` adds a channel that is read,
    ``plan["name"] = formula`` one that is computed. ``str(plan)`` is the text, which velreplay takes, too.

    Parameters
    ----------
    output : sequence of str, optional
        The channels that a result has, in order. Without it all of them.
    keep : sequence of str or "all", optional
        Other columns of the recording that a result has, unchanged.
    sample_period : float, str or datetime.timedelta, optional
        The time from row to row, in seconds or as ``"100 ms"``.
    rows_when : str or Channel, optional
        A result has the rows alone in which this channel is true.
    rows_before_change : str or Channel, optional
        A result has the last row before each change of this channel, and the last row of all.
    raster : mapping, optional
        Even times in the place of the recording's: ``{"time": "t", "period": 0.1}``.
    recording : mapping, optional
        How a recording is written: ``{"on_no_value": "missing"}``.

    Examples
    --------
    >>> import veloperation as vel
    >>> plan = vel.Plan()
    >>> distance = plan.input("distance", vel.Float64)
    >>> time = plan.input("time", vel.Float64)
    >>> plan["speed"] = distance / time
    >>> plan["mean"] = vel.op.Average(plan["speed"], window=2)
    >>> plan
    channel   type               from
    --------  -------  --------  --------------------------
    distance  Float64  input     distance
    time      Float64  input     time
    speed     Float64  computed  distance / time
    mean      Float64  computed  Average(speed, window = 2)
    >>> result = plan.replay({"distance": [6.0, 1.0, 9.0], "time": [0.5, 0.0, 2.0]}).read()
    >>> result["speed"]
    array([12. , 12. ,  4.5])
    """

    __hash__ = None  # type: ignore[assignment]

    def __init__(
        self,
        *,
        output: Sequence[str] | None = None,
        keep: Sequence[str] | str | None = None,
        sample_period: object = None,
        rows_when: str | Channel | None = None,
        rows_before_change: str | Channel | None = None,
        raster: Mapping[str, object] | None = None,
        recording: Mapping[str, object] | None = None,
    ) -> None:
        self._text: str | None = None
        self._name = "plan"
        self._settings: dict[str, Any] = {}
        self._tables: dict[str, Mapping[str, object]] = {}
        self._keys: dict[str, object] = {}
        self._channels: dict[str, Channel] = {}
        self._blocks: list[str] = []
        self._formulas: dict[str, str] = {}
        self._made: tuple[str, _core.EnginePlan] | None = None
        self._replaced = ""  # settings, for people
        self.choose(
            output=output,
            keep=keep,
            sample_period=sample_period,
            rows_when=rows_when,
            rows_before_change=rows_before_change,
            raster=raster,
            recording=recording,
        )

    @classmethod
    def load(cls, file: str | os.PathLike[str], settings: Mapping[str, object] | None = None) -> Plan:
        """Read a plan from a file.

        Parameters
        ----------
        file : str or os.PathLike
            The file, a text in TOML.
        settings : mapping, optional
            Values that replace those of the plan's table ``[settings]``.

        Returns
        -------
        Plan
            The plan.

        Raises
        ------
        Error
            If the plan is wrong. The message says where, what, and what to do about it.

        Examples
        --------
        >>> import pathlib, tempfile
        >>> import veloperation as vel
        >>> file = pathlib.Path(tempfile.mkdtemp(), "plan.toml")
        >>> _ = file.write_text('''
        ... [settings]
        ... limit = 10.0
        ... [[inputs]]
        ... name = "v"
        ... type = "Float64"
        ... [compute]
        ... fast = "v > limit"
        ... ''')
        >>> plan = vel.Plan.load(file, settings={"limit": 5})
        >>> print(plan.replay({"v": [4.0, 6.0]})["fast"])
        [0 1]
        """
        path = Path(file)
        try:
            text = path.read_text("utf-8")
        except (OSError, UnicodeDecodeError) as error:
            raise _core.Error(f"{path}: the plan cannot be read: {error}") from error
        return cls._parsed(text, str(path), settings)

    @classmethod
    def parse(cls, text: str, settings: Mapping[str, object] | None = None) -> Plan:
        """Read a plan from a text in TOML.

        Parameters
        ----------
        text : str
            The plan.
        settings : mapping, optional
            Values that replace those of the plan's table ``[settings]``.

        Returns
        -------
        Plan
            The plan.

        Raises
        ------
        Error
            If the plan is wrong.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan.parse('''
        ... [[inputs]]
        ... name = "v"
        ... type = "Float64"
        ... [compute]
        ... twice = "v * 2"
        ... ''')
        >>> plan == vel.Plan.parse(str(plan))
        True
        """
        return cls._parsed(text, "plan", settings)

    @classmethod
    def _parsed(cls, text: str, name: str, settings: Mapping[str, object] | None) -> Plan:
        engine = _core.EnginePlan.parse(text, name, dict(settings or {}))
        engine.check()
        plan = cls()
        plan._name = name
        plan._text = engine.explain() if settings else text
        plan._made = plan._text, engine
        plan._replaced = ", ".join(f"{key}={value}" for key, value in (settings or {}).items())
        return plan

    def choose(self, **keys: object) -> None:
        """Set what the plan itself says: ``output``, ``keep``, ``rows_when`` and the others of `Plan`.

        Parameters
        ----------
        **keys
            As of `Plan`. None changes nothing.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> v = plan.input("v", vel.Float64)
        >>> plan["fast"] = v > 10
        >>> plan.choose(output=["v"], rows_when=plan["fast"])
        >>> plan.replay({"v": [5.0, 15.0]})["v"]
        array([15.])
        """
        known = ["output", "keep", "sample_period", "rows_when", "rows_before_change", "raster", "recording"]
        for key, given in keys.items():
            if key not in known:
                raise _core.Error(f"plan: unknown key {key!r}\n  known here: {' '.join(known)}")
            if given is None:
                continue
            self._refuse_parsed()
            if isinstance(given, Mapping):
                self._tables[key] = {name: _names(value) for name, value in given.items()}
            else:
                self._keys[key] = _names(given)

    def input(
        self,
        name: str,
        type: str,
        *,
        column: str | None = None,
        no_value: float | None = None,
        hold: object = None,
        resample: str | None = None,
        format: str | None = None,
        zone: str | None = None,
        clock: str | None = None,
    ) -> Channel:
        """Add a channel that is read from the recording.

        Parameters
        ----------
        name : str
            The channel's name.
        type : SampleType or str
            Its type, `veloperation.Float64` for example, or `veloperation.Time`.
        column : str, optional
            The name that the recording has for it, where that is another one.
        no_value : float, optional
            The value that says "no sample", where it is another one than usual.
        hold : int, str or datetime.timedelta, optional
            For so many rows, or so long, the last sample stands in for missing ones.
        resample : {"last", "linear"}, optional
            How it comes onto a raster.
        format, zone, clock : str, optional
            How texts say times, and the zone whose clocks are meant.

        Returns
        -------
        Channel
            The channel, for formulas.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> plan.input("t", vel.Time, column="Time [UTC]")
        t
        """
        entries = {
            "name": name,
            "column": column,
            "type": str(type),
            "no_value": no_value,
            "hold": hold,
            "resample": resample,
            "format": format,
            "zone": zone,
            "clock": clock,
        }
        made = self._add(name, is_condition=False)
        self._blocks.append(_toml.table("[[inputs]]", entries))
        return made

    def constant(self, name: str, type: str, value: float | None = None, *, no_value: float | None = None) -> Channel:
        """Add a channel that is the same in every row.

        Parameters
        ----------
        name : str
            The channel's name.
        type : SampleType or str
            Its type.
        value : float, optional
            Its sample. Without it the channel never has one.
        no_value : float, optional
            The value that says "no sample", where it is another one than usual.

        Returns
        -------
        Channel
            The channel, for formulas.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> v = plan.input("v", vel.Float64)
        >>> plan["positive"] = vel.op.If(v > 0, v, plan.constant("none", vel.Float64))
        >>> plan.replay({"v": [1.0, -1.0]})["positive"]
        array([ 1., nan])
        """
        made = self._add(name, is_condition=False)
        entries = {"name": name, "type": str(type), "value": value, "no_value": no_value}
        self._blocks.append(_toml.table("[[constants]]", entries))
        return made

    def setting(self, name: str, value: Any) -> Any:
        """Add a number, flag, duration or list by name, which `parse` and `load` can replace.

        Parameters
        ----------
        name : str
            Its name.
        value : float, bool, str, datetime.timedelta or sequence of pairs
            Its value.

        Returns
        -------
        Channel
            What stands for the value in formulas and as a parameter.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> limit = plan.setting("limit", 10.0)
        >>> plan["fast"] = plan.input("v", vel.Float64) > limit
        >>> print(vel.Plan.parse(str(plan), settings={"limit": 1.0}).replay({"v": [5.0]})["fast"])
        [1]
        """
        made = self._add(name, is_condition=False)
        self._settings[name] = value
        return made

    def __setitem__(self, name: str | tuple[str, ...], formula: Channel | tuple[Channel, ...]) -> None:
        if isinstance(name, tuple):
            self._add_results(name, formula if isinstance(formula, tuple) else (formula,))
            return
        if not isinstance(formula, Channel):
            raise TypeError(f"{name!r} is computed by a formula over channels, not {type(formula).__name__}")
        if formula._plan is not self:
            raise _core.Error(f"channel {name!r}: the formula is of another plan\n  add it to that one")
        if formula._binding < 0:
            raise _core.Error(f"{formula!r}: its results get their names together\n  write: plan['a', 'b'] = ...")
        self._add(name, is_condition=formula._is_condition)
        self._formulas[name] = repr(formula)

    def __getitem__(self, name: str) -> Channel:
        try:
            return self._channels[name]
        except KeyError:
            raise _core.Error(f"the plan that is being built has no channel {name!r}") from None

    def _add(self, name: str, *, is_condition: bool) -> Channel:
        self._refuse_parsed()
        if name in self._channels:
            raise _core.Error(f"the name {name!r} is taken\n  choose another one")
        made = self._channels[name] = Channel(self, quoted_name(name), is_condition=is_condition)
        return made

    def _refuse_parsed(self) -> None:
        if self._text is not None:
            raise _core.Error("a plan that was read is complete\n  add to its text, or build a plan from the start")

    def _add_results(self, names: tuple[str, ...], results: tuple[Channel, ...]) -> None:
        """Write a block, as operations with several results need one."""
        made = results[0]._call
        if not isinstance(made, Call) or any(result._call is not made for result in results):
            raise _core.Error(f"{', '.join(names)}: these are not the results of one operation")
        if len(names) != len(results):
            raise _core.Error(f"{made.name} has {len(results)} results, and there are {len(names)} names")
        operands = []
        for operand in made.operands:
            if not isinstance(operand, Channel) or operand not in _Identity(self._channels.values()):
                raise _core.Error(f"{made.name}: the operand {operand!r} has no name\n  name it: plan['name'] = ...")
            operands.append(_name_of(operand))
        parameters = dict(made.parameters)
        entries: dict[str, object] = {"names": list(names), "operation": made.name}
        entries["type"] = str(parameters.pop("type", "Float64"))
        entries["operands"] = operands
        for key in ("no_value_aware", "no_value", "own_result_over_gaps", "reset_when", "reset_on_change", "hold"):
            if key in parameters:
                entries[key] = _names(parameters.pop(key))
        if parameters:
            entries["parameters"] = {key: _names(given) for key, given in parameters.items()}
        for name in names:
            self._add(name, is_condition=False)
        self._blocks.append(_toml.table("[[channels]]", entries))

    def __str__(self) -> str:
        if self._text is not None:
            return self._text
        text = _toml.table("[plan]", self._keys)
        text += "".join(_toml.table(f"[{name}]", entries) for name, entries in self._tables.items())
        text += _toml.table("[settings]", self._settings) + "".join(self._blocks)
        return (text + _toml.table("[compute]", self._formulas)).rstrip("\n") + "\n"

    def _engine(self) -> _core.EnginePlan:
        text = str(self)
        if self._made is None or self._made[0] != text:
            self._made = text, _core.EnginePlan.parse(text, self._name, {})
        return self._made[1]

    def explain(self) -> str:
        """Write the plan with blocks in the place of formulas, and values in the place of settings.

        Returns
        -------
        str
            A plan that gives the same results to the last bit.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> plan["twice"] = plan.input("v", vel.Float64) * 2
        >>> print(plan.explain().split("[[channels]]")[1])
        <BLANKLINE>
        name = "twice"
        operation = "Multiply"
        type = "Float64"
        operands = ["v", "twice#1"]
        <BLANKLINE>
        """
        return self._engine().explain()

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Plan) and self.explain() == other.explain()

    def _rows(self) -> list[tuple[str, str, str, str]]:
        return [(name, kind, way, " ".join(text.split())) for name, kind, way, text in self._engine().describe()]

    def __repr__(self) -> str:
        try:
            return as_text(_HEADER, self._rows())
        except _core.Error as error:
            return f"plan that is not complete: {error}"

    def _repr_html_(self) -> str:
        return as_html(_HEADER, self._rows())

    def replay(
        self, data: object, *, status: bool = False, warnings: bool = False, progress: Progress | None = None
    ) -> Result:
        """Compute the plan over a recording.

        Parameters
        ----------
        data : table, mapping or Recording
            Anything with ``__arrow_c_stream__`` or ``__arrow_c_array__``: tables of pyarrow, polars, pandas and DuckDB;
            a mapping from names to arrays; or what `veloperation.open` returns.
        status : bool, default False
            Whether the result has, for each computed channel, what became of each sample: a column ``NAME.status``.
        warnings : bool, default False
            Whether to look out for what `Result.warnings` tells, as with ``status=True``. That takes several times as
            long.
        progress : callable, optional
            Called as ``progress(rows, share)`` now and then: the rows so far, and how much of the recording has been
            read, from 0 to 1, or None where that is not known.

        Returns
        -------
        Result
            The result. It computes as it is read, table by table, so its memory does not grow with the recording.

        Raises
        ------
        Error
            If the plan is wrong, or if the data lack a column or have values of other types.

        Examples
        --------
        >>> import polars as pl
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> v = plan.input("v", vel.Float64)
        >>> plan["highest"] = vel.op.Max(v, window=2)
        >>> pl.DataFrame(plan.replay(pl.DataFrame({"v": [1.0, 3.0, None, 2.0]})))["highest"].to_list()
        [1.0, 3.0, None, 3.0]
        """
        made = self._engine()

        def begin(progress: Progress | None) -> Replaying:
            if isinstance(data, Recording):
                return data._replay(made, Looks(status, warnings), progress)
            return Replaying(made.replay_data(stream_of(data), _core.CsvOptions(), status, warnings, progress, False))

        sources = [*(data.files if isinstance(data, Recording) else []), self._name]
        return Result(begin(progress), status or warnings, Pages(made, self._replaced, sources, begin))

    def start(self, *, status: bool = False, warnings: bool = False) -> Session:
        """Begin to compute the plan over data that come bit by bit.

        Parameters
        ----------
        status, warnings : bool
            As of `replay`.

        Returns
        -------
        Session
            What takes the data.

        Examples
        --------
        >>> import veloperation as vel
        >>> plan = vel.Plan()
        >>> plan["before"] = vel.op.GetOldValue(plan.input("v", vel.Float64))
        >>> session = plan.start()
        >>> session.feed({"v": [1.0, 2.0]})["before"]
        array([nan,  1.])
        >>> session.feed({"v": [3.0]})["before"]
        array([2.])
        """
        return Session(_core.EngineSession(self._engine(), status, warnings), status or warnings)


class _Identity:
    """Membership by identity, since channels have operators in the place of equality."""

    def __init__(self, channels: Any) -> None:
        self._ids = {id(channel) for channel in channels}

    def __contains__(self, channel: object) -> bool:
        return id(channel) in self._ids


def _name_of(channel: Channel) -> str:
    return repr(channel).strip("`")


@overload
def _names(given: Channel) -> str: ...
@overload
def _names(given: object) -> object: ...
def _names(given: object) -> object:
    """Put names in the place of channels."""
    if isinstance(given, Channel):
        return _name_of(given)
    if isinstance(given, list | tuple):
        return [_names(one) for one in given]
    return given
