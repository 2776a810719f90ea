"""Operations on columns: what goes in, what comes out, and what is refused."""

import contextlib
import datetime
import itertools
import threading
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from typing import Any

import numpy as np
import numpy.typing as npt
import pandas as pd
import polars as pl
import pyarrow as pa
import pytest
from hypothesis import given
from hypothesis import strategies as st

import veloperation as vel

Array = npt.NDArray[Any]

STATEFUL: list[Callable[[], vel.Operation]] = [
    lambda: vel.Operation("Max", "DD", window=3),
    lambda: vel.Operation("Max", "DD", window=3, own_result_over_gaps=True),
    lambda: vel.Operation("Average", "DD", window=4, aware=False),
    lambda: vel.Operation("FilterButterworthLowPass", "DD", order=4, sample_rate=100, corner1=10),
    lambda: vel.Operation("IntegralAdd", "DD", delta_time=0.5),
    lambda: vel.Operation("GetOldValue", "DD"),
    lambda: vel.Operation("PosEdge", "WD", threshold=0.5),
    lambda: vel.Operation("VLinea", "DD", points=[[0, 1], [1, 3]]),
]

SAMPLES = st.lists(st.sampled_from([0.0, 1.0, -2.5, 7.0, np.nan]) | st.floats(-1e9, 1e9), max_size=40)


def bits(*pieces: Any) -> bytes:
    """Give the bits of samples and gaps of a column, which may be in pieces."""
    return b"".join(
        [np.ma.getdata(piece).tobytes() for piece in pieces] + [np.ma.getmaskarray(piece).tobytes() for piece in pieces]
    )


def views(samples: Array) -> list[Array]:
    """Give the same samples, as they may lie in memory."""
    rows = len(samples)
    spread = np.zeros(3 * rows + 1)[1::3][:rows]
    backwards = np.zeros(rows)[::-1]
    packed = np.zeros(rows, [("flag", "u1"), ("value", "f8")])["value"]
    even = np.zeros(rows, [("value", "f8"), ("other", "f8")])["value"]
    column = np.zeros((rows, 2))[:, 1]
    arrays = [samples.copy(), spread, backwards, packed, even, column]
    for array in arrays:
        array[:] = samples
    arrays[0].flags.writeable = False
    return arrays


@given(st.sampled_from(STATEFUL), SAMPLES, st.lists(st.integers(0, 40)), st.booleans())
def test_cuts_and_views_change_no_bit(
    make: Callable[[], vel.Operation], given: list[float], cuts: list[int], status: bool
) -> None:
    samples = np.array(given)
    whole, statuses = make()(samples, status=True)
    assert bits(make()(samples)) == bits(whole)
    for view in views(samples):
        before = view.tobytes()
        operation = make()
        edges = [0, *sorted(min(cut, len(view)) for cut in cuts), len(view)]
        pieces = [operation(view[a:b], status=status) for a, b in itertools.pairwise(edges)]
        if status:
            assert b"".join(piece[1].tobytes() for piece in pieces) == statuses.tobytes()
            pieces = [piece[0] for piece in pieces]
        assert bits(*pieces) == bits(whole)
        assert view.tobytes() == before
        operation.reset()
        assert bits(operation(view)) == bits(whole)


def test_more_rows_than_a_block() -> None:
    samples = np.random.default_rng(1).normal(size=100_001)
    counted = vel.Operation("Max", "DD")(samples)
    assert np.array_equal(counted, np.maximum.accumulate(samples))
    edges, status = vel.Operation("PosEdge", "WD", threshold=0.0)(samples, status=True)
    assert edges.sum() == np.count_nonzero((samples[1:] > 0) & (samples[:-1] <= 0)) + (samples[0] > 0)
    assert status.shape == samples.shape
    assert not status.any()


@given(st.lists(st.tuples(st.integers(-128, 127), st.booleans()), max_size=20))
def test_gaps_of_integers(given: list[tuple[int, bool]]) -> None:
    data = np.array([value for value, _ in given], np.int8)
    mask = np.array([gap for _, gap in given], bool)
    column = np.ma.MaskedArray(data, mask)
    total = vel.Operation("Plus", "bbb")
    wrong = ((data == -128) & ~mask).nonzero()[0]
    if wrong.size:
        with pytest.raises(vel.Error, match=f"operand 1 has at index {wrong[0]} the value -128"):
            total(column, np.int8(1))
        return
    result, status = total(column, np.int8(1), status=True)
    wrapped = data == 127  # and is NoValue then
    assert isinstance(result, np.ma.MaskedArray)
    assert np.array_equal(np.ma.getmaskarray(result), mask | wrapped)
    assert np.array_equal(status == vel.Status.NO_VALUE, mask | wrapped)
    assert np.array_equal(result.compressed(), (data + np.int8(1))[~(mask | wrapped)])
    if mask.any():
        with pytest.raises(vel.Error, match="the plain form"):
            vel.Operation("Plus", "bbb", aware=False)(column, 1)


