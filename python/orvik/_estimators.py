"""Trees, and ensembles of them, as estimators of scikit-learn."""

import numbers
import warnings
from typing import NamedTuple

import numpy as np
from sklearn.base import BaseEstimator, ClassifierMixin
from sklearn.utils import check_random_state
from sklearn.utils._param_validation import Interval, StrOptions
from sklearn.utils.class_weight import compute_class_weight
from sklearn.utils.multiclass import check_classification_targets
from sklearn.utils.validation import check_is_fitted, column_or_1d

from . import _data, _orvik
from ._data import Column, Table
from ._progress import progress_of
from ._tree import Tree, plot

PRUNINGS = ("none", "pre", "ebp", "ebpg", "ebpa", "pep", "pepg", "pepa",
            "rep", "repg", "repa", "mep", "mepg", "mepa")
_MOST_SEEDS = 2**31 - 1
# Stands beside a class that is the only one.
NO_OTHER = "(no other class)"

# What every learner has.
_CONSTRAINTS = {
    "split": [StrOptions({"gain_ratio", "pure_gain_ratio", "gain"})],
    "pruning": [StrOptions(set(PRUNINGS))],
    "min_weight": [Interval(numbers.Real, 0, None, closed="neither")],
    "max_depth": [Interval(numbers.Integral, 0, None, closed="left"), None],
    "confidence": [Interval(numbers.Real, 0, 1, closed="right")],
    "max_features": [StrOptions({"all", "sqrt", "log2"}), Interval(numbers.Integral, 1, None, closed="left"),
                     Interval(numbers.Real, 0, 1, closed="right"), None],
    "free": ["boolean"],
    "binary": ["boolean"],
    "random_cuts": ["boolean"],
    "own_unknown": ["boolean"],
    "categorical_features": ["array-like", StrOptions({"from_dtype"}), None],
    "costs": ["array-like", dict, None],
    "cost_use": [StrOptions({"decides", "weighs"})],
    "class_weight": [dict, StrOptions({"balanced"}), None],
    "laplace": ["boolean"],
    "calibrate": [StrOptions({"isotonic", "platt", "plain"}), None],
    "rescale_weights": ["boolean", StrOptions({"auto"})],
    "random_state": ["random_state"],
    "n_jobs": [None, numbers.Integral],
    "verbose": ["verbose"],
    "progress": [callable, None],
}
_ENSEMBLE = {
    "n_estimators": [Interval(numbers.Integral, 1, 1_000_000, closed="both")],
    "voting": [StrOptions({"soft", "hard"})],
}
_DRAWS = {
    "max_samples": [Interval(numbers.Real, 0, 10, closed="right")],
    "bootstrap": ["boolean"],
    "balanced": ["boolean"],
    "oob_score": ["boolean"],
}


def check_parameters(estimator):
    """ValueError for a wrong one, with its name; scikit-learn gives none of integers past 64 bits."""
    for name, value in estimator.get_params(deep=False).items():
        if isinstance(value, numbers.Integral) and abs(value) >= 2**63:
            raise ValueError(f"{name} must be below 2**63; got {value!r}")
    estimator._validate_params()


def seed_of(random_state):
    """An integer is the seed itself, the programs' ``-seed``."""
    if isinstance(random_state, numbers.Integral):
        check_random_state(random_state)
        return int(random_state)
    return int(check_random_state(random_state).randint(_MOST_SEEDS))


def draw_of(max_features):
    """The rule and its amount."""
    if max_features is None:
        return "by_kind", 0.0
    if isinstance(max_features, str):
        return max_features, 0.0
    if isinstance(max_features, numbers.Integral):
        return "count", float(max_features)
    return "percent", 100 * float(max_features)


def costs_of_matrix(costs, n):
    """By places of the true and the predicted class."""
    try:
        costs = np.asarray(costs, dtype=np.float64)
    except (TypeError, ValueError) as failure:
        raise ValueError(f"costs must be numbers: {failure}") from None
    if costs.shape != (n, n):
        raise ValueError(f"costs.shape == {costs.shape}, expected {(n, n)}, the number of classes")
    return dict(np.ndenumerate(costs))


def costs_of_pairs(costs, classes):
    """As costs_of_matrix(), of those pairs that a dictionary names."""
    places, found = {c: i for i, c in enumerate(classes.tolist())}, {}
    for pair, cost in costs.items():
        if not isinstance(pair, tuple) or len(pair) != 2:
            raise ValueError(f"costs: {pair!r} is no pair of the true and the predicted class")
        for each in pair:
            if each not in places:
                raise ValueError(f"costs: there is no class {each!r}")
        found[places[pair[0]], places[pair[1]]] = cost
    return found


def costs_of(costs, classes, codes):
    """Pairs of codes, the predicted and the actual one, with what the errors cost."""
    if costs is None:
        return []
    found = costs_of_pairs(costs, classes) if isinstance(costs, dict) else costs_of_matrix(costs, len(classes))
    for (actual, predicted), cost in found.items():
        if not isinstance(cost, numbers.Real) or not 0 <= cost <= 1e100 or (predicted == actual and cost != 0):
            raise ValueError(f"costs must be numbers from 0 to 1e100, of right classes 0; got {cost!r}")
    return [(codes[predicted], codes[actual], float(cost)) for (actual, predicted), cost in found.items()]


