"""What scikit-learn and others do with estimators, on tables that come with scikit-learn."""
import joblib
import numpy as np
import pandas as pd
import pytest
from conftest import credit
from sklearn.base import clone
from sklearn.calibration import CalibratedClassifierCV
from sklearn.compose import ColumnTransformer
from sklearn.datasets import load_breast_cancer, load_iris, load_wine
from sklearn.ensemble import AdaBoostClassifier, BaggingClassifier, StackingClassifier, VotingClassifier
from sklearn.impute import SimpleImputer
from sklearn.inspection import PartialDependenceDisplay, partial_dependence, permutation_importance
from sklearn.linear_model import LogisticRegression
from sklearn.metrics import brier_score_loss, roc_auc_score
from sklearn.model_selection import (GridSearchCV, GroupKFold, cross_val_predict, cross_val_score,
                                     cross_validate, learning_curve, train_test_split)
from sklearn.multiclass import OneVsRestClassifier
from sklearn.pipeline import Pipeline, make_pipeline
from sklearn.preprocessing import OneHotEncoder

import orvik

CANCER = load_breast_cancer(as_frame=True)
X, Y = CANCER.data, CANCER.target
TRAIN, TEST, Y_TRAIN, Y_TEST = train_test_split(X, Y, random_state=0)


def test_a_grid_search_finds_that_stumps_are_worse():
    grid = GridSearchCV(orvik.TreeClassifier(), {"max_depth": [1, 6], "confidence": [0.01, 0.25]}, cv=3)
    grid.fit(X, Y)
    assert grid.best_params_["max_depth"] == 6 and grid.best_score_ > 0.91
    assert grid.best_estimator_.tree_.depth.max() <= 6


def test_cross_validation_keeps_groups_apart():
    groups = np.arange(len(Y)) // 19
    done = cross_validate(orvik.ForestClassifier(n_estimators=20, random_state=0), X, Y, groups=groups,
                          cv=GroupKFold(3), scoring=["accuracy", "roc_auc"], return_estimator=True)
    assert done["test_accuracy"].mean() > 0.93 and done["test_roc_auc"].mean() > 0.98
    assert len({e.to_json() for e in done["estimator"]}) == 3


def test_a_pipeline_with_columns_of_its_own():
    frame, y = credit(600)
    later, answers = credit(300, seed=2)
    columns = ColumnTransformer([("numbers", SimpleImputer(), ["age", "debt", "ratio"]),
                                 ("words", OneHotEncoder(handle_unknown="ignore"), ["job"])], sparse_threshold=0)
    encoded = Pipeline([("columns", columns), ("tree", orvik.TreeClassifier())]).fit(frame, y)
    plain = make_pipeline("passthrough", orvik.TreeClassifier()).fit(frame, y)
    assert encoded["tree"].n_features_in_ == 3 + 5 and encoded.score(later, answers) > 0.6
    assert plain.score(later, answers) > encoded.score(later, answers) + 0.05  # which lacks the grade


def test_calibration_lowers_the_brier_score_of_boosted_trees():
    boosted = orvik.BoostClassifier(n_estimators=15, voting="hard", random_state=0)
    raw = boosted.fit(TRAIN, Y_TRAIN).predict_proba(TEST)[:, 1]
    calibrated = CalibratedClassifierCV(boosted, method="isotonic", cv=3).fit(TRAIN, Y_TRAIN).predict_proba(TEST)[:, 1]
    assert brier_score_loss(Y_TEST, calibrated) < brier_score_loss(Y_TEST, raw)
    assert roc_auc_score(Y_TEST, calibrated) > 0.97


@pytest.mark.parametrize("ensemble", [
    lambda tree: AdaBoostClassifier(tree, n_estimators=20, random_state=0),
    lambda tree: BaggingClassifier(tree, n_estimators=20, random_state=0),
    lambda tree: StackingClassifier([("tree", tree), ("forest", orvik.ForestClassifier(n_estimators=9, random_state=0))],
                                    LogisticRegression(), cv=3),
    lambda tree: VotingClassifier([("tree", tree), ("bag", orvik.BaggingClassifier(random_state=0))], voting="soft"),
    lambda tree: OneVsRestClassifier(tree),
], ids=["adaboost", "bagging", "stacking", "voting", "one-vs-rest"])
def test_ensembles_of_others_are_no_worse_than_their_tree(ensemble):
    tree = orvik.TreeClassifier(max_depth=3)
    alone = tree.fit(TRAIN, Y_TRAIN).score(TEST, Y_TEST)
    assert ensemble(clone(tree)).fit(TRAIN, Y_TRAIN).score(TEST, Y_TEST) >= alone


