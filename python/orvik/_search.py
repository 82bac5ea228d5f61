"""Searches for the features that a tree needs."""

import numbers

import numpy as np
from sklearn.base import BaseEstimator
from sklearn.feature_selection import SelectorMixin
from sklearn.utils._param_validation import Interval, StrOptions
from sklearn.utils.validation import check_is_fitted

from . import _data, _orvik
from ._estimators import _CONSTRAINTS, check_names, check_parameters, settings_of, training_table
from ._progress import progress_of


class FeatureSearch(SelectorMixin, BaseEstimator):
    """Choose the features that trees do best with (``orvik select``).

    Trees are grown on 70 % of the rows, drawn from each class, and judged on the others.

    Parameters
    ----------
    method : {"acceptable", "exhaustive", "forward", "backward", "fast-backward"}, default="acceptable"
        The smallest set that is good enough of all there are (``-as``), the best of all, or a set
        found step by step (``-sfs``, ``-sbe``, ``-dtsbe``).
    within : float, default=1.0
        Percentage points above the best error that are good enough.
    limit : float, optional
        Seconds after which a search ends with the best set so far (``-fslimit``).
    split, pruning, min_weight, max_depth, confidence
        Of the trees, as of :class:`TreeClassifier`.
    costs, cost_use
        As of :class:`TreeClassifier`: sets are judged by costs that decide, not by errors.
    categorical_features, class_weight, rescale_weights, random_state, n_jobs, verbose, progress
        As of :class:`TreeClassifier`.

    Attributes
    ----------
    support_ : ndarray of bool
    error_ : float
        Of the set found, on the rows that judge; too low for new rows.
    n_trees_grown_ : int
    ended_ : bool
        False where the search met its limit.

    Examples
    --------
    >>> import orvik
    >>> table = orvik.load_table("examples/golf.names")
    >>> search = orvik.FeatureSearch(method="forward", random_state=1).fit(table)
    >>> search.get_support().shape
    (4,)
    """

    _parameter_constraints = {
        **{name: _CONSTRAINTS[name] for name in
           ("split", "min_weight", "max_depth", "confidence", "categorical_features", "costs",
            "cost_use", "class_weight", "rescale_weights", "random_state", "n_jobs", "verbose", "progress")},
        "pruning": [StrOptions({"none", "pre", "ebp", "ebpg", "ebpa", "pep", "pepg", "pepa"})],
        "method": [StrOptions({"acceptable", "exhaustive", "forward", "backward", "fast-backward"})],
        "within": [Interval(numbers.Real, 0, 100, closed="both")],
        "limit": [Interval(numbers.Real, 0, 1e9, closed="right"), None],
    }
    # The trees have all of these.
    max_features, free, binary, random_cuts = None, False, False, False

    def __init__(self, *, method="acceptable", within=1.0, limit=None, split="gain_ratio", pruning="ebp",
                 min_weight=2.0, max_depth=None, confidence=0.25, categorical_features="from_dtype",
                 costs=None, cost_use="decides", class_weight=None, rescale_weights="auto", random_state=None,
                 n_jobs=None, verbose=0, progress=None):
        self.method = method
        self.within = within
        self.limit = limit
        self.split = split
        self.pruning = pruning
        self.min_weight = min_weight
        self.max_depth = max_depth
        self.confidence = confidence
        self.categorical_features = categorical_features
        self.costs = costs
        self.cost_use = cost_use
        self.class_weight = class_weight
        self.rescale_weights = rescale_weights
        self.random_state = random_state
        self.n_jobs = n_jobs
        self.verbose = verbose
        self.progress = progress

    def fit(self, X, y=None, sample_weight=None):
        """Search; X, y and sample_weight as for :class:`TreeClassifier`."""
        check_parameters(self)
        table, classes = training_table(self, X, y, sample_weight)
        settings = settings_of(self, table, classes, isinstance(X, _data.Table), method=self.method,
                               within=float(self.within), limit=float(self.limit or 0))
        with progress_of(self, 1) as progress:
            found, facts = _orvik.Model.search(table, settings, progress)
        columns = [c for c in table.columns() if c["role"] not in ("class", "weights")]
        inputs = [a for a, c in enumerate(columns) if c["input"]]
        chosen = {int(a) for a in found.split(",") if a}
        self.support_ = np.array([a in chosen for a in inputs])
        self.error_ = facts["error"]
        self.n_trees_grown_ = facts["trees_grown"]
        self.ended_ = facts["ended"]
        return self

    def _get_support_mask(self):
        check_is_fitted(self, "support_")
        return self.support_

    def transform(self, X):
        """X with the features found: a DataFrame of a DataFrame, else an array."""
        check_is_fitted(self, "support_")
        if _data.is_frame(X):
            columns, _ = _data.columns_of(X, self)
            check_names(self, X, columns, reset=False)
            return X.iloc[:, np.flatnonzero(self.support_)]
        X = _data.check_finite_array(X, estimator=self)
        check_names(self, X, [None] * X.shape[1], reset=False)
        return X[:, self.support_]

    def _more_tags(self):
        return {"allow_nan": True, "requires_y": True, "X_types": ["2darray"]}

    def __sklearn_tags__(self):
        tags = super().__sklearn_tags__()
        tags.target_tags.required = True
        tags.input_tags.allow_nan = True
        tags.input_tags.string = True
        tags.input_tags.categorical = True
        return tags