def class_weights_of(class_weight, classes, codes):
    """Weights by class code, that of the unknown class first; none where all are 1."""
    if not isinstance(class_weight, dict):
        return []
    weights = np.ones(max(codes, default=0) + 1)
    for name, weight in class_weight.items():
        if not isinstance(weight, numbers.Real):
            raise ValueError(f"class_weight must have numbers; got {weight!r} for {name!r}")
    weights[codes] = compute_class_weight(class_weight, classes=classes, y=classes)
    if not (np.isfinite(weights).all() and (weights > 0).all()):
        raise ValueError("class_weight must have finite weights above 0")
    return weights.tolist()


def decision_of(estimator, table, classes, coded):
    """What errors cost and classes weigh, by the class codes of the table."""
    columns = table.columns()
    target = next(i for i, c in enumerate(columns) if c["role"] == "class")
    values = table.values(target)
    codes = (class_places(columns[target], values, classes, coded) + 1).tolist()
    weights = class_weights_of(estimator.class_weight, classes, codes)
    return {"costs": costs_of(estimator.costs, classes, codes), "costs_weigh": estimator.cost_use == "weighs",
            "class_weights": weights + [1.0] * (len(values) + 1 - len(weights)) if weights else [],
            "balanced_classes": isinstance(estimator.class_weight, str)}


def settings_of(estimator, table, classes, coded, **more):
    """The library's names for what an estimator's parameters say."""
    draw, amount = draw_of(estimator.max_features)
    depth = estimator.max_depth
    return {"name": type(estimator).__name__, "workers": _data.n_workers(estimator.n_jobs),
            "seed": seed_of(estimator.random_state), "split": estimator.split,
            "pruning": estimator.pruning, "min_weight": float(estimator.min_weight),
            "confidence": float(estimator.confidence), "max_depth": None if depth is None else int(depth),
            "draw": draw, "draw_amount": amount, "free": bool(estimator.free),
            "random_cuts": bool(estimator.random_cuts), "one_value": bool(estimator.binary),
            "kind": "tree", "n_trees": 1, "soft": False, "share": 1.0, "replace": True,
            "balanced": False, "keep_matrix": True, "laplace": bool(getattr(estimator, "laplace", False)),
            "calibrate": getattr(estimator, "calibrate", None),
            **decision_of(estimator, table, classes, coded), **more}


def checked_weights(sample_weight, n):
    try:
        weights = np.asarray(sample_weight, dtype=np.float64)
    except (TypeError, ValueError) as failure:
        raise ValueError(f"sample_weight must be numbers: {failure}") from None
    if weights.ndim != 1 or len(weights) != n:
        raise ValueError(f"sample_weight.shape == {weights.shape}, expected {(n,)}!")
    if not np.isfinite(weights).all() or (weights < 0).any():
        raise ValueError("sample_weight must be finite and not negative")
    if not (weights > 0).any():
        raise ValueError("sample_weight must have a positive weight")
    return weights


def checked_classes(y, n):
    """The classes of the rows, one-dimensional."""
    if y is None:
        raise ValueError("This estimator requires y to be passed, but the target y is None")
    y = column_or_1d(y, warn=True)
    if len(y) != n:
        raise ValueError(f"Found input variables with inconsistent numbers of samples: [{n}, {len(y)}]")
    if y.dtype.kind == "f" and not np.isfinite(y).all():
        raise ValueError("Input y contains NaN or infinity: leave out the rows without a class")
    if y.dtype.kind == "O" and len(y) and all(issubclass(kind, str) for kind in set(map(type, y))):
        return y
    if y.dtype.kind == "O" and any(_data.is_unknown(v) for v in y):
        raise ValueError("Input y contains NaN or None: leave out the rows without a class")
    if y.dtype.kind == "O" and not any(isinstance(v, (str, bytes)) for v in y):
        y = np.array(y.tolist())  # of nullable numbers and booleans
    elif y.dtype.kind == "O" and not all(isinstance(v, str) for v in y):
        raise TypeError("y must be of one kind: numbers, booleans or texts")
    check_classification_targets(y)
    return y


def class_column(name, classes, places):
    """The column of the classes; a class alone gets another one beside it, which no row has."""
    texts = [_data.text_of(c, ordered=len(classes) == 1) for c in classes]
    if len(classes) == 1:
        texts.append(NO_OTHER)
        return Column(name, places, None, texts, "ordered")
    whole = classes.dtype.kind in "iu" or (classes.dtype.kind == "f" and (classes == np.floor(classes)).all())
    if whole and np.abs(classes).max() < 2**31 - 1:
        return Column(name, classes.astype(np.int64)[places], None, None, "category")
    return Column(name, places, None, texts, "category")


def different_classes(y):
    """The different ones in their order, and the place of each among them."""
    return _data.different_texts(y) if y.dtype.kind == "O" else np.unique(y, return_inverse=True)


def free_name(name, taken):
    while name in taken:
        name += "_"
    return name


def named_target(y):
    name = getattr(y, "name", None)
    return _data.name_of(str(name)) if name is not None else "class"


def check_names(estimator, X, columns, reset):
    """n_features_in_ and feature_names_in_: set, or compared with."""
    if isinstance(X, Table) or (_data.is_arrow(X) and not _data.is_frame(X)):
        names = np.array([c.name for c in columns], dtype=object)
        if reset:
            estimator.feature_names_in_ = names
        elif list(getattr(estimator, "feature_names_in_", names)) != list(names):
            raise ValueError("The feature names should match those that were passed during fit: "
                             f"{list(estimator.feature_names_in_)}; X has {list(names)}")
    elif hasattr(estimator, "_check_feature_names"):
        estimator._check_feature_names(X, reset=reset)
    else:
        from sklearn.utils.validation import _check_feature_names

        _check_feature_names(estimator, X, reset=reset)
    if reset:
        estimator.n_features_in_ = len(columns)
    elif len(columns) != estimator.n_features_in_:
        raise ValueError(f"X has {len(columns)} features, but {type(estimator).__name__} is expecting "
                         f"{estimator.n_features_in_} features as input.")


