#pragma once

// What turns the numbers of an instrument into gains and pitches.

#include "components/sampler/instrument/instrument.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

double gain_of_db(double db) noexcept VESK_REALTIME;

/// A controller for volume, 0..127, as MIDI practice has it: 40 log10(value / 127) dB.
double controller_gain(unsigned value) noexcept VESK_REALTIME;

/// The gain of a velocity of 1..127: along 40 log10(velocity / 127) dB, scaled so that it would
/// reach the level of the lowest velocity where -60 dB is meant, and never below that.
double velocity_gain(const Settings& settings, unsigned velocity) noexcept VESK_REALTIME;

/// How much of a zone sounds at a velocity: 1 in its range, fading over `velocity_crossfade` beyond
/// either end, 0 outside.
double crossfade_gain(const Settings& settings, KeyRange velocities,
                      unsigned velocity) noexcept VESK_REALTIME;

/// Position for mono samples, balance for stereo: both sides are full in the middle.
struct Balance {
  double left, right;
};
/// `pan` is -1..1, clamped.
Balance balance_of(double pan) noexcept VESK_REALTIME;

/// The cents that a modulation by an amount of -1..1 bends a note. It is curved, so that a small
/// amount can be set finely: 0.343 is about 59 cents, 0.52 a semitone, 1 an octave.
double pitch_depth_cents(double amount) noexcept VESK_REALTIME;

}  // namespace vesk::sampler
