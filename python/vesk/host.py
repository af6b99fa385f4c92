"""Hosts: chains of plugins, each in a process of its own, driven period by period."""

from __future__ import annotations

import ctypes as c
import dataclasses
import enum
import os
import tempfile
from collections.abc import Iterable, Mapping, Sequence
from typing import Callable, Optional, TypeVar, Union

import numpy as np
import numpy.typing as npt

from . import _library
from ._library import lib
from .names import ProgramError, specification_of, with_preset

Samples = npt.NDArray[np.float32]
#: A frame, a status byte with its channel, and up to two data bytes.
Event = Union[tuple[int, int], tuple[int, int, int], tuple[int, int, int, int]]

_MOST_EVENTS = 128  # in one period
_MOST_FRAMES = 4096
_ANSWERED, _TIMED_OUT, _NOT_SENT, _HOST_GONE, _REFUSED = range(5)


class HostError(RuntimeError):
    """A host could not be started, or does not answer; the text is one sentence."""


class HostDied(HostError):
    """The process has ended. The text says how, and names the plugin where that is known."""


class HostTimeout(HostError):
    """No answer within the limit; the host may be slow or hang (`Host.health`)."""


class Health(enum.Enum):
    STARTING, READY, SLOW, HUNG_BLOCKED, HUNG_SPINNING, DEAD = range(6)


@dataclasses.dataclass(frozen=True)
class Transport:
    """Where a period's first frame stands in the song. Beats are quarter notes."""

    tempo: float = 120
    beat: float = 0
    frame: float = 0
    bar_start: float = 0
    beats_per_bar: float = 4
    beat_unit: int = 4
    playing: bool = True
    looping: bool = False
    loop_start: float = 0
    loop_end: float = 0

    def _in_c(self) -> _library.Transport:
        return _library.Transport(c.sizeof(_library.Transport), **dataclasses.asdict(self))


def _options(chain: str, sample_rate: float, period: int, offline: bool,
             environment: Mapping[str, str]) -> _library.Options:
    entries = [f"{name}={value}".encode() for name, value in environment.items()]
    array = (c.c_char_p * (len(entries) + 1))(*entries, None)
    own = os.environ.get("VESK_HOST") or _library.program("vesk-host")
    return _library.Options(
        struct_size=c.sizeof(_library.Options), chain=os.fsencode(chain),
        sample_rate_hz=sample_rate, max_frames=_MOST_FRAMES, period_frames=period,
        mode=1 if offline else 0, host_program=os.fsencode(own), environment=array)


def _sorted_events(events: Iterable[Event], frames: int) -> list[tuple[int, int, int, int]]:
    whole = sorted(((*event, 0, 0)[:4] for event in events), key=lambda event: event[0])
    if whole and not (0 <= whole[0][0] and whole[-1][0] < frames):
        raise ValueError(f"events stand at frames 0 to {frames - 1}")
    return whole


def _as_channels(samples: npt.ArrayLike, frames: int) -> Samples:
    array = np.asarray(samples, np.float32)
    if array.ndim == 1:
        array = np.stack([array, array])
    if array.shape != (2, frames):
        raise ValueError(f"input has the shape (2, {frames}) or ({frames},), not {array.shape}")
    return array


def _periods(events: Sequence[tuple[int, int, int, int]], frames: int, period: int):
    """Start, length and events of each period: cut short before an event that has no room."""
    start, next_event = 0, 0
    while start < frames:
        end = min(start + period, frames)
        last = next_event
        while last < len(events) and events[last][0] < end:
            if last - next_event == _MOST_EVENTS:
                # Of more than fit on one frame the rest come a frame later.
                end = max(events[last][0], start + 1)
                break
            last += 1
        yield start, end - start, events[next_event:last]
        start, next_event = end, last


def _events_in_c(events: Sequence[tuple[int, int, int, int]], start: int):
    array = (_library.MidiEvent * len(events))()
    for slot, (frame, status, data1, data2) in zip(array, events):
        slot.status, slot.data1, slot.data2 = status, data1, data2
        slot.offset = max(frame - start, 0)
    return array


_Self = TypeVar("_Self", bound="_Owner")


