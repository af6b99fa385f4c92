"""The data set of patches.py on more machines than one: Dask hands out the work.

    python patches_on_a_cluster.py PLUGIN FOLDER [--count 200] [--scheduler tcp://HOST:8786]

FOLDER is one that every worker sees. Without a scheduler two workers run on this machine. A worker
that is lost is Dask's business: its patches are rendered elsewhere.
"""

import argparse
import json
import pathlib

import dask.distributed
import vesk

from patches import random_patch, render, show_progress


def one(plugin, parameters, folder, number):
    patch = random_patch(parameters, number)
    path = pathlib.Path(folder) / f"{number:04}.npy"
    failed = None if path.exists() else render(plugin, patch, path)
    return {"file": path.name, "parameters": patch, "failed": failed}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("plugin")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--scheduler")
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    parameters = vesk.parameters(arguments.plugin)

    cluster = arguments.scheduler or dask.distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, dashboard_address=None)
    with dask.distributed.Client(cluster) as client:
        client.upload_file(str(pathlib.Path(__file__).with_name("patches.py")))
        work = client.map(lambda number: one(arguments.plugin, parameters,
                                             str(arguments.folder.resolve()), number),
                          range(arguments.count))
        for count, _ in enumerate(dask.distributed.as_completed(work), 1):
            show_progress(count, arguments.count)
        patches = client.gather(work)
    arguments.folder.joinpath("patches.json").write_text(json.dumps(patches, indent=1))
    failed = sum(patch["failed"] is not None for patch in patches)
    print(f"{len(patches) - failed} rendered, {failed} failed")


if __name__ == "__main__":
    main()
