"""Operations beside SciPy, pandas and polars on a realistic signal, each within its own rounding."""

import numpy as np
import pandas as pd
import polars as pl
import pytest
import scipy.signal

import veloperation as vel

ROWS = 200_000


@pytest.fixture(scope="module")
def signal() -> np.ndarray[tuple[int], np.dtype[np.float64]]:
    """Make an acceleration of a drive: a slow part, a resonance that comes and goes, and noise."""
    random = np.random.default_rng(17)
    time = np.arange(ROWS) / 1000
    slow = 2 * np.sin(0.3 * time) + np.cumsum(random.normal(0, 0.01, ROWS))
    resonance = np.sin(2 * np.pi * 40 * time) * (np.sin(0.05 * time) > 0.5)
    samples: np.ndarray[tuple[int], np.dtype[np.float64]] = slow + resonance + random.normal(0, 0.2, ROWS)
    return samples


@pytest.mark.parametrize("window", [10, 1000, 100_000])
def test_extremes_are_those_of_pandas_and_polars(signal: np.ndarray[tuple[int], np.dtype[np.float64]], window: int) -> None:
    for name, of_pandas, of_polars in [
        ("Max", pd.Series(signal).rolling(window, min_periods=1).max(), pl.Series(signal).rolling_max(window, min_samples=1)),
        ("Min", pd.Series(signal).rolling(window, min_periods=1).min(), pl.Series(signal).rolling_min(window, min_samples=1)),
    ]:
        ours = vel.Operation(name, "DD", window=window)(signal)
        np.testing.assert_array_equal(ours, of_pandas.to_numpy())
        np.testing.assert_array_equal(ours, of_polars.to_numpy())


@pytest.mark.parametrize("window", [10, 1000, 100_000])
def test_means_are_those_of_pandas_and_polars(signal: np.ndarray[tuple[int], np.dtype[np.float64]], window: int) -> None:
    ours = vel.Operation("Average", "DD", window=window)(signal)
    exact = pd.Series(signal).rolling(window, min_periods=1).mean().to_numpy()
    np.testing.assert_allclose(ours, exact, rtol=0, atol=1e-11)
    np.testing.assert_allclose(ours, pl.Series(signal).rolling_mean(window, min_samples=1).to_numpy(), rtol=0, atol=1e-11)


@pytest.mark.parametrize(
    ("name", "kind", "corners"),
    [
        ("FilterButterworthLowPass", "lowpass", [30.0]),
        ("FilterButterworthHighPass", "highpass", [30.0]),
        ("FilterButterworthBandPass", "bandpass", [35.0, 45.0]),
        ("FilterButterworthBandStop", "bandstop", [35.0, 45.0]),
    ],
)
@pytest.mark.parametrize("order", [1, 2, 4])
def test_filters_are_those_of_scipy(
    signal: np.ndarray[tuple[int], np.dtype[np.float64]], name: str, kind: str, corners: list[float], order: int
) -> None:
    given = {f"corner{number}": corner for number, corner in enumerate(corners, 1)}
    ours = vel.Operation(name, "DD", order=order, sample_rate=1000.0, **given)(signal)
    numerator, denominator = scipy.signal.butter(order, corners, kind, fs=1000.0)
    theirs = scipy.signal.lfilter(numerator, denominator, signal)
    sections = scipy.signal.sosfilt(scipy.signal.butter(order, corners, kind, fs=1000.0, output="sos"), signal)
    # A polynomial with poles near 1 rounds far worse than its sections do; both stay below what SciPy's forms differ.
    spread = np.max(np.abs(theirs - sections)) / np.max(np.abs(sections))
    difference = np.max(np.abs(ours - theirs)) / np.max(np.abs(theirs))
    print(name, order, spread, difference)
    assert difference < 1e-9
