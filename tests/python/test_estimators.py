"""What scikit-learn asks of estimators, and what they are given."""
import warnings
from decimal import Decimal

import numpy as np
import pandas as pd
import pytest
from arrow_rows import ArrowRows
from conftest import credit
from sklearn.base import clone
from sklearn.utils import estimator_checks

import orvik

ALL = [orvik.TreeClassifier(), orvik.BaggingClassifier(n_estimators=5), orvik.ForestClassifier(n_estimators=10),
       orvik.BoostClassifier(n_estimators=10), orvik.FeatureSearch()]


@pytest.mark.parametrize("estimator", ALL, ids=lambda e: type(e).__name__)
def test_scikit_learn_finds_nothing_wrong(estimator):
    done = 0
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        for each, check in estimator_checks.check_estimator(estimator, generate_only=True):
            check(each)
            done += 1
        # These its suite makes of its own classes only.
        for name in ("check_n_features_in_after_fitting", "check_dataframe_column_names_consistency",
                     "check_param_validation"):
            getattr(estimator_checks, name)(type(estimator).__name__, estimator)
    assert done > 35


NUMBERS = np.random.RandomState(0).randint(-9, 9, (60, 4)).astype(float)
CLASSES = (NUMBERS[:, 0] * NUMBERS[:, 1] > NUMBERS[:, 2]).astype(int)


def memory_map(X, folder):
    np.save(folder / "x.npy", X)
    return np.load(folder / "x.npy", mmap_mode="r")


@pytest.mark.parametrize("form", [
    lambda X, _: np.asfortranarray(X), lambda X, _: np.repeat(X, 2, axis=0)[::2], lambda X, _: X.astype(">f8"),
    lambda X, _: np.ascontiguousarray(X[::-1, ::-1])[::-1, ::-1], lambda X, _: X.tolist(), memory_map,
    lambda X, _: pd.DataFrame(X), lambda X, _: X.astype(np.longdouble), lambda X, _: X.astype(object),
    lambda X, _: pd.DataFrame(np.vectorize(Decimal, otypes=[object])(X)),
], ids=["fortran", "strided", "big-endian", "negative", "list", "mapped", "frame", "long", "objects", "decimals"])
def test_numbers_mean_the_same_wherever_they_lie(form, tmp_path):
    def tests_of(X):
        model = orvik.TreeClassifier(pruning="none", min_weight=1).fit(X, CLASSES)
        return model.tree_.threshold.tolist(), model.predict_proba(X).tolist()

    given = form(NUMBERS.copy(), tmp_path)
    expected = tests_of(NUMBERS)
    assert len(expected[0]) > 5
    found = tests_of(given)
    assert np.array_equal(found[0], expected[0], equal_nan=True) and found[1] == expected[1]


@pytest.mark.parametrize("dtype", ["int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64",
                                   "float16", "float32", "bool", "Int8", "UInt64", "Float32", "boolean"])
def test_every_dtype_is_read(dtype):
    small = pd.Series(np.tile([0, 1], 20)).astype(dtype)
    unknown = small.copy()
    if not isinstance(unknown.dtype, np.dtype):
        unknown[::7] = pd.NA
    other = np.arange(40) % 3
    frame = pd.DataFrame({"a": unknown, "b": other})
    model = orvik.TreeClassifier(pruning="none").fit(frame, small.astype(int) + 4)
    test = pd.DataFrame({"a": small, "b": other})
    assert (model.predict(test) == small.astype(int) + 4).all()


@pytest.mark.parametrize("values", [[2**31, 5, 2**40, 7], [2**63 - 1, 2**63 - 2, 3, 1], [-(2**31), 0, 1, 2]])
def test_large_integers_keep_their_last_digit(values):
    X = np.array(values * 5).reshape(-1, 1)
    y = np.arange(20) % 4 == 0
    assert (orvik.TreeClassifier(pruning="none", min_weight=1).fit(X, y).predict(X) == y).all()


def test_frames_are_taken_by_their_dtypes():
    frame, y = credit()
    frame["debt"] = frame.debt.astype("Float64")
    tree = orvik.TreeClassifier().fit(frame, y)
    types = {c["name"].decode(): (c["type"], c["role"]) for c in tree.model_.columns()}
    assert types == {"age": ("integer", "continuous"), "debt": ("double", "continuous"),
                     "job": ("string", "discrete"), "grade": ("ostring", "continuous"),
                     "owner": ("string", "discrete"), "ratio": ("float", "continuous"),
                     "granted": ("string", "class")}
    assert "job = pilot" in tree.to_text() and "grade <= mid" in tree.to_text()
    for chosen in (["age"], [0], [True] + [False] * 5):
        one = orvik.TreeClassifier(categorical_features=chosen).fit(frame, y)
        assert one.model_.columns()[0]["role"] == "discrete"


