#!/usr/bin/env bash
# Plays the bundled song through an electric piano, a delay and a reverb, each period of it rendered
# in a vesk-host process of its own: demo.wav and demo.png; then through a sampler instrument that is
# made here first: demo-sampler.wav and demo-sampler.png. Installs and builds what is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

echo "Installing what is missing, building vesk-host and vesk-render, and playing a song"
scripts/build.sh demo vesk-host vesk-render vesk-parameters vesk_lv2 vesk-lv2-scan vesk_sampler \
  felt_piano

piano='aumu:Sm48:LV2_#4=0.6,5=0.55,6=0.8'  # mda ePiano, a gentle tremolo, a wide touch
delay='aufx:jvLs:LV2_#0=0.856,2=0.3,4=0.2'    # mda Delay, a dotted eighth at 90 beats a minute
room='aufx:kZu9:LV2_#0=0.8,2=0.4'             # mda Ambience
chain="$piano|$delay|$room"

echo "Playing songs/demo.mid through mda ePiano, Delay and Ambience in a vesk-host process:"
build/release/bin/vesk-render "$chain" --midi songs/demo.mid -o demo.wav --plot demo.png

# A chain takes the instrument's file by its path; its samples are beside it.
build/release/songs/felt_piano build/release/songs/instrument
chain="exs:build/release/songs/instrument/felt piano.exs|$room"

echo "Playing it through build/release/songs/instrument/felt piano.exs, made of $(
  find build/release/songs/instrument/Samples -type f | wc -l) samples:"
build/release/bin/vesk-render "$chain" --midi songs/demo.mid \
  -o demo-sampler.wav --plot demo-sampler.png