class _Owner:
    """What is given back by `close`, at the end of `with`, or when nobody holds it any more."""

    _handle: Optional[int] = None  # for `close`, where making it fails
    _free: Callable[[int], None]
    _what: str

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def close(self) -> None:
        handle, self._handle = self._handle, None
        if handle:
            self._free(handle)

    def _living(self) -> int:
        if not self._handle:
            raise HostError(f"the {self._what} has been closed")
        return self._handle


class Host(_Owner):
    """One chain of plugins in a process of its own.

    `chain` names plugins, '|' between them, as vesk-list prints them or as people call them, with
    parameters: "MDA ePiano#Hardness=0.4|MDA Ambience"; names cost some 20 ms (`specification_of`).
    `preset` is the name of one of the first plugin's (`presets`), "2:Bright" of the second's.
    Offline periods follow one another as fast as they can; otherwise the host asks for a real-time
    policy, and the caller keeps time. `wait` false returns while plugins still load; `wait_ready`
    then comes before anything else. Use it with `with`, or call `close`. One thread drives a host at
    a time; waiting lets other threads run.
    """

    _free, _what = lib.vesk_host_free, "host"
    _folder: Optional[tempfile.TemporaryDirectory[str]] = None  # of the preset's file

    def __init__(self, chain: str, *, preset: Optional[str] = None, sample_rate: float = 48000,
                 period: int = 512, offline: bool = False, environment: Mapping[str, str] = {},
                 wait: bool = True) -> None:
        self.sample_rate, self.period = sample_rate, period
        self._time = 0  # frames rendered
        try:
            self.chain = given = specification_of(chain)
            if preset is not None:
                self._folder = tempfile.TemporaryDirectory(prefix="vesk-")
                given = with_preset(given, preset, sample_rate, self._folder.name)
        except ProgramError as error:
            raise HostError(str(error)) from None
        options = _options(given, sample_rate, period, offline, environment)
        error = c.create_string_buffer(1024)
        self._handle = lib.vesk_host_spawn(options, error, len(error))
        if not self._handle:
            raise HostError(error.value.decode(errors="replace"))
        self._channels: list[Samples] = []
        self._outputs: list[Samples] = []
        if wait:
            self.wait_ready()

    def wait_ready(self) -> None:
        """Waits until the chain is loaded. HostError with the host's own words when it fails."""
        error = c.create_string_buffer(1024)
        if not lib.vesk_host_wait_ready(self._living(), error, len(error)):
            self.close()
            raise HostError(error.value.decode(errors="replace"))
        shape = (_MOST_FRAMES,)
        self._channels = [np.ctypeslib.as_array(lib.vesk_host_input(self._handle, channel), shape)
                          for channel in range(2)]
        self._outputs = [np.ctypeslib.as_array(lib.vesk_host_output(self._handle, channel), shape)
                         for channel in range(2)]

    def close(self) -> None:
        """Stops the host; state of open editors is saved. May be called again."""
        # The arrays lie in memory that goes with the host.
        self._channels = self._outputs = []
        super().close()
        if self._folder:
            self._folder.cleanup()

    def render(self, frames: int, *, events: Iterable[Event] = (),
               input: Optional[npt.ArrayLike] = None, timeout: float = 10) -> Samples:
        """The next `frames` of sound: an array of two rows, left and right.

        `events` stand at frames counted from the first of these. `input`, two rows or one for both,
        goes into a chain that begins with an effect. `timeout` is for each period.
        """
        ordered = _sorted_events(events, frames)
        source = None if input is None else _as_channels(input, frames)
        result = np.empty((2, frames), np.float32)
        for start, length, due in _periods(ordered, frames, self.period):
            if source is not None:
                for channel, samples in zip(self._channels, source):
                    channel[:length] = samples[start:start + length]
            in_c = _events_in_c(due, start)
            self._check(lib.vesk_host_render(self._living(), length, float(self._time), in_c,
                                             len(due), int(timeout * 1e9)))
            for channel, samples in zip(self._outputs, result):
                samples[start:start + length] = channel[:length]
            self._time += length
        return result

    def _check(self, answer: int) -> None:
        if answer == _ANSWERED:
            return
        if answer == _HOST_GONE:
            raise HostDied(self.obituary)
        if answer == _REFUSED:
            raise HostError("the host is not ready")
        raise HostTimeout(f"no answer in time from {self.chain}")

    def set_parameter(self, id: int, value: float, plugin: int = 0) -> None:
        """Heard some 10 ms later; `settle` waits until the host has taken it."""
        lib.vesk_host_set_parameter(self._living(), plugin, id, value)

    def set_transport(self, transport: Transport) -> None:
        """Where the next period stands in the song; holds until the next call."""
        lib.vesk_host_set_transport(self._living(), transport._in_c())

    def open_editor(self, plugin: int = 0, title: str = "") -> None:
        lib.vesk_host_open_editor(self._living(), plugin, title.encode())

    def close_editors(self) -> None:
        lib.vesk_host_close_editors(self._living())

    def settle(self, timeout: float = 10) -> bool:
        """Waits until the host has taken every change and request; false when it has not."""
        return bool(lib.vesk_host_settle(self._living(), int(timeout * 1000)))

    @property
    def open_editors(self) -> set[int]:
        mask = lib.vesk_host_open_mask(self._living())
        return {plugin for plugin in range(32) if mask >> plugin & 1}

    @property
    def health(self) -> Health:
        return Health(lib.vesk_host_diagnose(self._living()))

    def _text_of(self, function) -> str:
        size = function(self._living(), None, 0) + 1
        text = c.create_string_buffer(size)
        function(self._living(), text, size)
        return text.value.decode(errors="replace")

    @property
    def obituary(self) -> str:
        """One sentence on how the host ended; empty while it lives."""
        return self._text_of(lib.vesk_host_obituary)

    @property
    def lines(self) -> list[str]:
        """The last lines that the host and its plugins wrote."""
        return (self._text_of(lib.vesk_host_last_lines) +
                self._text_of(lib.vesk_host_plugin_lines)).splitlines()

    def _figures(self) -> _library.Figures:
        figures = _library.Figures(c.sizeof(_library.Figures))
        lib.vesk_host_get_figures(self._living(), figures)
        return figures

    @property
    def latency(self) -> float:
        """Of the whole chain, in seconds."""
        return self._figures().latency_seconds

    @property
    def pid(self) -> int:
        return self._figures().pid


