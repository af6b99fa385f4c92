"""The package against a built vesk: VESK_LIBRARY names its library, VESK_SONG a MIDI file."""

import os
import pathlib
import re
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import vesk

TONE = "aumu:Tone:Vesk"  # a deterministic synthesizer; Gain multiplies by parameter 0
GAIN = "aufx:Gain:Vesk"
FILES = "Test Files"  # an LV2 plugin that plays a number out of a file, and nothing without one
NOTE = (0, 0x90, 69, 127)


def frequency(sound, rate=48000):
    spectrum = np.abs(np.fft.rfft(sound * np.hanning(len(sound))))
    return np.argmax(spectrum) * rate / len(sound)


def closed_group(host):
    with vesk.HostGroup([host]) as group:
        return group


def test_version_is_the_library_s():
    text = pathlib.Path(__file__).parents[1].joinpath("pyproject.toml").read_text()
    assert re.search(r'^version = "(.*)"', text, re.M).group(1) == vesk.__version__


def test_plays_notes_at_their_frames():
    with vesk.Host(TONE, offline=True) as host:
        sound = host.render(48000, events=[(1000, 0x90, 69, 127), (30000, 0x80, 69)])
        assert sound.shape == (2, 48000) and sound.dtype == np.float32
        assert np.flatnonzero(sound[0])[0] == 1000
        assert frequency(sound[0, 1000:29000]) == pytest.approx(440, abs=2)
        assert not sound[:, 31000:].any()


def test_many_events_and_any_period_give_the_same_sound():
    events = [(frame, 0x90 if i % 2 == 0 else 0x80, 60 + i % 12, 100)
              for i, frame in enumerate(sorted(np.random.default_rng(1).integers(0, 2000, 600)))]
    sounds = []
    for period in (64, 512, 2000):
        with vesk.Host(TONE, offline=True, period=period) as host:
            sounds.append(host.render(2000, events=events))
    assert np.array_equal(sounds[0], sounds[1]) and np.array_equal(sounds[0], sounds[2])


def test_effects_take_input():
    noise = np.random.default_rng(2).uniform(-1, 1, (2, 5000)).astype(np.float32)
    with vesk.Host(GAIN + "#0=0.5", offline=True) as host:
        assert np.array_equal(host.render(5000, input=noise), noise / 2)
        assert np.array_equal(host.render(5000, input=noise[0])[1], noise[0] / 2)
        host.set_parameter(0, 2.0)
        assert host.settle()
        assert np.array_equal(host.render(5000, input=noise), noise * 2)


@pytest.mark.parametrize("call, error", [
    (lambda host: host.render(10, events=[(10, 0x90, 1, 1)]), ValueError),
    (lambda host: host.render(10, events=[(-1, 0x90, 1, 1)]), ValueError),
    (lambda host: host.render(10, input=np.zeros((2, 9))), ValueError),
    (lambda host: host.render(10, input=np.zeros((3, 10))), ValueError),
    (lambda host: (host.close(), host.render(10)), vesk.HostError),
    (lambda host: closed_group(host).render(10), vesk.HostError),
])
def test_what_makes_no_sense_is_an_exception(call, error):
    with vesk.Host(TONE, offline=True) as host, pytest.raises(error):
        call(host)


@pytest.mark.filterwarnings("error")
def test_what_could_not_be_made_ends_quietly():
    for make in (lambda: vesk.Host(TONE, rate=48000), lambda: vesk.HostGroup()):
        with pytest.raises(TypeError):
            make()


def test_plugins_parameters_and_presets_are_found_by_name():
    assert vesk.specification_of("vesk: gain|GAIN", ["2:Gain=0.5"]) == GAIN + "|" + GAIN + "#0=0.5"
    long = "|".join([GAIN] * 400)  # and at once, being specifications
    assert vesk.specification_of(long) == long
    noise = np.random.default_rng(4).uniform(-1, 1, (2, 500)).astype(np.float32)
    with vesk.Host("Vesk: Gain#Gain=0.5", offline=True) as host:
        assert host.chain == GAIN + "#0=0.5"
        assert np.array_equal(host.render(500, input=noise), noise / 2)
    assert [each.name for each in vesk.presets(FILES)] == ["Half", "Own"]
    with vesk.Host(f"{FILES}#gain=4|gain#Gain=2", preset="Own", offline=True) as host:
        assert (host.render(100) == 1).all()  # the preset holds an eighth, and no gain
    assert (vesk.render(FILES, midi=os.environ["VESK_SONG"], preset="1:Own",
                        tail=0).samples[:, :100] == 0.125).all()


