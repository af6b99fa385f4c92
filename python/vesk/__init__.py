"""Audio plugins in processes of their own, with NumPy arrays in and out.

>>> import vesk
>>> with vesk.Host("MDA ePiano", offline=True) as host:
...     sound = host.render(48000, events=[(0, 0x90, 60, 100)])   # two channels, float32

A plugin that dies raises `HostDied`, which carries one sentence on what happened; the interpreter
lives on. Needs an installed vesk: `libvesk` and its programs.
"""

from ._library import VERSION
from .host import (Event, Health, Host, HostDied, HostError, HostGroup, HostTimeout, Transport)
from .names import ProgramError, specification_of
from .programs import (Parameter, Plugin, Preset, Sound, parameters, plugins, presets, render)

__version__ = VERSION
__all__ = [
    "Event", "Health", "Host", "HostDied", "HostError", "HostGroup", "HostTimeout", "Parameter",
    "Plugin", "Preset", "ProgramError", "Sound", "Transport", "parameters", "plugins", "presets",
    "render", "specification_of",
]
