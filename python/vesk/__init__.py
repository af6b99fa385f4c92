"""Audio plugins in processes of their own, with NumPy arrays in and out.

>>> import vesk
>>> with vesk.Host("aumu:Sm48:LV2_", offline=True) as host:
...     sound = host.render(48000, events=[(0, 0x90, 60, 100)])   # two channels, float32

A plugin that dies raises `HostDied`, which carries one sentence on what happened; the interpreter
lives on. Needs an installed vesk: `libvesk` and, for `render`, `plugins` and `parameters`, its
programs.
"""

from ._library import VERSION
from .host import (Event, Health, Host, HostDied, HostError, HostGroup, HostTimeout, Transport)
from .programs import Parameter, Plugin, ProgramError, Sound, parameters, plugins, render

__version__ = VERSION
__all__ = [
    "Event", "Health", "Host", "HostDied", "HostError", "HostGroup", "HostTimeout", "Parameter",
    "Plugin", "ProgramError", "Sound", "Transport", "parameters", "plugins", "render",
]
