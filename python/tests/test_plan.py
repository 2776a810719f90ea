"""Plans that are built: formulas mean what the operators say, and the text is the plan."""

from datetime import timedelta
from typing import Any

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import veloperation as vel

SIGNS = ["+", "-", "*", "/", "%", "**", "<", "<=", ">", ">=", "==", "!=", "neg", "abs"]


@st.composite
def trees(draw: st.DrawFn, depth: int = 4) -> Any:
    """Draw what Python can compute with: a name, a number, or a sign with its operands."""
    if depth == 0 or draw(st.integers(0, 3)) == 0:
        return draw(st.sampled_from(["a", "b"]) | st.integers(-3, 3).map(float))
    sign = draw(st.sampled_from(SIGNS))
    return sign, draw(trees(depth=depth - 1)), draw(trees(depth=depth - 1))


def evaluate(tree: Any, names: dict[str, Any], one: Any) -> Any:
    """Compute with channels, or with NumPy's numbers. `one` makes a number of a condition."""
    if isinstance(tree, str):
        return names[tree]
    if isinstance(tree, float):
        return tree
    sign, left, right = tree
    x, y = evaluate(left, names, one), evaluate(right, names, one)
    match sign:
        case "+":
            return x + y
        case "-":
            return x - y
        case "*":
            return x * y
        case "/":
            return x / (y * y + 1)
        case "%":
            return x - y * 2
        case "**":
            return (x * x + 1) ** 1
        case "neg":
            return -x
        case "abs":
            return abs(x)
        case "<":
            return one(x < y)
        case "<=":
            return one(x <= y)
        case ">":
            return one(x > y)
        case ">=":
            return one(x >= y)
        case "==":
            return one(x == y)
        case _:
            return one(x != y)


@settings(deadline=None, max_examples=150)
@given(trees())
def test_operators_compute_what_they_do_in_numpy(tree: Any) -> None:
    plan = vel.Plan()
    names = {"a": plan.input("a", vel.Float64), "b": plan.input("b", vel.Float64)}
    formula = evaluate(tree, names, lambda x: vel.op.Cast(x) if isinstance(x, vel.Channel) else float(x))
    if not isinstance(formula, vel.Channel):
        return
    plan["y"] = formula + 0.0
    a, b = np.array([1.5, -2.0, 0.0]), np.array([0.25, -2.0, 3.0])
    with np.errstate(all="ignore"):
        expected = np.broadcast_to(evaluate(tree, {"a": a, "b": b}, lambda x: np.asarray(x, float)) + 0.0, 3)
    np.testing.assert_array_equal(plan.replay({"a": a, "b": b})["y"], np.where(np.isfinite(expected), expected, np.nan))
    assert vel.Plan.parse(str(plan)) == plan


def test_conditions_and_bits() -> None:
    plan = vel.Plan()
    v, flags = plan.input("v", vel.Float64), plan.input("flags", vel.UInt8)
    plan["inside"] = (v > 1) & ~(v >= 3) | (v == 9)
    plan["masked"] = (flags & 6) >> 1 | flags << 4
    plan["inverse"] = ~flags ^ 1
    plan["both"] = (plan["inside"] & (flags > 0)) != 0
    result = plan.replay({"v": [0.0, 2.0, 3.0, 9.0], "flags": np.array([1, 2, 4, 7], np.uint8)}).read()
    assert result["inside"].tolist() == [0, 1, 0, 1]
    assert result["masked"].tolist() == [16, 33, 66, 115]
    assert result["inverse"].tolist() == [None, 252, 250, 249]
    assert result["both"].tolist() == [0, 1, 0, 1]


