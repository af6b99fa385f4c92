#pragma once

/* What the command tell-song writes into the left channel; beats as whole and rest, since a float
 * holds seven digits. Offline is 1 or 0; the rest is -1 where the host has no answer. */
enum SongWord {
  kSongOffline,
  kSongTempo,
  kSongBeat,
  kSongBeatRest,
  kSongBarStart,
  kSongBeatsPerBar,
  kSongBeatUnit,
  kSongFramesToBeat,
  kSongPlaying,
  kSongChanged,
  kSongSample,
  kSongLooping,
  kSongLoopStart,
  kSongLoopEnd,
  kSongWords
};
