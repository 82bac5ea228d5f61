"""What the tests of the package share: tables, and where the programs are."""
import os
import sys

import numpy as np
import pandas as pd
import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))


@pytest.fixture
def orvcmd():
    return os.environ.get("ORVCMD", os.path.join(ROOT, "build", "release", "orvcmd"))


@pytest.fixture
def golf():
    return os.path.join(ROOT, "examples", "golf.names")


def credit(n=300, seed=1):
    """A frame of every kind of column, with unknown cells, and classes that hang on four of them."""
    draw = np.random.RandomState(seed)
    frame = pd.DataFrame({
        "age": draw.randint(18, 80, n),
        "debt": draw.gamma(2, 3, n).round(2),
        "job": draw.choice(["clerk", "nurse", "pilot", "smith"], n),
        "grade": pd.Categorical(draw.choice(["low", "mid", "high"], n), ["low", "mid", "high"], ordered=True),
        "owner": draw.rand(n) < 0.4,
        "ratio": draw.rand(n).astype(np.float32),
    })
    good = (frame.debt < 6) ^ (frame.job == "pilot") & (frame.age > 40) | (frame.grade == "high")
    y = pd.Series(np.where(good ^ (draw.rand(n) < 0.05), "yes", "no"), name="granted")
    frame.loc[draw.rand(n) < 0.05, "debt"] = np.nan
    frame.loc[draw.rand(n) < 0.05, "job"] = None
    return frame, y
