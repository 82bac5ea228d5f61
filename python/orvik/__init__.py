"""Classification trees by the gain ratio, forests and boosted trees, for tables as they are.

>>> import orvik
>>> table = orvik.load_table("examples/golf.names")
>>> tree = orvik.TreeClassifier(pruning="none").fit(table)
>>> tree.tree_
<orvik.Tree: 8 nodes, 5 leaves, depth 2>
"""

from ._data import Table, load_table
from ._estimators import BaggingClassifier, BoostClassifier, Explanation, ForestClassifier, TreeClassifier, load_model
from ._orvik import __version__
from ._search import FeatureSearch
from ._tree import Tree

__all__ = ["BaggingClassifier", "BoostClassifier", "Explanation", "FeatureSearch", "ForestClassifier", "Table", "Tree",
           "TreeClassifier", "__version__", "load_model", "load_table"]