def test_values_that_training_did_not_have_are_unknown_and_told_once():
    frame, y = credit()
    tree = orvik.TreeClassifier(calibrate="plain").fit(frame, y)
    new, unknown = frame.copy(), frame.copy()
    new["job"] = "astronaut"
    unknown["job"] = None
    new["age"] = new.age + 0.5  # between those of training, and no unknown value
    for ask in (tree.predict_proba, tree.predict, tree.apply, tree.predict_sets, lambda X: tree.explain(X).values,
                lambda X: tree.decision_path(X).toarray(), lambda X: tree.calibrate_on(X, y, how="plain").predict(frame)):
        with pytest.warns(UserWarning, match=r"^300 cells .*'job': 300") as told:
            found = ask(new)
        assert [t.filename for t in told] == [__file__] and (found == ask(unknown.assign(age=new.age))).all()


def test_odd_texts_and_classes_come_back_as_they_were(tmp_path):
    odd = ["", " a", "a ", "?", "'q'", "n\nl", "z\0z", "x;y", "\ud800", "ü", 'say "so"']
    X = pd.DataFrame({"t": odd * 4, "'n\n\0\ud800": 1})
    model = orvik.TreeClassifier(pruning="none", min_weight=1).fit(X, odd * 4)
    assert model.score(X, odd * 4) == 1 and list(model.classes_) == sorted(odd)
    model.save(tmp_path / "m")
    again = orvik.load_model(tmp_path / "m")
    assert sorted(again.classes_) == sorted(odd) and list(again.feature_names_in_) == list(X)
    ordered = X.assign(t=pd.Categorical(X.t, odd, ordered=True))
    assert orvik.TreeClassifier(pruning="none", min_weight=1).fit(ordered, odd * 4).score(ordered, odd * 4) == 1


def test_weights_of_zero_are_rows_that_are_not_there():
    frame, y = credit()
    keep = np.arange(len(y)) % 3 > 0
    frame.loc[~keep, ["age", "job", "debt"]] = [999, "nobody", -1.0]
    some = orvik.ForestClassifier(n_estimators=5, random_state=1).fit(frame[keep], y[keep])
    zero = orvik.ForestClassifier(n_estimators=5, random_state=1).fit(frame, y, keep.astype(float))
    assert zero.to_json() == some.to_json()
    twice = orvik.TreeClassifier().fit(frame, y, 1 + keep)  # whole weights are rows that many times
    rows = np.repeat(np.arange(len(y)), 1 + keep)
    again = orvik.TreeClassifier().fit(frame.iloc[rows], y.iloc[rows])
    assert np.allclose(twice.predict_proba(frame), again.predict_proba(frame))
    tiny = orvik.TreeClassifier().fit(frame, y, np.full(len(y), 1e-6))  # others are of any scale
    assert np.allclose(tiny.predict_proba(frame), orvik.TreeClassifier().fit(frame, y).predict_proba(frame))
    by_class = orvik.TreeClassifier(class_weight={"yes": 3, "no": 1}).fit(frame, y)
    by_row = orvik.TreeClassifier().fit(frame, y, pd.Series(np.where(y == "yes", 3.0, 1.0), name="w"))
    assert by_class.to_text() == by_row.to_text() != orvik.TreeClassifier().fit(frame, y).to_text()


@pytest.mark.parametrize("how", [{}, {"calibrate": "platt"}, {"costs": [[0, 1], [3, 0]], "cost_use": "weighs"},
                                 {"costs": [[0, 1], [3, 0]]}], ids=["plain", "calibrated", "weighed", "costs"])
