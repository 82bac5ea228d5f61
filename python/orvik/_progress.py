"""How far a fit has come."""

import contextlib


class _Bar:
    """Trees of an ensemble, nodes of a tree: a bar of tqdm, or a line at the end."""

    def __init__(self, n_trees):
        self._ensemble = n_trees > 1
        self._done = 0
        try:
            from tqdm.auto import tqdm
        except ImportError:
            self._bar = None
        else:
            self._bar = tqdm(total=n_trees if self._ensemble else None,
                             unit="tree" if self._ensemble else "node")

    def __call__(self, rows, nodes, trees):
        done = trees if self._ensemble else nodes
        if self._bar is not None:
            self._bar.update(done - self._done)
        self._done = done

    def close(self):
        if self._bar is not None:
            self._bar.close()
        else:
            print(f"{self._done} {'trees' if self._ensemble else 'nodes'} grown")


@contextlib.contextmanager
def progress_of(estimator, n_trees):
    """What a fit calls with the numbers of rows, nodes and trees done, or None."""
    if not estimator.verbose:
        yield estimator.progress
        return
    bar = _Bar(n_trees)

    def told(rows, nodes, trees):
        bar(rows, nodes, trees)
        if estimator.progress is not None:
            estimator.progress(rows, nodes, trees)

    try:
        yield told
    finally:
        bar.close()