def training_table(estimator, X, y, sample_weight, reset=True):
    """The table that an estimator learns from, and its classes.

    Rows of weight 0 are left out before anything is coded. Columns of numbers are not copied.
    """
    if isinstance(X, Table):
        if y is not None or sample_weight is not None:
            raise ValueError("y and sample_weight must be None where X is a Table: it has its own")
        check_names(estimator, X, [Column(X.names[i], None) for i in X._inputs()], reset)
        return X._table, class_values(X._table.values(X.roles.index("class")))
    if y is None:
        checked_classes(y, 0)
    columns, n = _data.columns_of(X, estimator)
    check_names(estimator, X, columns, reset)
    _data.chosen_categories(columns, estimator.categorical_features)
    target = checked_classes(y, n)
    weights = None if sample_weight is None else checked_weights(sample_weight, n)
    rows = np.flatnonzero(weights > 0) if weights is not None and not weights.all() else None
    kept = slice(None) if rows is None else rows
    classes, places = different_classes(target[kept])
    all_places = np.zeros(n, dtype=np.int64)
    all_places[kept] = places
    names = [_data.name_of(c.name) for c in columns]
    described = [(name, _data.type_of(c), "discrete" if c.kind == "category" else "continuous", *c.parts())
                 for name, c in zip(names, columns)]
    rescale = False
    if weights is not None and (weights[kept] != 1).any():
        rescale = estimator.rescale_weights
        if rescale == "auto":
            rescale = bool((weights[kept] % 1 != 0).any())
        name = _data.name_of(str(getattr(sample_weight, "name", None) or "sample_weight"))
        described.append((free_name(name, names), "double", "weights", weights, None, None))
    last = class_column(free_name(named_target(y), names), classes, all_places)
    described.append((last.name, _data.type_of(last), "class", *last.parts()))
    table = _orvik.Table.make(type(estimator).__name__, described, n, rows, bool(rescale),
                              bool(getattr(estimator, "own_unknown", False)), _data.n_workers(estimator.n_jobs))
    return table, classes


def class_values(values):
    """Classes of a model or a table as an array: numbers, or texts."""
    if values and not isinstance(values[0], bytes):
        return np.array(values)
    return np.array([_data.text_from(v.decode(errors="surrogateescape")) for v in values])


def class_places(column, values, classes, coded):
    """Places of the classes among the values of their column; `coded`: as it numbers them."""
    if coded:
        return np.arange(len(classes))
    by_value = {v: code for code, v in enumerate(values)}
    return np.array([by_value[c.item() if column["numeric"] else
                              _data.text_of(c, column["ordered"]).encode(errors="surrogateescape")]
                     for c in classes])


def tell_unseen(unseen):
    """One warning, to whoever called the estimator, of the cells whose values training did not have."""
    if unseen:
        told = ", ".join(f"{_data.named(name.decode(errors='backslashreplace'))!r}: {count}" for name, count in unseen)
        warnings.warn(f"{sum(count for _, count in unseen)} cells have values that training did not have; "
                      f"they are taken as unknown (by column, {told})", UserWarning, stacklevel=4)


class Explanation(NamedTuple):
    """What the features contribute to the shares of the classes, see :meth:`TreeClassifier.explain`.

    Attributes
    ----------
    values : ndarray of shape (n, n_classes, n_features)
    base_values : ndarray of shape (n_classes,)
    """

    values: np.ndarray
    base_values: np.ndarray


