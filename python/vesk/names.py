"""What people call plugins and presets, put into what a host takes."""

from __future__ import annotations

import ctypes as c
import json
import os
import pathlib
import re
import subprocess
from collections.abc import Iterable

from . import _library
from ._library import lib


class ProgramError(RuntimeError):
    """A program of vesk's could not do what it was asked to; the text is what it said."""


def run_program(name: str, *words: str) -> str:
    result = subprocess.run([_library.program(name), *words], capture_output=True, text=True)
    if result.returncode != 0:
        said = result.stderr.strip().removeprefix(name + ": ")
        raise ProgramError(said or f"{name} ended with status {result.returncode}")
    return result.stdout


def specification_of(chain: str, settings: Iterable[str] = ()) -> str:
    """The chain in specification texts, as a host takes it.

    Its elements may be plugins' names or LV2 URIs, with parameters by number, symbol or name:
    `"MDA ePiano#Hardness=0.4|MDA Ambience"`. `settings` are further ones, `"PARAMETER=VALUE"` for
    the first plugin or `"N:PARAMETER=VALUE"`. ProgramError when nothing, or more than one thing, is
    called so. Keep what comes back: it means the same on other machines.
    """
    words = [os.fsencode(each) for each in settings]
    own = None if os.environ.get("VESK_HOST") else os.fsencode(_library.program("vesk-list"))
    named = _library.NamedChain(
        struct_size=c.sizeof(_library.NamedChain), text=os.fsencode(chain),
        settings=(c.c_char_p * (len(words) + 1))(*words, None), list_program=own)
    error = c.create_string_buffer(1024)
    text = c.create_string_buffer(4096)
    length = lib.vesk_specification_of(named, text, len(text), error, len(error))
    if length >= len(text):
        text = c.create_string_buffer(length + 1)
        length = lib.vesk_specification_of(named, text, len(text), error, len(error))
    if length == 0:
        raise ProgramError(error.value.decode(errors="replace"))
    return os.fsdecode(text.value)


def with_preset(chain: str, preset: str, sample_rate: float, folder: str) -> str:
    """The chain with a preset file in `folder`, made of the factory preset `"[N:]NAME"`."""
    place, name = re.fullmatch(r"(?:([0-9]+):)?(.*)", preset, re.DOTALL).groups()
    elements = chain.split("|")
    index = int(place or 1) - 1
    if not 0 <= index < len(elements):
        raise ProgramError(f"the chain has no plugin {index + 1} to start from \"{name}\"")
    path = pathlib.Path(folder, "start.aupreset")
    result = subprocess.run(
        [_library.program("vesk-parameters"), elements[index], "--sample-rate", str(sample_rate),
         "--preset", name, "--save", str(path)], capture_output=True, text=True)
    if not path.exists():
        raise ProgramError(_error_in(result.stdout) or f"no preset file was made of \"{name}\"")
    elements[index] = f"{elements[index].partition('@')[0]}@{path}"
    return "|".join(elements)


def _error_in(answer: str) -> str:
    try:
        return json.loads(answer)["error"]
    except (ValueError, KeyError, TypeError):
        return ""