def test_gaps_of_floats_are_nan_or_masked() -> None:
    gaps = np.ma.MaskedArray([6.0, 1.0, 5.0], [False, False, True])
    quotient, status = vel.Operation("Divide", "DDD")(gaps, [2, 0, 1], status=True)
    assert type(quotient) is np.ndarray
    np.testing.assert_array_equal(quotient, [3, 3, np.nan])
    assert status.tolist() == [vel.Status.COMPUTED, vel.Status.REFUSED, vel.Status.NO_VALUE]
    plain = vel.Operation("LogicalNot", "WW", aware=False)(np.array([0, 65535], np.uint16))
    assert type(plain) is np.ndarray
    assert plain.tolist() == [1, 0]


@given(st.lists(st.none() | st.integers(-100, 100), max_size=20), st.integers(0, 5), st.integers(0, 25))
def test_columns_of_arrow(values: list[int | None], first: int, cut: int) -> None:
    column = pa.array(values, pa.int16())[first:]
    pieces = pa.chunked_array([column[:cut], column[cut:]])
    coded = pa.array(values, pa.int16()).dictionary_encode()[first:]
    nullable = pd.Series(values, dtype="Int16")[first:]
    wanted = [None if value is None else -value for value in values[first:]]
    for arrow in (column, pieces, coded, pl.Series(values, dtype=pl.Int16)[first:], nullable):
        assert vel.Operation("Minus", "www")(np.int16(0), arrow).tolist() == wanted
    floats = [
        column.cast(pa.float64()),
        pl.Series(values, dtype=pl.Float64)[first:],
        pd.Series(values, dtype=float)[first:],
    ]
    for arrow in floats:
        made = vel.Operation("Negate", "DD")(arrow)
        np.testing.assert_array_equal(made, np.array([np.nan if value is None else value for value in wanted]))


def test_columns_of_arrow_that_are_none() -> None:
    negate = vel.Operation("Negate", "DD")
    for arrow, says in [
        (pa.table({"x": [1.0]}), "operand 1: holds "),
        (pa.array(["a"]), "operand 1: holds string"),
        (pa.array([1]), "operand 1 has the type int64"),
        (pl.Series([[1.0]]), "operand 1: holds "),
    ]:
        with pytest.raises(vel.Error, match=says):
            negate(arrow)
    truth = vel.Operation("LogicalNot", "WW")(pa.array([True, None, False]))
    assert truth.tolist() == [0, None, 1]


def test_several_results_and_no_operands() -> None:
    results, status = vel.Operation("Extract8Bits", "WWWWWWWWB")(
        np.ma.MaskedArray([5, 0], [False, True], np.uint8), status=True
    )
    assert [result.tolist() for result in results] == [[bit, None] for bit in (1, 0, 1, 0, 0, 0, 0, 0)]
    assert status.tolist() == [0, 1]
    now = vel.Operation("SystemTime", "D")(rows=2)
    since = datetime.datetime.now(datetime.UTC) - datetime.datetime(2000, 1, 1, tzinfo=datetime.UTC)
    assert np.all(np.abs(now - since.total_seconds()) < 60)


def test_what_parameters_may_be() -> None:
    samples = np.random.default_rng(2).normal(size=50)
    windows = [
        vel.Operation("Max", "DD", window=window, sample_period=period)(samples)
        for window, period in [
            (20, None),
            (np.int64(20), None),
            ("2 s", 0.1),
            (datetime.timedelta(seconds=2), "100 ms"),
        ]
    ]
    assert len({bits(window) for window in windows}) == 1
    points = [[0, -40], [5, 120.5]]
    curves = [
        vel.Operation("Linea", "DD", points=given)(samples) for given in (points, np.array(points), tuple(points))
    ]
    assert len({bits(curve) for curve in curves}) == 1
    rates = [
        vel.Operation("FilterButterworthLowPass", "DD", order=2, corner1=3.0, sample_rate=100)(samples),
        vel.Operation("FilterButterworthLowPass", "DD", order=2, corner1=3.0, sample_period="10 ms")(samples),
    ]
    assert bits(rates[0]) == bits(rates[1])
    every = np.array([2**64 - 2, 2**63, 1], np.uint64)
    assert vel.Operation("MaskAndShift", "QQ", mask=2**63)(every).tolist() == [1, 1, 0]
    pulses = [
        vel.Operation("MonoFlop", "DDD", duration=2, retrigger=flag)([1, 0, 1, 0, 0, 0], np.arange(6.0)).tolist()
        for flag in (True, False)
    ]
    assert pulses == [[1, 1, 1, 1, 1, 0], [1, 1, 1, 0, 0, 0]]


