"""A tree as arrays, and its picture."""

import re

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


def _parted(test):
    """The name of the column, and what is asked of it, numbers without zeros at their ends."""
    name, relation, value = re.match(r"(.*?) (<=|>|!=|=) (.*)", test, re.DOTALL).groups()
    try:
        value = f"{float(value):g}"
    except ValueError:
        pass
    return name, f"{relation} {value}" if relation != "=" else value


def _places(tree, shown):
    """Where nodes stand: leaves side by side from the left, others in the middle of their children."""
    children = {i: [] for i in shown}
    for i in shown[1:]:
        children[int(tree.parent[i])].append(i)
    x, leaves = {}, sum(not c for c in children.values())
    for i in reversed(shown):  # children before their parents
        leaves -= not children[i]
        x[i] = sum(x[c] for c in children[i]) / len(children[i]) if children[i] else leaves
    return {i: (x[i], -int(tree.depth[i])) for i in shown}


def plot(tree, classes, depth=None, ax=None):
    """Draws a tree on axes of matplotlib: a node in the middle of its children."""
    import matplotlib.pyplot as plt
    from matplotlib.colors import to_rgb

    def pale(color):  # and opaque: branches end at the box
        return tuple(0.7 + 0.3 * part for part in to_rgb(color))

    ax = plt.gca() if ax is None else ax
    shown = [i for i in range(tree.node_count) if depth is None or tree.depth[i] <= depth]
    at, asked = _places(tree, shown), {}
    for i in shown[1:]:
        above = int(tree.parent[i])
        asked[above], answer = _parted(tree.test[i])
        middle = ((at[above][0] + 2 * at[i][0]) / 3, (at[above][1] + 2 * at[i][1]) / 3)
        ax.plot(*zip(at[above], at[i]), color="0.7", zorder=1, lw=1)
        ax.annotate(answer, middle, ha="center", va="center", fontsize=7, color="0.3",
                    bbox={"boxstyle": "round,pad=0.1", "fc": "white", "lw": 0})
    for i in shown:
        label = f"{asked.get(i, classes[tree.predicted[i]])}\n{tree.weighted_n_node_samples[i]:g}"
        ax.annotate(label, at[i], ha="center", va="center", fontsize=7,
                    bbox={"boxstyle": "round", "ec": "0.6", "fc": pale(f"C{tree.predicted[i]}")})
    ax.set_xlim(-0.6, max(x for x, _ in at.values()) + 0.6)
    ax.set_ylim(min(y for _, y in at.values()) - 0.5, 0.5)
    ax.set_axis_off()
    return ax