def test_the_class_is_the_first_of_the_largest_shares_also_of_one_class(how):
    frame, y = credit(60)
    y = y.replace({"yes": " z", "no": "!"})  # whose texts in models have the other order
    for estimator in [clone(e).set_params(**how) for e in ALL[:4]]:
        halves = [" z", "!"] * 30
        for model in (estimator.fit(frame, y), clone(estimator).set_params(max_depth=0).fit(frame, halves)):
            shares = model.predict_proba(frame)
            decisive = shares * [1, 3] if how.get("costs") and "cost_use" not in how else shares
            assert (model.predict(frame) == model.classes_[decisive.argmax(axis=1)]).all()
            assert np.allclose(shares.sum(axis=1), 1)
        if how:
            continue
        assert (estimator.fit(frame[:1], ["only"]).predict_proba(frame[:1]) == 1).all()
        one = estimator.fit(frame, ["only"] * 60)
        assert list(one.classes_) == ["only"] and (one.predict_proba(frame) == 1).all()


@pytest.mark.parametrize("X, y, error, text", [
    ([[1], [np.inf]], [0, 1], ValueError, "infinity"),
    (pd.DataFrame({"a": [1.0, np.inf]}), [0, 1], ValueError, "column a: an infinite number (row 2)"),
    (pd.DataFrame({"day": pd.to_datetime(["2020-01-01", "2021-01-01"])}), [0, 1], TypeError, "'day'.*datetime64"),
    (pd.DataFrame({"day": pd.to_timedelta([1, 2])}), [0, 1], TypeError, "'day'"),
    (pd.DataFrame({"p": pd.period_range("2020", periods=2)}), [0, 1], TypeError, "'p'"),
    (pd.DataFrame({"a": [[1], [2]]}), [0, 1], TypeError, "argument must be a string or a number"),
    (pd.DataFrame({"a": [1j, 2j]}), [0, 1], TypeError, "'a'.*complex"),
    (pd.DataFrame({"a": [1j, 2j]}, dtype=object), [0, 1], TypeError, "'a'.*complex"),
    (pd.DataFrame({"a": pd.Series([np.datetime64("2020")], dtype=object)}), [0], TypeError, "'a'.*date"),
    ([[1], [2, 3]], [0, 1], ValueError, "X must be a DataFrame.*list"),
    (pd.DataFrame(index=[1, 2]), [0, 1], ValueError, "0 feature"),
    (pd.DataFrame({"a": []}), [], ValueError, "0 sample"),
    ([[1], [2]], [0, 1, 2], ValueError, "inconsistent"),
    ([[1], [2]], None, ValueError, "requires y"),
    ([[1], [2]], [None, "a"], ValueError, "y contains"),
    ([[1], [2]], pd.Series([1, "a"]), TypeError, "y must be of one kind"),
    (pd.DataFrame({("a", "b"): [1, 2]}), [0, 1], ValueError, "names of one level, not of 2"),
    ([[1], [2]], [0.5, 1.7], ValueError, "Unknown label type"),
])
def test_what_is_no_table_is_refused(X, y, error, text):
    with pytest.raises(error, match=text.replace("(", r"\(").replace(")", r"\)")):
        orvik.TreeClassifier().fit(X, y)


@pytest.mark.parametrize("weights", [["a", "b"], [1], [[1], [2]], [-1, 2], [0, 0], [np.nan, 1], [np.inf, 1]])
def test_wrong_weights_are_named(weights):
    with pytest.raises(ValueError, match="sample_weight"):
        orvik.TreeClassifier().fit([[1], [2]], [0, 1], weights)


@pytest.mark.parametrize("kind", ["Int64", "boolean", "string", "category", "float64", "uint8"])
def test_classes_of_every_dtype_come_back(kind):
    y = pd.Series([0, 1] * 9).astype("boolean" if kind == "boolean" else kind)
    model = orvik.TreeClassifier(pruning="none").fit(np.arange(18).reshape(-1, 1) % 2, y)
    assert (model.predict([[0], [1]]) == np.asarray(y[:2])).all()