def test_weights_reach_the_tree_that_others_boost():
    flipped = np.where(np.arange(len(Y_TRAIN)) % 3 == 0, 1 - Y_TRAIN, Y_TRAIN)
    weights = np.where(np.arange(len(Y_TRAIN)) % 3 == 0, 1e-3, 1.0)
    model = AdaBoostClassifier(orvik.TreeClassifier(), n_estimators=1).fit(TRAIN, flipped, weights)
    assert model.score(TEST, Y_TEST) > 0.85


def test_inspection_sees_what_the_class_hangs_on():
    frame, y = credit(600)
    model = orvik.ForestClassifier(n_estimators=20, random_state=0).fit(frame, y)
    found = permutation_importance(model, frame, y, n_repeats=3, random_state=0).importances_mean
    assert set(np.argsort(found)[-2:]) == {1, 3} and abs(found[4]) < 0.05
    cancer = orvik.ForestClassifier(n_estimators=20, random_state=0).fit(X, Y)
    curve = partial_dependence(cancer, X, ["worst concave points"], grid_resolution=8)["average"][0]
    assert curve[0] > curve[-1] + 0.1  # the more points, the rarer a benign tumour


def test_a_display_of_partial_dependence():
    pytest.importorskip("matplotlib").use("Agg")
    model = orvik.TreeClassifier().fit(X, Y)
    shown = PartialDependenceDisplay.from_estimator(model, X, ["worst area"], grid_resolution=5)
    assert np.ptp(shown.lines_[0, 0].get_ydata()) >= 0


def test_a_learning_curve_rises():
    sizes, _, scores = learning_curve(orvik.ForestClassifier(n_estimators=15, random_state=0), X, Y, cv=3,
                                      train_sizes=[15, 350], shuffle=True, random_state=0)
    assert list(sizes) == [15, 350] and scores[1].mean() > scores[0].mean()


@pytest.mark.parametrize("backend", ["loky", "threading"])
def test_folds_side_by_side_give_what_they_give_in_turn(backend):
    model = orvik.ForestClassifier(n_estimators=5, random_state=0, n_jobs=1)
    expected = cross_val_predict(model, X, Y, cv=3, method="predict_proba")
    with joblib.parallel_backend(backend, n_jobs=2):
        assert (cross_val_predict(model, X, Y, cv=3, method="predict_proba", n_jobs=2) == expected).all()


class Careful(orvik.TreeClassifier):
    """With a parameter of its own."""

    _parameter_constraints = {**orvik.TreeClassifier._parameter_constraints, "least": "no_validation"}

    def __init__(self, *, least=0.5, pruning="ebp"):
        super().__init__(pruning=pruning)
        self.least = least

    def predict(self, X):
        return np.where(self.predict_proba(X)[:, 1] >= self.least, 1, 0)


def test_a_subclass_can_be_cloned_and_searched():
    grid = GridSearchCV(Careful(), {"least": [0.5, 1.1]}, cv=3).fit(X, Y)
    copy = clone(grid.best_estimator_)
    assert grid.best_params_ == {"least": 0.5} and copy.least == 0.5 and not hasattr(copy, "model_")
    assert repr(orvik.ForestClassifier(n_estimators=7)) == "ForestClassifier(n_estimators=7)"


def test_a_search_of_features_in_a_pipeline():
    noise = pd.DataFrame(np.random.RandomState(0).rand(len(Y), 6)).add_prefix("noise")
    frame = pd.concat([X[["worst area", "worst concave points"]], noise], axis=1)
    search = orvik.FeatureSearch(method="forward", random_state=0)
    model = make_pipeline(search, orvik.TreeClassifier()).fit(frame, Y)
    kept = list(model[0].get_feature_names_out())
    assert "worst area" in kept or "worst concave points" in kept
    assert len(kept) < 8 and model[1].feature_names_in_.tolist() == kept and model.score(frame, Y) > 0.9
    assert list(search.transform(frame).columns) == kept == list(frame.columns[search.get_support()])


def test_a_sampler_of_imbalanced_learn_precedes_the_tree():
    over = pytest.importorskip("imblearn.over_sampling")
    pipeline = pytest.importorskip("imblearn.pipeline")
    rare = np.concatenate([np.flatnonzero(Y == 1), np.flatnonzero(Y == 0)[:20]])
    model = pipeline.make_pipeline(over.RandomOverSampler(random_state=0), orvik.TreeClassifier())
    model.fit(X.iloc[rare], Y.iloc[rare])
    counts = model[1].tree_.value[0]
    assert counts[0] == counts[1] == 357 and model.score(X, Y) > 0.8


def test_three_classes_by_name():
    for data, least in ((load_iris(as_frame=True), 0.92), (load_wine(as_frame=True), 0.85)):
        names = data.target_names[data.target]
        for model in (orvik.TreeClassifier(), orvik.ForestClassifier(n_estimators=20, random_state=0)):
            assert cross_val_score(model, data.data, names, cv=5).mean() > least
        assert list(model.fit(data.data, names).classes_) == sorted(data.target_names)