class _Learner(ClassifierMixin, BaseEstimator):
    """What the classifiers have in common."""

    _kind = "tree"

    def fit(self, X, y=None, sample_weight=None):
        """Grow the model.

        Parameters
        ----------
        X : DataFrame, array, object with the Arrow C interface, or Table
            Of shape (n, features). NaN, None, NA and NaT are unknown values. Columns of a DataFrame
            are taken by their dtypes: numbers are cut, categories and texts have a branch a value,
            ordered categories are cut in their order. Infinite numbers are refused.
        y : array-like of shape (n,)
            The classes; None where X is a Table.
        sample_weight : array-like of shape (n,), optional
            Case weights. A row of weight 0 is as one that is not there.

        Returns
        -------
        self
        """
        check_parameters(self)
        table, classes = training_table(self, X, y, sample_weight)
        settings = settings_of(self, table, classes, isinstance(X, Table), **self._ensemble_settings())
        with progress_of(self, settings["n_trees"]) as progress:
            self.model_ = _orvik.Model.grow(table, settings, progress)
        self._learn_schema(classes, isinstance(X, Table))
        if getattr(self, "oob_score", False):
            errors = self.model_.oob_errors(table)
            self.oob_score_ = 1 - errors[-1] if errors else float("nan")
        return self

    def _ensemble_settings(self):
        """As the program's -rf, -bo and -ba: trees of draws are bagged ones, however they are grown."""
        if self._kind == "tree":
            return {}
        how = {"kind": self._kind, "n_trees": int(self.n_estimators), "soft": self.voting == "soft",
               "share": 0.8, "replace": False}  # what -bo notes, without a use for it
        if self._kind == "bagging":
            if not self.bootstrap and self.max_samples > 1:
                raise ValueError("max_samples must be at most 1 where bootstrap is False; got "
                                 f"{self.max_samples!r}")
            how.update(share=float(self.max_samples), replace=bool(self.bootstrap),
                       balanced=bool(self.balanced))
        return how

    def _learn_schema(self, classes, coded):
        """What predicting has to know of the model's columns and classes, `coded`: as it numbers them."""
        columns = self.model_.columns()
        attributes = [i for i, c in enumerate(columns) if c["role"] not in ("class", "weights")]
        inputs = [a for a, i in enumerate(attributes) if columns[i]["input"]]
        self.n_features_in_ = len(inputs)
        self.classes_ = classes
        self.n_classes_ = len(classes)
        target = next(i for i, c in enumerate(columns) if c["role"] == "class")
        # The model has the texts of the classes in its own order.
        self._class_places = class_places(columns[target], self.model_.values(target), classes, coded)
        self._attributes = (len(attributes), inputs, [columns[attributes[a]]["numeric"] for a in inputs],
                            [bool(columns[attributes[a]]["ordered"]) for a in inputs])

    def _cells(self, X):
        """X in the order of the model's attributes."""
        check_is_fitted(self, "model_")
        columns, n = _data.columns_of(X, self)
        check_names(self, X, columns, reset=False)
        n_attributes, inputs, numeric, _ = self._attributes
        cells = [None] * n_attributes
        for place, is_numeric, column in zip(inputs, numeric, columns):
            cells[place] = _as_trained(column, is_numeric)
        return cells, n

    def predict_proba(self, X):
        """Shares of the classes.

        Parameters
        ----------
        X : as for fit

        Returns
        -------
        ndarray of shape (n, n_classes)
            By `classes_`: shares of the cases at the leaf, or where values are unknown of the leaves
            that the case comes to; of an ensemble their means, or with hard voting the shares of the
            votes, so that the largest is that of the class that `predict` gives. Values that training
            did not have count as unknown, with one warning.
        """
        return self._of_classes(self._asked("predict", X))

    def predict(self, X):
        """The class of each row: the first of the largest shares, or by `costs` of the least expected cost."""
        check_is_fitted(self, "model_")
        return self.classes_[self._asked("choose", X, self._class_places + 1)]

    def calibrate_on(self, X, y=None, sample_weight=None, how="isotonic"):
        """Learn what the shares are worth from rows that the model was not fitted on (``-calrows``).

        Takes the place of what `calibrate` learned in the fit; the trees stay as they are.

        Parameters
        ----------
        X, y, sample_weight : as for fit
            Classes are those of the fit.
        how : {"isotonic", "platt", "plain"}, default="isotonic"
            As the parameter `calibrate` of :class:`TreeClassifier`.

        Returns
        -------
        self

        Examples
        --------
        >>> import orvik
        >>> from sklearn.datasets import load_breast_cancer
        >>> X, y = load_breast_cancer(return_X_y=True, as_frame=True)
        >>> forest = orvik.ForestClassifier(random_state=1).fit(X[::3], y[::3])
        >>> sets = forest.calibrate_on(X[1::3], y[1::3], how="plain").predict_sets(X[2::3], coverage=0.95)
        >>> bool(sets[range(189), y[2::3]].mean() > 0.92)
        True
        """
        if how not in ("isotonic", "platt", "plain"):
            raise ValueError(f"how must be 'isotonic', 'platt' or 'plain'; got {how!r}")
        cells, n = self._cells(X)
        weights = None if sample_weight is None else checked_weights(sample_weight, n)
        if isinstance(X, Table) and weights is None and "weights" in X.roles:
            weights = X[X.names[X.roles.index("weights")]].astype(np.float64)
        codes = self._class_codes(X, y, n)
        self.model_, unseen = self.model_.calibrated(cells, codes, np.ones(n) if weights is None else weights, how)
        tell_unseen(unseen)
        return self

    def _class_codes(self, X, y, n):
        """The model's codes of the classes of rows, 0 for an unknown one of a Table."""
        if isinstance(X, Table) and y is None:
            at = X.roles.index("class")
            classes, places = class_values(X._table.values(at)), X._table.codes(at).astype(np.int64) - 1
        else:
            classes, places = different_classes(checked_classes(y, n))
        place_of = {c: i for i, c in enumerate(self.classes_.tolist())}
        for c in classes[np.unique(places[places >= 0])].tolist():
            if c not in place_of:
                raise ValueError(f"y has the class {c!r}, which the fit did not have")
        codes = [self._class_places[place_of[c]] + 1 if c in place_of else 0 for c in classes.tolist()]
        return np.array([*codes, 0], dtype=np.int64)[places]

    def predict_sets(self, X, coverage=0.9, by_class=False):
        """Sets of classes with a promise: they have the true class for so many of the rows.

        Conformal sets of a model that was fitted with `calibrate`; rows are to be as those of the fit.

        Parameters
        ----------
        X : as for fit
        coverage : float, default=0.9
            Part of the rows whose class is to be in their set, above 0 and below 1.
        by_class : bool, default=False
            The promise holds for the rows of each class.

        Returns
        -------
        ndarray of bool of shape (n, n_classes)
            By `classes_`. A set may be empty, or have all classes.

        Examples
        --------
        >>> import orvik
        >>> from sklearn.datasets import load_iris
        >>> X, y = load_iris(return_X_y=True, as_frame=True)
        >>> forest = orvik.ForestClassifier(calibrate="plain", random_state=1).fit(X[::2], y[::2])
        >>> sets = forest.predict_sets(X[1::2], coverage=0.95)
        >>> sets.shape, bool(sets[range(75), y[1::2]].mean() > 0.9)
        ((75, 3), True)
        """
        if not isinstance(coverage, numbers.Real) or not 0 < coverage < 1:
            raise ValueError(f"coverage must be above 0 and below 1; got {coverage!r}")
        return self._of_classes(self._asked("sets", X, 100 * float(coverage), bool(by_class)))

    def _asked(self, question, X, *more):
        """What the model answers of the rows of X, by class code where it is of classes."""
        cells, n = self._cells(X)
        *answers, unseen = getattr(self.model_, question)(cells, n, *more)
        tell_unseen(unseen)
        return answers[0] if len(answers) == 1 else answers

    def _of_classes(self, by_code):
        """By `classes_` what is by class code along the second axis; no copy where the order is one."""
        places = self._class_places + 1
        if (places == np.arange(1, len(places) + 1)).all():
            return by_code[:, 1:len(places) + 1]
        return by_code[:, places]

    def explain(self, X):
        """What each feature contributes to the share of each class: Shapley values.

        They are exact and additive: base and contributions of a row sum up to its shares, where
        `predict_proba` gives mean shares. With hard voting they sum up to the mean shares of the
        trees instead of those of the votes. What a row without a feature is, is the model's own answer
        to one whose value is unknown. Of a model with `calibrate` the shares before calibration are
        explained, not those of `predict_proba`: what a map makes of a share has no parts that add up.

        Parameters
        ----------
        X : as for fit

        Returns
        -------
        Explanation : (values, base_values)
            `values` of shape (n, n_classes, n_features), and `base_values` of shape (n_classes,): the
            shares of a row of which nothing is known.

        Examples
        --------
        >>> import orvik
        >>> table = orvik.load_table("examples/golf.names")
        >>> tree = orvik.TreeClassifier(pruning="none").fit(table)
        >>> values, base = tree.explain(table)
        >>> base.round(3)
        array([0.357, 0.643])
        >>> dict(zip(tree.feature_names_in_, values[0, 0].round(3)))
        {'outlook': 0.443, 'temperature': 0.0, 'humidity': 0.271, 'windy': -0.071}
        """
        values, base = self._asked("explain", X)
        inputs = self._attributes[1]
        if len(inputs) < values.shape[2]:
            values = values[:, :, inputs]
        return Explanation(self._of_classes(values), self._of_classes(base[np.newaxis])[0])

    def predict_log_proba(self, X):
        """Natural logarithms of the shares; -inf where a class has none."""
        with np.errstate(divide="ignore"):
            return np.log(self.predict_proba(X))

    def score(self, X, y=None, sample_weight=None):
        """Accuracy; a Table brings its own classes."""
        if isinstance(X, Table) and y is None:
            y = X[X.names[X.roles.index("class")]]
        return super().score(X, y, sample_weight)

    def apply(self, X):
        """Numbers of the leaves that rows come to, as `tree_` counts nodes.

        A row whose value is unknown goes down the branch of the most training weight.

        Returns
        -------
        ndarray of shape (n,), of an ensemble (n, n_trees)
        """
        leaves = self._asked("apply", X)
        return leaves[:, 0] if self._kind == "tree" else leaves

    def decision_path(self, X):
        """Nodes that rows come to, as a sparse matrix of rows by nodes.

        A row whose value is unknown comes to all children. Of an ensemble the nodes of all trees
        stand side by side, and where those of each begin is the second result.
        """
        from scipy.sparse import csr_matrix

        begins, nodes, offsets = self._asked("decision_path", X)
        paths = csr_matrix((np.ones(len(nodes), dtype=np.int64), nodes, begins), shape=(len(begins) - 1, offsets[-1]))
        return paths if self._kind == "tree" else (paths, offsets)

    @property
    def feature_importances_(self):
        """Parts of the features in what the splits take off the class entropy; they sum to 1."""
        check_is_fitted(self, "model_")
        gain = self.model_.importance(None)[0][self._attributes[1]]
        return gain / gain.sum() if gain.sum() > 0 else gain

    def permutation_importances(self, X, y=None, sample_weight=None):
        """Rise of the out-of-bag error with the values of each feature permuted.

        Parameters
        ----------
        X, y, sample_weight : what the model was fitted on
            NaN is returned for a single tree, boosted trees, and a model that was loaded or
            unpickled.
        """
        check_is_fitted(self, "model_")
        table, _ = training_table(self, X, y, sample_weight, reset=False)
        return self.model_.importance(table)[1][self._attributes[1]]

    # What the model looks like.

    def tree(self, i=0):
        """Tree i as arrays."""
        check_is_fitted(self, "model_")
        number = _data.number_or_none("i", i, 0, self.model_.n_trees - 1)
        return Tree(self.model_.tree(number or 0), self._class_places)

    @property
    def tree_(self):
        """The first tree as arrays."""
        return self.tree(0)

    @property
    def n_trees_(self):
        """Number of trees: boosting may stop before it has all."""
        check_is_fitted(self, "model_")
        return self.model_.n_trees

    def _form(self, name, tree=None, depth=None, relation="cases"):
        check_is_fitted(self, "model_")
        tree = _data.number_or_none("tree", tree, 0, self.model_.n_trees - 1)
        depth = _data.number_or_none("depth", depth)
        if tree is None and self.model_.n_trees == 1:
            tree = 0
        return self.model_.form(name, _orvik.whole_model if tree is None else tree,
                                -1 if depth is None else depth, relation).decode(errors="replace")

    def to_text(self):
        """The trees as indented text (``-t``)."""
        return self._form("text")

    def to_dot(self):
        """A graph for Graphviz (``-d``)."""
        return self._form("dot")

    def to_json(self):
        """A JSON document with all that predicting needs."""
        return self._form("json")

    def to_pmml(self):
        """PMML 4.4."""
        return self._form("pmml")

    def to_cpp(self):
        """A C++17 source that predicts."""
        return self._form("cpp")

    def to_python(self):
        """A Python module that predicts."""
        return self._form("python")

    def to_html(self):
        """The report: one page for a browser."""
        return self._form("html")

    def to_svg(self, tree=None, depth=None):
        """A picture of a tree, of an ensemble of that of the number `tree`."""
        return self._form("svg", tree, depth)

    def to_sql(self, table="cases", tree=None):
        """An SQL query that predicts the rows of `table`."""
        if not isinstance(table, str) or not table:
            raise ValueError(f"table must be the name of a table; got {table!r}")
        return self._form("sql", tree, relation=table)

    def rules(self, form="text", tree=None):
        """The rules of a tree, one a leaf: "text", "csv" or "json"."""
        if form not in ("text", "csv", "json"):
            raise ValueError(f"form must be 'text', 'csv' or 'json'; got {form!r}")
        return self._form(f"rules-{form}", tree)

    def plot(self, tree=0, depth=None, ax=None):
        """Draw a tree with matplotlib.

        Returns
        -------
        matplotlib Axes
        """
        depth = _data.number_or_none("depth", depth)
        return plot(self.tree(tree), [str(c) for c in self.classes_], depth, ax)

    def save(self, path):
        """Write the model as ``orvcmd -tb`` and ``orvik train -o`` do: they read it too."""
        check_is_fitted(self, "model_")
        self.model_.save(_data.file_name(path))

    def _repr_html_inner(self):
        html = super()._repr_html_inner()
        if hasattr(self, "model_") and self.model_.n_trees == 1 and self.model_.size <= 60:
            html += f"<div>{self.to_svg()}</div>"
        return html

    def _more_tags(self):
        return {"allow_nan": True, "X_types": ["2darray"]}

    def __sklearn_tags__(self):
        tags = super().__sklearn_tags__()
        tags.input_tags.allow_nan = True
        tags.input_tags.string = True
        tags.input_tags.categorical = True
        return tags