X = np.array([1.0, 2.0])


@pytest.mark.parametrize(
    ("fails", "says"),
    [
        (lambda: vel.Operation("Maxx", "DD"), 'unknown operation "Maxx"\n  did you mean "Max"'),
        (lambda: vel.Operation("Max", "DDDD"), "it exists as\n"),
        (lambda: vel.Operation("Max", "Dq"), "nearest: Float64 -> Float64"),
        (lambda: vel.Operation("Max", "Dq"), r'veloperation.operations\("Max"\) lists all'),
        (lambda: vel.Operation("Max", "DX"), "B W L Q are"),
        (lambda: vel.Operation("Max", ""), "signature is empty"),
        (lambda: vel.Operation("Max", "DD", windw=3), r'unknown parameter "windw"\n(.|\n)*window \[samples\]'),
        (lambda: vel.Operation("Max", "DD", window=-1), '"window" is no whole number'),
        (lambda: vel.Operation("Max", "DD", window=2**70), '"window" cannot be'),
        (lambda: vel.Operation("Max", "DD", window="10 q"), "a duration is a number with us, ms, s"),
        (lambda: vel.Operation("Max", "DD", window="10 s"), "give sample_period, too"),
        (lambda: vel.Operation("Max", "DD", window="10 s", sample_period=3), "no whole number of rows"),
        (lambda: vel.Operation("Max", "DD", window=3, sample_period=0), '"sample_period" is no time above 0'),
        (lambda: vel.Operation("Max", "DD", lower_bound=2, upper_bound=1), 'is below "lower_bound"'),
        (lambda: vel.Operation("Linea", "DD"), '"points" is missing'),
        (lambda: vel.Operation("Linea", "DD", points=[1, 2]), "pairs of numbers"),
        (lambda: vel.Operation("Linea", "DD", points=[[1, 2], [0, 3]]), "ascending order of x"),
        (lambda: vel.Operation("Valid", "WD", aware=False), "leave out: aware=False"),
        (lambda: vel.Operation("Max", "DD")(), "takes 1 operands, not 0"),
        (lambda: vel.Operation("Max", "DD")(X.astype("f4")), "has the type float32"),
        (lambda: vel.Operation("Max", "DD")(X.astype(">f8")), "has the type >f8"),
        (lambda: vel.Operation("Max", "DD")(X[:, None]), "has 2 dimensions"),
        (lambda: vel.Operation("Max", "DD")(["a"]), "has no numbers"),
        (lambda: vel.Operation("Max", "BB")([1, 300]), "numbers that uint8 has not"),
        (lambda: vel.Operation("Max", "BB")([1, 255]), "at index 1 the value 255, which stands for a gap"),
        (lambda: vel.Operation("Divide", "DDD")(X, X[:1]), "different lengths: 1, 2"),
        (lambda: vel.Operation("Max", "DD")(3.0), "add: rows="),
        (lambda: vel.Operation("Max", "DD")(3.0, rows=-1), "rows is negative"),
    ],
)
def test_refuses_with_help(fails: Callable[[], object], says: str) -> None:
    with pytest.raises(vel.Error, match=says) as refused:
        fails()
    assert isinstance(refused.value, ValueError)


def test_a_refused_call_computes_nothing() -> None:
    both = vel.Operation("Plus", "BBB")
    last = vel.Operation("GetOldValue", "BB")
    assert last([7]).mask.tolist() == [True]
    with pytest.raises(vel.Error):
        last([8, 255])
    assert last([9]).tolist() == [7]
    assert both([1], [2]).tolist() == [3]


def test_calls_of_one_operation_do_not_overlap() -> None:
    maximum = vel.Operation("Max", "DD", window=1000)
    samples = np.random.default_rng(3).normal(size=1_000_000)
    stop = threading.Event()

    def work() -> None:
        while not stop.is_set():
            with contextlib.suppress(RuntimeError):
                maximum(samples, status=True)

    with ThreadPoolExecutor(1) as pool:
        worker = pool.submit(work)
        try:
            with pytest.raises(RuntimeError, match="Max is at work in another thread"):  # noqa: PT012
                while not worker.done():
                    maximum.reset()
        finally:
            stop.set()
        worker.result()


def test_threads_give_what_one_gives() -> None:
    def work(seed: int) -> bytes:
        samples = np.random.default_rng(seed).normal(size=200_000)
        return bits(vel.Operation("Average", "DD", window=100)(samples))

    with ThreadPoolExecutor(8) as pool:
        assert list(pool.map(work, range(8))) == list(map(work, range(8)))
