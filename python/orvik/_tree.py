"""A tree as arrays, and its picture."""

import numpy as np


class Tree:
    """The nodes of a tree: each before its children, the root first.

    Attributes
    ----------
    node_count : int
    parent : ndarray of int
        -1 for the root.
    depth : ndarray of int
        Levels below the root.
    n_children : ndarray of int
        0 for a leaf.
    feature : ndarray of int
        Number of the attribute asked for; -1 in a leaf.
    threshold : ndarray of float
        Where numbers are cut: up to it they go to the first child. NaN where none are.
    test : list of str
        What leads from the parent here, as ``"humidity <= 75"``.
    predicted : ndarray of int
        Place of the class in `classes_`.
    n_node_samples : ndarray of int
        Training rows that came here.
    weighted_n_node_samples : ndarray of float
        Their weight.
    value : ndarray of shape (node_count, n_classes)
        Their weight by class.
    """

    def __init__(self, arrays, class_places):
        places = np.asarray(class_places)
        self.parent = arrays["parent"]
        self.depth = arrays["depth"]
        self.n_children = arrays["n_children"]
        self.feature = arrays["feature"]
        self.threshold = arrays["threshold"]
        self.test = arrays["test"]
        back = np.zeros(arrays["value"].shape[1], dtype=np.int64)
        back[places] = np.arange(len(places))
        self.predicted = back[arrays["predicted"]]
        self.n_node_samples = arrays["n_node_samples"]
        self.weighted_n_node_samples = arrays["weighted_n_node_samples"]
        self.value = arrays["value"][:, places]
        self.node_count = len(self.parent)

    def children(self, i):
        """Numbers of the children of a node, in the order of their tests."""
        return np.flatnonzero(self.parent == i)

    def __repr__(self):
        leaves = int((self.n_children == 0).sum())
        return f"<orvik.Tree: {self.node_count} nodes, {leaves} leaves, depth {int(self.depth.max())}>"


def plot(tree, classes, depth=None, ax=None):
    """Draws a tree on axes of matplotlib: a node in the middle of its children."""
    import matplotlib.pyplot as plt

    ax = plt.gca() if ax is None else ax
    shown = [i for i in range(tree.node_count) if depth is None or tree.depth[i] <= depth]
    children = {i: [] for i in shown}
    for i in shown[1:]:
        children[int(tree.parent[i])].append(i)
    x, leaves = {}, 0
    for i in reversed(shown):  # children before their parents
        if not children[i]:
            x[i], leaves = -leaves, leaves + 1
        else:
            x[i] = sum(x[c] for c in children[i]) / len(children[i])
    for i in shown:
        at = (x[i], -int(tree.depth[i]))
        if i:
            above = (x[int(tree.parent[i])], -int(tree.depth[tree.parent[i]]))
            ax.plot(*zip(above, at), color="0.7", zorder=1, lw=1)
            ax.annotate(tree.test[i], ((above[0] + at[0]) / 2, (above[1] + at[1]) / 2), ha="center",
                        va="center", fontsize=7, color="0.3")
        label = classes[tree.predicted[i]] if tree.n_children[i] == 0 else ""
        ax.annotate(f"{label}\n{tree.weighted_n_node_samples[i]:g}".strip(), at, ha="center", va="center",
                    fontsize=8, bbox={"boxstyle": "round", "fc": f"C{tree.predicted[i]}", "alpha": 0.3})
    ax.set_xlim(min(x.values()) - 0.6, max(x.values()) + 0.6)
    ax.set_ylim(-max(int(tree.depth[i]) for i in shown) - 0.5, 0.5)
    ax.set_axis_off()
    return ax