def _as_trained(column, numeric):
    """A column as the model can code it: texts instead of numbers where training had texts."""
    values, unknown, texts = column.parts()
    if numeric and texts is not None:
        if (values < 0).all() and values.dtype.kind == "i":
            return None
        if values.dtype.kind == "b":
            return values, unknown, None
    if not numeric and texts is None:
        different, places = np.unique(values, return_inverse=True)
        known = different == different
        places = np.where(known[places], places, -1)
        return places, unknown, [_data.text_of(v) for v in different]
    return values, unknown, texts


class TreeClassifier(_Learner):
    """A classification tree by the gain ratio, pruned.

    The tree that ``orvcmd`` grows without further options.

    Parameters
    ----------
    split : {"gain_ratio", "pure_gain_ratio", "gain"}, default="gain_ratio"
        How a node weighs its tests: gain ratio among those of at least average gain, alone
        (``-grpure``), or the gain (``-gain``).
    pruning : {"none", "pre", "ebp", "ebpg", "ebpa", "pep", "pepg", "pepa", "rep", "repg", "repa", \
"mep", "mepg", "mepa"}, default="ebp"
        None (``-npp``), none but of branches that do not lower the training error (``-np``), by the
        error-based bound, pessimistic, by reduced error or by minimum error, the latter two on 30 %
        of the rows set aside.
    min_weight : float, default=2
        Least weight of two branches of a split (``-m``).
    max_depth : int, optional
        Levels of splits (``-depth``).
    confidence : float, default=0.25
        Of error-based pruning, in (0, 1]: less prunes more (``-c``).
    max_features : {"all", "sqrt", "log2"}, int or float, optional
        How many features a node measures, drawn anew at each: a number, or a part (``-mtry``).
    free : bool, default=False
        A branch needs `min_weight` and no share of the classes, and a cut pays nothing for the
        choice among many (``-free``).
    binary : bool, default=False
        Categories of more than two values are tested for one of them (``-binary``).
    random_cuts : bool, default=False
        A number has one cut, drawn at random (``-extra``).
    own_unknown : bool, default=False
        Missing categories are a category of their own, where training has any (``-ownunk``). A
        :class:`Table` is taken as it was loaded.
    categorical_features : "from_dtype", names, indices or a mask, default="from_dtype"
        Numbers to be taken as categories, beside those that their dtypes say are.
    costs : array-like of shape (n_classes, n_classes) or dict, optional
        What errors cost, by true and predicted class as in a confusion matrix of scikit-learn:
        ``costs[i][j]`` where `classes_[i]` is true and `classes_[j]` predicted, 0 for i = j; or a
        dictionary by pairs ``(true, predicted)``, in which pairs that are not there cost 1. `predict`
        gives the class of the least expected cost, and pruning looks at costs (``-costs``);
        `predict_proba` remains what it is.
    cost_use : {"decides", "weighs"}, default="decides"
        "weighs": the costs multiply the weights of the rows instead (``-costw``).
    class_weight : dict or "balanced", optional
        Weights by class, which multiply those of the rows that trees are grown on (``-cw``).
        "balanced": every class has the same weight.
    laplace : bool, default=False
        Shares of leaves lean on those of all rows, (n f + p) / (n + 1) (``-laplace``).
    calibrate : {"isotonic", "platt", "plain"}, optional
        What the fit learns on rows that trees were not grown on, out of bag or by ten folds: maps that
        make probabilities of shares, or only what `predict_sets` needs (``-calibrate``).
    rescale_weights : "auto" or bool, default="auto"
        Whether weights are scaled to sum to the number of rows, as the programs do without
        ``-norescale``. "auto": not if all are whole, as users of scikit-learn expect a weight of 3 to
        be the row three times, `min_weight` counted in rows; others have no such unit, and are scaled
        so that `min_weight` means the same for any scale of them.
    random_state : int, RandomState instance or None, default=None
        Of the random draws; an integer draws as ``-seed`` does.
    n_jobs : int, optional
        Threads (``-tt``); by default as many as the machine has. No result hangs on it.
    verbose : int, default=0
        1 shows the progress, with tqdm where that is installed.
    progress : callable, optional
        Called some times a second with the numbers of rows, nodes and trees done; what it raises
        ends the fit.

    Attributes
    ----------
    classes_ : ndarray
    n_classes_, n_features_in_ : int
    feature_names_in_ : ndarray of str
        Where columns have names.
    feature_importances_ : ndarray of shape (n_features,)
    tree_ : Tree
    model_ : the library's model

    Examples
    --------
    >>> import orvik
    >>> table = orvik.load_table("examples/golf.names")
    >>> tree = orvik.TreeClassifier().fit(table)
    >>> print(tree.score(table))
    1.0
    >>> print(tree.tree_.test[1:4])
    ['outlook = overcast', 'outlook = rainy', 'windy = false']
    """

    _parameter_constraints = _CONSTRAINTS

    def __init__(self, *, split="gain_ratio", pruning="ebp", min_weight=2.0, max_depth=None,
                 confidence=0.25, max_features=None, free=False, binary=False, random_cuts=False,
                 own_unknown=False, categorical_features="from_dtype", costs=None, cost_use="decides",
                 class_weight=None, laplace=False, calibrate=None, rescale_weights="auto", random_state=None, n_jobs=None,
                 verbose=0, progress=None):
        self.split = split
        self.pruning = pruning
        self.min_weight = min_weight
        self.max_depth = max_depth
        self.confidence = confidence
        self.max_features = max_features
        self.free = free
        self.binary = binary
        self.random_cuts = random_cuts
        self.own_unknown = own_unknown
        self.categorical_features = categorical_features
        self.costs = costs
        self.cost_use = cost_use
        self.class_weight = class_weight
        self.laplace = laplace
        self.calibrate = calibrate
        self.rescale_weights = rescale_weights
        self.random_state = random_state
        self.n_jobs = n_jobs
        self.verbose = verbose
        self.progress = progress