def test_a_built_plan_says_all_that_a_text_can() -> None:
    plan = vel.Plan(sample_period=timedelta(seconds=0.1), recording={"separator": ";"}, keep=["who"])
    corner = plan.setting("corner", 0.5)
    t = plan.input("t", vel.Time, column='the "time"', zone="Europe/Berlin", format="%d.%m.%Y %H:%M:%S")
    v = plan.input("Temp [V]", vel.Float64, no_value=-1.0, hold="0.5 s")
    raw = plan.input("raw", vel.SInt64, no_value=2**62)
    day = plan["day"] = vel.op.Floor(t / 86400)
    plan["top"] = vel.op.Max(v, window=timedelta(seconds=2), reset_on_change=plan["day"], when_refused="no_value")
    plan["smooth"] = vel.op.FilterButterworthLowPass(v, order=2, corner1=corner)
    plan["air"] = vel.op.Linea(v, points=np.array([[0.0, -40.0], [5.0, 120.0]]))
    plan["narrow"] = vel.op.Cast(raw).as_type(vel.Float32)
    plan["none"] = vel.op.If(v > 1, v, plan.constant("unknown", vel.Float64))
    plan["low", "high", "mean"] = vel.op.Statistics(v, window=10, lower_bound=0.0)
    plan.choose(output=["t", plan["top"], "mean"], rows_before_change=plan["day"])
    with pytest.raises(vel.Error, match="unknown key 'outputs'"):
        plan.choose(outputs=["t"])
    parsed = vel.Plan.parse(str(plan))
    assert parsed == plan
    assert str(parsed) == str(plan)
    assert vel.Plan.parse(plan.explain()) == vel.Plan.parse(vel.Plan.parse(plan.explain()).explain())
    changed = vel.Plan.parse(str(plan), settings={"corner": 0.25})
    assert changed != plan
    assert "corner1 = 0.25" in str(changed)
    for word in ("Temp [V]", "Floor(t / 86400)", "Statistics"):
        assert word in repr(plan)
        assert word in plan._repr_html_()
    assert isinstance(day, vel.Channel)


def test_mistakes_are_told_where_they_are_made() -> None:
    plan, other = vel.Plan(), vel.Plan()
    v = plan.input("v", vel.Float64)
    with pytest.raises(vel.Error, match="different plans"):
        v + other.input("v", vel.Float64)
    with pytest.raises(TypeError, match="neither true nor false"):
        _ = 1 < v < 2
    with pytest.raises(TypeError, match="unsupported operand"):
        v + "1"  # type: ignore[operator]
    with pytest.raises(TypeError, match="__array_ufunc__"):
        v + np.arange(3.0)  # type: ignore[operator]
    with pytest.raises(vel.Error, match="no number of a formula"):
        v + float("nan")
    with pytest.raises(vel.Error, match="is taken"):
        plan["v"] = v + 1
    with pytest.raises(vel.Error, match="no names yet"):
        vel.op.Statistics(v)[0] + 1
    with pytest.raises(vel.Error, match="has 3 results"):
        plan["a", "b"] = vel.op.Statistics(v)
    with pytest.raises(vel.Error, match="has no name"):
        plan["a", "b", "c"] = vel.op.Statistics(v + 1)
    with pytest.raises(TypeError, match=r"vel.Operation"):
        vel.op.Max(1.0)
    plan["sum"] = v + plan.input("count", vel.UInt16)
    with pytest.raises(vel.Error, match=r"(?s)\+ \(Plus\) does not exist on these types.*write Cast\(count\)"):
        plan.replay({"v": [1.0], "count": [1]})
    assert "not complete" in repr(plan)
    with pytest.raises(vel.Error, match=r"did you mean \"speed\"\?"):
        vel.Plan.parse('[[inputs]]\nname = "speed"\ntype = "Float64"\n[compute]\na = "spede * 2"')
    with pytest.raises(vel.Error, match="is complete"):
        vel.Plan.parse('[[inputs]]\nname = "v"\ntype = "Float64"').input("w", vel.Float64)
    with pytest.raises(vel.Error, match="no setting"):
        vel.Plan.parse('[[inputs]]\nname = "v"\ntype = "Float64"', settings={"a": 1})
    with pytest.raises(vel.Error, match='setting "a": "a" cannot be'):
        vel.Plan.parse('[settings]\na = 1\n[[inputs]]\nname = "v"\ntype = "Float64"', settings={"a": object()})
    with pytest.raises(vel.Error, match="cannot be read"):
        vel.Plan.load("nowhere.toml")