@pytest.mark.parametrize("estimator, wrong", [
    (orvik.TreeClassifier, {"pruning": "hard"}), (orvik.TreeClassifier, {"min_weight": 0}),
    (orvik.TreeClassifier, {"max_depth": -1}), (orvik.TreeClassifier, {"confidence": 2}),
    (orvik.TreeClassifier, {"max_features": 1.5}), (orvik.TreeClassifier, {"n_jobs": 0}),
    (orvik.TreeClassifier, {"categorical_features": ["none"]}), (orvik.TreeClassifier, {"class_weight": "b"}),
    (orvik.TreeClassifier, {"categorical_features": [True]}), (orvik.TreeClassifier, {"random_state": -1}),
    (orvik.TreeClassifier, {"costs": [[0, 1]]}), (orvik.TreeClassifier, {"costs": [[1, 1], [1, 0]]}),
    (orvik.TreeClassifier, {"costs": {(0, 7): 2}}), (orvik.BoostClassifier, {"costs": {(0, 1): -1}}),
    (orvik.TreeClassifier, {"costs": {0: 2}}), (orvik.FeatureSearch, {"cost_use": "both"}),
    (orvik.TreeClassifier, {"class_weight": {0: 0, 1: 1}}), (orvik.TreeClassifier, {"laplace": "a lot"}),
    (orvik.ForestClassifier, {"n_estimators": 0}), (orvik.ForestClassifier, {"max_samples": 2}),
    (orvik.BoostClassifier, {"voting": "loud"}), (orvik.FeatureSearch, {"method": "guess"}),
    (orvik.TreeClassifier, {"max_depth": 10**30}), (orvik.FeatureSearch, {"min_weight": 10**400}),
    (orvik.TreeClassifier, {"class_weight": {0: "a", 1: 1}}),
])
def test_wrong_parameters_are_named(estimator, wrong):
    name = next(iter(wrong))
    expected = "[Ss]eed|random_state" if name == "random_state" else name
    with pytest.raises((ValueError, TypeError), match=expected):
        estimator(**wrong).fit(NUMBERS, CLASSES)


def test_wrong_arguments_are_named(golf):
    tree, table = orvik.TreeClassifier().fit(NUMBERS, CLASSES), orvik.load_table(golf)
    for name, ask in (("i must", lambda: tree.tree("a")), ("i must", lambda: tree.tree(0.5)), ("tree must", lambda: tree.to_svg(tree="x")),
                      ("depth must", lambda: tree.to_svg(depth=-1)), ("depth must", lambda: tree.plot(depth="x")),
                      ("table must", lambda: tree.to_sql("")), ("path must", lambda: tree.save(None)),
                      ("path must", lambda: orvik.load_model(3)), ("no column 'x'.*'windy'", lambda: table["x"]),
                      ("names should match.*'windy'", lambda: orvik.TreeClassifier().fit(pd.DataFrame({"a": [1]}), [1]).predict(table)),
                      ("separator must", lambda: orvik.load_table(golf, separator=None))):
        with pytest.raises((ValueError, TypeError, KeyError), match=name):
            ask()


def test_masked_cells_are_unknown():
    hidden = np.random.RandomState(1).rand(*NUMBERS.shape) < 0.2
    masked = orvik.TreeClassifier().fit(np.ma.masked_array(NUMBERS, hidden), CLASSES)
    assert masked.to_json() == orvik.TreeClassifier().fit(np.where(hidden, np.nan, NUMBERS), CLASSES).to_json()


def test_arrow_data_are_read_where_they_lie():
    frame, y = credit(200)
    frame = frame[["age", "debt", "job", "grade", "owner"]]
    first = lambda values: np.insert(values, 0, values[0])  # the row before the offset
    bits = lambda flags: np.packbits(first(flags), bitorder="little")
    job = frame.job.fillna("")
    rows = ArrowRows([
        (b"l", b"age", [None, first(frame.age.to_numpy())], None, 0),
        (b"g", b"debt", [bits(frame.debt.notna().to_numpy()), first(frame.debt.fillna(7).to_numpy())], None, 0),
        (b"u", b"job", None, None, 0),
        (b"c", b"grade", [None, first(frame.grade.cat.codes.to_numpy())], ["low", "mid", "high"], 1),
        (b"b", b"owner", [None, bits(frame.owner.to_numpy())], None, 0)], len(y))
    texts = rows.texts([job[0], *job])
    rows.columns[2] = (b"u", b"job", [bits(frame.job.notna().to_numpy()), *texts[1:]], None, 0)
    by_arrow = orvik.TreeClassifier().fit(rows, y)
    by_frame = orvik.TreeClassifier().fit(frame, y)
    assert by_arrow.to_json() == by_frame.to_json()
    assert (by_arrow.predict_proba(rows) == by_frame.predict_proba(frame)).all() and rows.released == 4
    rows.columns[0] = (b"tdD", b"age", rows.columns[0][2], None, 0)
    with pytest.raises(TypeError, match='column \'age\'.*"tdD"'):
        orvik.TreeClassifier().fit(rows, y)