class BaggingClassifier(_Learner):
    """Pruned trees, each grown on draws of the rows, that vote (``orvcmd -ba``).

    Parameters
    ----------
    n_estimators : int, default=10
        Trees.
    voting : {"hard", "soft"}, default="hard"
        Each tree names a class, or their shares are averaged (``-soft``).
    max_samples : float, default=1.0
        Rows drawn for each row that there is (``-bag``).
    bootstrap : bool, default=True
        A row may be drawn again (else ``-noreplace``).
    balanced : bool, default=False
        The classes are drawn equally often (``-balance``).
    oob_score : bool, default=False
        Whether to find `oob_score_`: the accuracy on each row of the trees that did not draw it.
    split, pruning, min_weight, max_depth, confidence, max_features, free, binary, random_cuts,
    own_unknown
        As of :class:`TreeClassifier`.
    categorical_features, costs, cost_use, class_weight, laplace, calibrate, rescale_weights,
    random_state, n_jobs, verbose, progress
        As of :class:`TreeClassifier`.

    Attributes
    ----------
    oob_score_ : float
    n_trees_ : int

    Others as of :class:`TreeClassifier`.
    """

    _kind = "bagging"
    _parameter_constraints = {**_CONSTRAINTS, **_ENSEMBLE, **_DRAWS}

    def __init__(self, *, n_estimators=10, voting="hard", max_samples=1.0, bootstrap=True,
                 balanced=False, oob_score=False, split="gain_ratio", pruning="ebp", min_weight=2.0,
                 max_depth=None, confidence=0.25, max_features=None, free=False, binary=False,
                 random_cuts=False, own_unknown=False, categorical_features="from_dtype",
                 costs=None, cost_use="decides", class_weight=None, laplace=False, calibrate=None, rescale_weights="auto",
                 random_state=None, n_jobs=None, verbose=0, progress=None):
        self.n_estimators = n_estimators
        self.voting = voting
        self.max_samples = max_samples
        self.bootstrap = bootstrap
        self.balanced = balanced
        self.oob_score = oob_score
        self.split = split
        self.pruning = pruning
        self.min_weight = min_weight
        self.max_depth = max_depth
        self.confidence = confidence
        self.max_features = max_features
        self.free = free
        self.binary = binary
        self.random_cuts = random_cuts
        self.own_unknown = own_unknown
        self.categorical_features = categorical_features
        self.costs = costs
        self.cost_use = cost_use
        self.class_weight = class_weight
        self.laplace = laplace
        self.calibrate = calibrate
        self.rescale_weights = rescale_weights
        self.random_state = random_state
        self.n_jobs = n_jobs
        self.verbose = verbose
        self.progress = progress