class HostGroup(_Owner):
    """Hosts that render the same frames side by side, on as many processors as there are.

    The group keeps its hosts alive; close them after it.
    """

    _free, _what = lib.vesk_group_free, "group"

    def __init__(self, hosts: Iterable[Host]) -> None:
        self._handle = lib.vesk_group_create()
        self.hosts = list(hosts)
        for host in self.hosts:
            lib.vesk_group_add(self._handle, host._living())

    def set_transport(self, transport: Transport) -> None:
        lib.vesk_group_set_transport(self._living(), transport._in_c())

    def render(self, frames: int, *, events: Sequence[Iterable[Event]] = (),
               timeout: float = 10) -> list[Optional[Samples]]:
        """An array for each host as from `Host.render`, None for one that has died.

        `events` has those of each host, in the order of the hosts.
        """
        ordered = [_sorted_events(each, frames) for each in events]
        ordered += [[]] * (len(self.hosts) - len(ordered))
        results: list[Optional[Samples]] = [np.empty((2, frames), np.float32) for _ in self.hosts]
        period = min(host.period for host in self.hosts)
        for start in range(0, frames, period):
            length = min(period, frames - start)
            kept = []  # the group reads events until it has sent them
            for member, each in enumerate(ordered):
                due = [event for event in each if start <= event[0] < start + length]
                if len(due) > _MOST_EVENTS:
                    raise ValueError(f"a period of a group holds {_MOST_EVENTS} events")
                kept.append(_events_in_c(due, start))
                lib.vesk_group_set_events(self._living(), member, kept[-1], len(due))
            lib.vesk_group_render(self._living(), length, float(self.hosts[0]._time),
                                  int(timeout * 1e9))
            for member, host in enumerate(self.hosts):
                answer = lib.vesk_group_answer(self._living(), member)
                samples = results[member]
                host._time += length
                if answer == _HOST_GONE or samples is None:
                    results[member] = None
                    continue
                host._check(answer)
                for channel, row in zip(host._outputs, samples):
                    row[start:start + length] = channel[:length]
        return results
