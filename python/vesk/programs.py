"""What vesk's programs do, as functions: listing plugins, rendering files."""

from __future__ import annotations

import dataclasses
import json
import os
import pathlib
import struct
import tempfile
from typing import Any, Optional, Union

import numpy as np
import numpy.typing as npt

from .host import Samples
from .names import ProgramError, run_program

Path = Union[str, "os.PathLike[str]"]


@dataclasses.dataclass(frozen=True)
class Plugin:
    specification: str  #: the text to use in a chain
    name: str
    details: dict[str, Any]  #: all that vesk-list --json says


@dataclasses.dataclass(frozen=True)
class Parameter:
    id: int
    name: str
    minimum: float
    maximum: float
    default: float
    details: dict[str, Any]


@dataclasses.dataclass(frozen=True)
class Preset:
    number: int
    name: str
    details: dict[str, Any]


@dataclasses.dataclass(frozen=True)
class Sound:
    samples: Samples  #: two rows, left and right
    sample_rate: int
    details: dict[str, Any]  #: figures and warnings: all that vesk-render --json says


def plugins() -> list[Plugin]:
    """The installed plugins."""
    return [Plugin(entry["specification"], entry["name"], entry)
            for entry in json.loads(run_program("vesk-list", "--json"))]


def parameters(plugin: str) -> list[Parameter]:
    """The parameters of one, named as in a chain."""
    found = json.loads(run_program("vesk-list", "--parameters", plugin, "--json"))
    return [Parameter(entry["id"], entry["name"], entry["minimum"], entry["maximum"],
                      entry["default"], entry)
            for entry in found["parameters"]]


def presets(plugin: str) -> list[Preset]:
    """The presets that came with one, or that its user made of it."""
    found = json.loads(run_program("vesk-list", "--presets", plugin, "--json"))
    return [Preset(entry["number"], entry["name"], entry) for entry in found["presets"]]


def render(chain: str, *, midi: Optional[Path] = None, input: Optional[npt.ArrayLike] = None,
           preset: Optional[str] = None, sample_rate: int = 48000, tail: Optional[float] = None,
           strict: bool = False) -> Sound:
    """A MIDI file, or samples (two rows or one), through a chain, as vesk-render does it: with the
    sound's tail, without the chain's latency. `chain` and `preset` are as `Host` takes them."""
    if (midi is None) == (input is None):
        raise ValueError("either midi or input")
    with tempfile.TemporaryDirectory(prefix="vesk-") as folder:
        out = pathlib.Path(folder, "out.wav")
        words = [chain, "--json", "--quiet", "--sample-rate", str(sample_rate), "--output", str(out)]
        if midi is not None:
            words += ["--midi", os.fspath(midi)]
        else:
            source = pathlib.Path(folder, "in.wav")
            _write_wav(source, np.asarray(input, np.float32), sample_rate)
            words += ["--input", str(source)]
        if preset is not None:
            words += ["--preset", preset]
        if tail is not None:
            words += ["--tail", str(tail)]
        if strict:
            words.append("--strict")
        said = json.loads(run_program("vesk-render", *words))
        return Sound(_read_wav(out), sample_rate, said)


def _write_wav(path: pathlib.Path, samples: Samples, sample_rate: int) -> None:
    if samples.ndim == 1:
        samples = np.stack([samples, samples])
    if samples.ndim != 2 or samples.shape[0] != 2:
        raise ValueError(f"input has two rows or one, not the shape {samples.shape}")
    data = np.ascontiguousarray(samples.T, "<f4").tobytes()
    format_chunk = struct.pack("<4sIHHIIHH", b"fmt ", 16, 3, 2, sample_rate, 8 * sample_rate, 8, 32)
    body = b"WAVE" + format_chunk + struct.pack("<4sI", b"data", len(data)) + data
    path.write_bytes(struct.pack("<4sI", b"RIFF", len(body)) + body)


def _read_wav(path: pathlib.Path) -> Samples:
    """What vesk-render writes: two channels of 32-bit float."""
    whole = path.read_bytes()
    place = 12
    while place + 8 <= len(whole):
        name, size = struct.unpack_from("<4sI", whole, place)
        if name == b"data":
            return np.frombuffer(whole, "<f4", size // 4, place + 8).reshape(-1, 2).T.copy()
        place += 8 + size + size % 2
    raise ProgramError("vesk-render wrote no samples")