class ForestClassifier(BaggingClassifier):
    """A random forest: as accurate as they come (``orvcmd -rf``).

    Trees grown freely and not pruned, on four fifths of the rows each, whose nodes take the best of
    some features, with discrete tests of one value, and which answer by their mean shares. Each of
    these is a parameter.

    Parameters
    ----------
    n_estimators : int, default=100
        Trees.
    voting, max_samples, bootstrap, balanced, oob_score
        As of :class:`BaggingClassifier`.
    split, pruning, min_weight, max_depth, confidence, max_features, free, binary, random_cuts,
    own_unknown
        As of :class:`TreeClassifier`.
    categorical_features, costs, cost_use, class_weight, laplace, calibrate, rescale_weights,
    random_state, n_jobs, verbose, progress
        As of :class:`TreeClassifier`.

    Examples
    --------
    >>> import orvik
    >>> table = orvik.load_table("examples/golf.names")
    >>> forest = orvik.ForestClassifier(n_estimators=20, random_state=1).fit(table)
    >>> forest.n_trees_, forest.predict_proba(table).shape
    (20, (14, 2))
    """

    def __init__(self, *, n_estimators=100, voting="soft", max_samples=0.8, bootstrap=False,
                 balanced=False, oob_score=False, split="gain_ratio", pruning="none", min_weight=1.0,
                 max_depth=None, confidence=0.25, max_features="sqrt", free=True, binary=True,
                 random_cuts=False, own_unknown=True, categorical_features="from_dtype",
                 costs=None, cost_use="decides", class_weight=None, laplace=False, calibrate=None, rescale_weights="auto",
                 random_state=None, n_jobs=None, verbose=0, progress=None):
        super().__init__(n_estimators=n_estimators, voting=voting, max_samples=max_samples,
                         bootstrap=bootstrap, balanced=balanced, oob_score=oob_score, split=split,
                         pruning=pruning, min_weight=min_weight, max_depth=max_depth,
                         confidence=confidence, max_features=max_features, free=free, binary=binary,
                         random_cuts=random_cuts, own_unknown=own_unknown,
                         categorical_features=categorical_features, costs=costs, cost_use=cost_use,
                         class_weight=class_weight, laplace=laplace, calibrate=calibrate, rescale_weights=rescale_weights,
                         random_state=random_state, n_jobs=n_jobs, verbose=verbose, progress=progress)


