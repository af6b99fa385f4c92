"""libvesk as ctypes sees it; vesk/vesk.h says what everything means."""

from __future__ import annotations

import ctypes as c
import ctypes.util
import os
import pathlib

_name = "libvesk.so.0" if os.uname().sysname != "Darwin" else "libvesk.0.dylib"


class Options(c.Structure):
    _fields_ = [
        ("struct_size", c.c_size_t), ("chain", c.c_char_p), ("sample_rate_hz", c.c_double),
        ("max_frames", c.c_uint32), ("period_frames", c.c_uint32), ("mode", c.c_int),
        ("unpinned", c.c_bool), ("inherit_standard_error", c.c_bool),
        ("driver_priority", c.c_int32), ("workgroup_port", c.c_uint32),
        ("host_program", c.c_char_p), ("environment", c.POINTER(c.c_char_p)),
        ("start_limit_ms", c.c_uint32), ("stop_limit_ms", c.c_uint32),
        ("hang_limit_ms", c.c_uint32),
    ]


class NamedChain(c.Structure):
    _fields_ = [("struct_size", c.c_size_t), ("text", c.c_char_p),
                ("settings", c.POINTER(c.c_char_p)), ("list_program", c.c_char_p),
                ("limit_ms", c.c_uint32)]


class MidiEvent(c.Structure):
    _fields_ = [("status", c.c_uint8), ("data1", c.c_uint8), ("data2", c.c_uint8),
                ("reserved", c.c_uint8), ("offset", c.c_uint32)]


class Transport(c.Structure):
    _fields_ = [
        ("struct_size", c.c_size_t), ("tempo", c.c_double), ("beat", c.c_double),
        ("frame", c.c_double), ("bar_start", c.c_double), ("beats_per_bar", c.c_double),
        ("beat_unit", c.c_uint32), ("playing", c.c_bool), ("looping", c.c_bool),
        ("loop_start", c.c_double), ("loop_end", c.c_double),
    ]


class Figures(c.Structure):
    _fields_ = [
        ("struct_size", c.c_size_t), ("pid", c.c_int32), ("latency_seconds", c.c_double),
        ("instantiate_ms", c.c_double), ("initialize_ms", c.c_double), ("restore_ms", c.c_double),
        ("ready_ms", c.c_double), ("listening_ms", c.c_double), ("cpu_run_ns", c.c_uint64),
        ("cpu_wait_ns", c.c_uint64),
    ]


def _open() -> tuple[c.CDLL, pathlib.Path]:
    """The library and the folder that it lies in."""
    here = pathlib.Path(__file__).resolve().parent
    places = [os.environ.get("VESK_LIBRARY"), str(here / _name), _name,
              ctypes.util.find_library("vesk"), "/usr/local/lib/" + _name,
              os.path.expanduser("~/.local/lib/" + _name)]
    for place in filter(None, places):
        try:
            library = c.CDLL(place)
        except OSError:
            continue
        return library, _folder_of(library, place)
    raise ImportError(f"{_name} is not found; set VESK_LIBRARY to its path")


def _folder_of(library: c.CDLL, place: str) -> pathlib.Path:
    class Info(c.Structure):
        _fields_ = [("path", c.c_char_p), ("base", c.c_void_p), ("symbol", c.c_char_p),
                    ("address", c.c_void_p)]

    info = Info()
    dladdr = c.CDLL(None).dladdr
    dladdr.argtypes = [c.c_void_p, c.POINTER(Info)]
    if dladdr(c.cast(library.vesk_version, c.c_void_p), c.byref(info)) and info.path:
        place = os.fsdecode(info.path)
    return pathlib.Path(place).resolve().parent


_handle = c.c_void_p
_floats = c.POINTER(c.c_float)
_events = c.POINTER(MidiEvent)
_text = (c.c_char_p, c.c_size_t)
_period = (c.c_uint32, c.c_double)

lib, folder = _open()
for _function, _result, _arguments in (
    ("version", c.c_char_p, ()),
    ("specification_of", c.c_size_t, (c.POINTER(NamedChain), *_text, *_text)),
    ("host_start", _handle, (c.POINTER(Options), *_text)),
    ("host_spawn", _handle, (c.POINTER(Options), *_text)),
    ("host_wait_ready", c.c_bool, (_handle, *_text)),
    ("host_stop", None, (_handle, c.c_void_p)),
    ("host_free", None, (_handle,)),
    ("host_set_parameter", None, (_handle, c.c_uint32, c.c_uint32, c.c_float)),
    ("host_open_editor", None, (_handle, c.c_uint32, c.c_char_p)),
    ("host_close_editors", None, (_handle,)),
    ("host_settle", c.c_bool, (_handle, c.c_uint32)),
    ("host_open_mask", c.c_uint32, (_handle,)),
    ("host_diagnose", c.c_int, (_handle,)),
    ("host_obituary", c.c_size_t, (_handle, *_text)),
    ("host_last_lines", c.c_size_t, (_handle, *_text)),
    ("host_plugin_lines", c.c_size_t, (_handle, *_text)),
    ("host_get_figures", None, (_handle, c.POINTER(Figures))),
    ("host_input", _floats, (_handle, c.c_uint32)),
    ("host_output", _floats, (_handle, c.c_uint32)),
    ("host_set_transport", None, (_handle, c.POINTER(Transport))),
    ("host_render", c.c_int, (_handle, *_period, _events, c.c_size_t, c.c_int64)),
    ("host_has_ended", c.c_bool, (_handle,)),
    ("group_create", _handle, ()),
    ("group_free", None, (_handle,)),
    ("group_add", c.c_bool, (_handle, _handle)),
    ("group_set_events", None, (_handle, c.c_size_t, _events, c.c_size_t)),
    ("group_set_transport", None, (_handle, c.POINTER(Transport))),
    ("group_render", c.c_int, (_handle, *_period, c.c_int64)),
    ("group_answer", c.c_int, (_handle, c.c_size_t)),
):
    _call = getattr(lib, "vesk_" + _function)
    _call.restype = _result
    _call.argtypes = _arguments

VERSION: str = lib.vesk_version().decode()


def program(name: str) -> str:
    """The path of one of vesk's programs: beside the library's folder, else where the shell looks."""
    for place in (folder / name, folder.parent / "bin" / name, folder.parent.parent / "bin" / name):
        if place.is_file():
            return str(place)
    return name
