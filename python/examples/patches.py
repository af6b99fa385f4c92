"""Renders random patches of a plugin into a data set, on all processors.

    python patches.py PLUGIN FOLDER [--count 200]

Each patch is a note of two seconds in FOLDER/NNNN.npy (two rows of float32); FOLDER/patches.json says
which parameters it has. A patch that its plugin does not survive is written down as such, and the
rest goes on: every patch has a process of its own. What is there already is not rendered again.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import sys

import numpy as np
import vesk

RATE = 48000
NOTE = [(0, 0x90, 60, 100), (RATE, 0x80, 60)]


def random_patch(parameters, seed):
    """A value for each parameter that can be set, the same for the same seed."""
    random.seed(seed)
    return {parameter.id: round(random.uniform(parameter.minimum, parameter.maximum), 4)
            for parameter in parameters if parameter.details["writable"]}


def render(plugin, patch, path):
    """Writes the sound of a patch; the reason when it has none."""
    chain = plugin + "#" + ",".join(f"{id}={value}" for id, value in patch.items())
    try:
        with vesk.Host(chain, sample_rate=RATE, offline=True) as host:
            sound = host.render(2 * RATE, events=NOTE)
    except vesk.HostError as error:
        return str(error)
    unfinished = path.with_suffix(".part")
    with unfinished.open("wb") as file:
        np.save(file, sound)
    unfinished.rename(path)
    return None


def show_progress(count, total):
    if sys.stderr.isatty():
        print(f"\r{count} of {total}", end="\n" if count == total else "", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("plugin")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=200)
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    parameters = vesk.parameters(arguments.plugin)

    def one(number):
        patch = random_patch(parameters, number)
        path = arguments.folder / f"{number:04}.npy"
        failed = None if path.exists() else render(arguments.plugin, patch, path)
        return {"file": path.name, "parameters": patch, "failed": failed}

    # Threads do: the work is in the hosts, and waiting for them lets the others run.
    patches = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for patch in pool.map(one, range(arguments.count)):
            patches.append(patch)
            show_progress(len(patches), arguments.count)
    arguments.folder.joinpath("patches.json").write_text(json.dumps(patches, indent=1))
    failed = [patch for patch in patches if patch["failed"]]
    print(f"{len(patches) - len(failed)} rendered, {len(failed)} failed")
    for patch in failed[:5]:
        print(f"{patch['file']}: {patch['failed']}")


if __name__ == "__main__":
    main()