class BoostClassifier(_Learner):
    """Boosted trees, each grown on the rows weighed by the errors of those before (``orvcmd -bo``).

    Parameters
    ----------
    n_estimators : int, default=100
        Trees at most: one without errors is the last.
    voting : {"soft", "hard"}, default="soft"
        As of :class:`BaggingClassifier`.
    split, pruning, min_weight, max_depth, confidence, max_features, free, binary, random_cuts,
    own_unknown
        As of :class:`TreeClassifier`; by default as a forest's trees, of a least weight of 2.
    categorical_features, costs, cost_use, class_weight, laplace, calibrate, rescale_weights,
    random_state, n_jobs, verbose, progress
        As of :class:`TreeClassifier`.
    """

    _kind = "boosting"
    _parameter_constraints = {**_CONSTRAINTS, **_ENSEMBLE}

    def __init__(self, *, n_estimators=100, voting="soft", split="gain_ratio", pruning="none",
                 min_weight=2.0, max_depth=None, confidence=0.25, max_features="sqrt", free=True,
                 binary=True, random_cuts=False, own_unknown=True, categorical_features="from_dtype",
                 costs=None, cost_use="decides", class_weight=None, laplace=False, calibrate=None, rescale_weights="auto",
                 random_state=None, n_jobs=None, verbose=0, progress=None):
        self.n_estimators = n_estimators
        self.voting = voting
        self.split = split
        self.pruning = pruning
        self.min_weight = min_weight
        self.max_depth = max_depth
        self.confidence = confidence
        self.max_features = max_features
        self.free = free
        self.binary = binary
        self.random_cuts = random_cuts
        self.own_unknown = own_unknown
        self.categorical_features = categorical_features
        self.costs = costs
        self.cost_use = cost_use
        self.class_weight = class_weight
        self.laplace = laplace
        self.calibrate = calibrate
        self.rescale_weights = rescale_weights
        self.random_state = random_state
        self.n_jobs = n_jobs
        self.verbose = verbose
        self.progress = progress


def load_model(path, *, n_jobs=None):
    """Load a model that :meth:`TreeClassifier.save`, ``orvcmd -tb`` or ``orvik train -o`` wrote.

    Parameters
    ----------
    path : str or path
    n_jobs : int, optional
        Threads to predict with; by default as many as the machine has.

    Returns
    -------
    TreeClassifier, BaggingClassifier or BoostClassifier
        Fitted; but for `n_jobs` its parameters are the defaults, as the file does not have all.
    """
    path = _data.file_name(path)
    open(path, "rb").close()  # OSError, if need be
    model = _orvik.Model.read(path, _data.n_workers(n_jobs))
    kind = BoostClassifier if model.is_boosted else BaggingClassifier if model.is_ensemble else TreeClassifier
    made = kind(n_jobs=n_jobs)
    made.model_ = model
    columns = model.columns()
    made.feature_names_in_ = np.array([_data.named(c["name"].decode(errors="backslashreplace")) for c in columns
                                       if c["input"] and c["role"] not in ("class", "weights")], dtype=object)
    values = model.values(next(i for i, c in enumerate(columns) if c["role"] == "class"))
    made._learn_schema(class_values([v for v in values if v != NO_OTHER.encode()]), coded=True)
    return made