@pytest.mark.parametrize("call, said", [
    (lambda: vesk.specification_of("no such thing"), "no such thing"),
    (lambda: vesk.Host("no such thing"), "no such thing"),
    (lambda: vesk.Host(FILES, preset="Nix"), 'has no preset "Nix"'),
    (lambda: vesk.Host(FILES, preset="2:Own"), "has no plugin 2"),
    (lambda: vesk.presets("no such thing"), "no such thing"),
])
@pytest.mark.filterwarnings("error")
def test_what_is_called_otherwise_is_refused_in_words(call, said):
    with pytest.raises((vesk.HostError, vesk.ProgramError), match=said):
        call()


def test_a_chain_that_does_not_load_says_why():
    with pytest.raises(vesk.HostError, match="component not found: aumu:None:Here"):
        vesk.Host("aumu:None:Here")


def test_a_plugin_that_dies_raises_its_obituary():
    with vesk.Host("aumu:Bad_:Vesk#0=1", offline=True) as host:
        with pytest.raises(vesk.HostDied, match="aumu:Bad_:Vesk"):
            host.render(48000)
        assert host.health is vesk.Health.DEAD


def test_a_group_plays_on_when_one_of_it_dies():
    hosts = [vesk.Host(TONE, offline=True, wait=False) for _ in range(3)]
    for host in hosts:
        host.wait_ready()
    with vesk.HostGroup(hosts) as group:
        first = group.render(2000, events=[[NOTE]] * 3)
        os.kill(hosts[1].pid, signal.SIGKILL)
        while hosts[1].health is not vesk.Health.DEAD:
            time.sleep(0.01)
        second = group.render(2000)
    with vesk.Host(TONE, offline=True) as alone:
        expected = [alone.render(2000, events=[NOTE]), alone.render(2000)]
    assert all(np.array_equal(each, expected[0]) for each in first)
    assert second[1] is None
    assert np.array_equal(second[0], expected[1]) and np.array_equal(second[2], expected[1])


def test_waiting_lets_other_threads_run():
    with vesk.Host("aumu:Bad_:Vesk#5=300000", offline=True) as host:  # sleeps for so long
        turns = 0
        rendering = threading.Thread(target=lambda: host.render(512))
        rendering.start()
        while rendering.is_alive():
            turns += 1
            time.sleep(0.001)
        assert turns > 20


def test_programs_list_and_render(tmp_path):
    by_specification = {plugin.specification: plugin for plugin in vesk.plugins()}
    assert by_specification[GAIN].name == "Vesk: Gain"
    assert vesk.parameters(GAIN)[0].maximum == 4
    noise = np.random.default_rng(3).uniform(-1, 1, (2, 4800)).astype(np.float32)
    sound = vesk.render(GAIN + "#0=0.5", input=noise, tail=0)
    assert np.array_equal(sound.samples, noise / 2) and sound.sample_rate == 48000
    played = vesk.render(TONE, midi=os.environ["VESK_SONG"])
    assert played.samples.shape[1] == played.details["frames"] > 48000
    with pytest.raises(vesk.ProgramError, match="is not installed"):
        vesk.render("aufx:None:Here", input=noise)


@pytest.mark.parametrize("example, plugin, said", [
    ("patches.py", TONE, "6 rendered, 0 failed"),
    ("patches.py", "aumu:Bad_:Vesk", "0 rendered, 6 failed"),  # which random values crash
    ("patches_on_a_cluster.py", TONE, "6 rendered, 0 failed"),
])
def test_examples_render_a_data_set(tmp_path, example, plugin, said):
    if "cluster" in example:
        pytest.importorskip("dask.distributed")
    path = pathlib.Path(__file__).parents[1] / "examples" / example
    result = subprocess.run([sys.executable, path, plugin, tmp_path, "--count", "6"],
                            capture_output=True, text=True)
    assert result.stdout.splitlines()[0] == said, result.stderr
    assert len(list(tmp_path.glob("*.npy"))) == int(said[0])
