"""Operations beside SciPy, pandas and polars on a realistic signal, each within its own rounding."""

import math
from typing import Any

import numpy as np
import numpy.typing as npt
import pandas as pd
import polars as pl
import pytest
import scipy.signal

import veloperation as vel

ROWS = 200_000
Samples = npt.NDArray[np.float64]


@pytest.fixture(scope="module")
def signal() -> Samples:
    """Make an acceleration of a drive: a slow part, a resonance that comes and goes, and noise."""
    random = np.random.default_rng(17)
    time = np.arange(ROWS) / 1000
    slow = 2 * np.sin(0.3 * time) + np.cumsum(random.normal(0, 0.01, ROWS))
    resonance = np.sin(2 * np.pi * 40 * time) * (np.sin(0.05 * time) > 0.5)
    return np.asarray(slow + resonance + random.normal(0, 0.2, ROWS))


@pytest.mark.parametrize("window", [10, 1000, 100_000])
def test_extremes_are_those_of_pandas_and_polars(signal: Samples, window: int) -> None:
    for name, of_pandas, of_polars in [
        (
            "Max",
            pd.Series(signal).rolling(window, min_periods=1).max(),
            pl.Series(signal).rolling_max(window, min_samples=1),
        ),
        (
            "Min",
            pd.Series(signal).rolling(window, min_periods=1).min(),
            pl.Series(signal).rolling_min(window, min_samples=1),
        ),
    ]:
        ours = vel.Operation(name, "DD", window=window)(signal)
        np.testing.assert_array_equal(ours, of_pandas.to_numpy())
        np.testing.assert_array_equal(ours, of_polars.to_numpy())


@pytest.mark.parametrize("window", [10, 1000, 100_000])
def test_means_are_those_of_pandas_and_polars(signal: Samples, window: int) -> None:
    ours = vel.Operation("Average", "DD", window=window)(signal)
    exact = pd.Series(signal).rolling(window, min_periods=1).mean().to_numpy()
    np.testing.assert_allclose(ours, exact, rtol=0, atol=1e-11)
    np.testing.assert_allclose(
        ours, pl.Series(signal).rolling_mean(window, min_samples=1).to_numpy(), rtol=0, atol=1e-11
    )


def stopped(lower: float, upper: float) -> list[float]:
    """Give the corners that a band-stop has: the centre of those that are given becomes the geometric one."""
    half = (upper - lower) / 2
    centre = math.hypot(half, (upper + lower) / 2)
    return [centre - half, centre + half]


@pytest.mark.parametrize(
    ("name", "kind", "corners", "theirs"),
    [
        ("FilterButterworthLowPass", "lowpass", [30.0], 30.0),
        ("FilterButterworthHighPass", "highpass", [30.0], 30.0),
        ("FilterButterworthBandPass", "bandpass", [35.0, 145.0], [35.0, 145.0]),
        ("FilterButterworthBandStop", "bandstop", [35.0, 145.0], stopped(35.0, 145.0)),
    ],
)
@pytest.mark.parametrize("order", [1, 2, 4])
def test_filters_are_those_of_scipy(
    signal: Samples, name: str, kind: Any, corners: list[float], theirs: float | list[float], order: int
) -> None:
    given: dict[str, Any] = {f"corner{number}": corner for number, corner in enumerate(corners, 1)}
    ours = vel.Operation(name, "DD", order=order, sample_rate=1000.0, **given)(signal)
    numerator, denominator = scipy.signal.butter(order, theirs, kind, fs=1000.0)
    direct = scipy.signal.lfilter(numerator, denominator, signal)
    sections = scipy.signal.sosfilt(scipy.signal.butter(order, theirs, kind, fs=1000.0, output="sos"), signal)
    rounding = np.max(np.abs(direct - sections))  # by which SciPy's two forms of one filter differ
    assert np.max(np.abs(ours - direct)) <= 10 * rounding + 1e-13
    assert rounding < 1e-10
