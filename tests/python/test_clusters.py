"""Estimators in processes of a cluster: a search gives what it gives in one process."""
import os
import shutil
import subprocess
import sys

import joblib
import pytest
from conftest import credit
from sklearn.model_selection import GridSearchCV

import orvik


def results(n_jobs=None):
    """What a grid search finds, without its times."""
    frame, y = credit(200)
    grid = GridSearchCV(orvik.ForestClassifier(n_estimators=5, random_state=0, n_jobs=1),
                        {"max_depth": [1, 3, 8], "max_features": [1, None]}, cv=3, n_jobs=n_jobs)
    return {name: list(map(repr, values)) for name, values in grid.fit(frame, y).cv_results_.items() if "time" not in name}


def test_a_grid_on_dask():
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, \
            distributed.Client(cluster), joblib.parallel_backend("dask"):
        found = results(n_jobs=-1)
    assert found == results()


def test_a_grid_on_a_pool_of_mpi():
    pytest.importorskip("mpi4py")
    mpirun = shutil.which("mpirun") or pytest.skip("no mpirun here")
    env = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1",
               OMPI_MCA_rmaps_base_oversubscribe="1")
    run = subprocess.run([mpirun, "-n", "3", sys.executable, "-m", "mpi4py.futures", __file__], env=env,
                         capture_output=True, text=True, timeout=300)
    assert run.returncode == 0 and run.stdout.strip() == "the same", run.stdout + run.stderr


class PoolBackend(joblib.parallel.ParallelBackendBase):
    """Lets joblib hand its tasks to a pool of concurrent.futures."""

    def __init__(self, pool=None, **options):
        super().__init__(**options)
        self.pool = pool

    def effective_n_jobs(self, n_jobs):
        return 2

    def apply_async(self, func, callback=None):
        future = self.pool.submit(func)
        future.get = future.result
        if callback is not None:
            future.add_done_callback(callback)
        return future


def main():
    from mpi4py.futures import MPIPoolExecutor
    joblib.register_parallel_backend("pool", PoolBackend)
    with MPIPoolExecutor() as pool, joblib.parallel_backend("pool", pool=pool):
        found = results(n_jobs=-1)
    print("the same" if found == results() else "other results")


if __name__ == "__main__":
    main()
