#pragma once

/* What a parent program and its plugin host tell each other beside the block: who the parent is,
 * how it renders, where each period stands in the song, and when the host begins to listen.
 *
 * A memfd of exactly `sizeof(VeskParentRecord)` bytes, zero but for what the parent has written,
 * sealed against shrinking and growing (F_SEAL_SHRINK | F_SEAL_GROW; not against writing: both
 * sides write it), given to the host as descriptor VESK_PARENT_DESCRIPTOR without the
 * close-on-exec flag. One record serves one host. A parent need not share one; a record that is
 * damaged (another version or size) counts as none. */

#include <stdint.h>

enum {
  VESK_PARENT_MAGIC = 0x56505254, /* "VPRT" read as a big-endian number */
  VESK_PARENT_VERSION = 2,
  VESK_PARENT_DESCRIPTOR = 4,
  VESK_BELL_DESCRIPTOR = 5
};

enum { /* VeskParentRecord.flags */
       /* Periods follow one another as fast as they can, and a result must not depend on how fast
        * threads of a plugin are. */
       VESK_PARENT_OFFLINE = 1,
       /* The host has an eventfd, non-blocking, as descriptor VESK_BELL_DESCRIPTOR. The parent adds
        * 1 to it after it has written to `param_write`, `window_write`, `quit` or `open_mask`, and
        * wakes `render_request` after it has written to `quit`. An idle host then sleeps. */
       VESK_PARENT_RINGS = 2
};

enum {                           /* VeskTransport.flags */
       VESK_TRANSPORT_KNOWN = 1, /* the other fields say something */
       VESK_TRANSPORT_PLAYING = 2,
       VESK_TRANSPORT_CHANGED = 4, /* began or stopped to play or to loop since the period before */
       VESK_TRANSPORT_LOOPING = 8  /* between loop_start and loop_end */
};

/* Where a period's first frame stands in the song. Beats are quarter notes. A field that makes no
 * sense (not finite, a tempo or a meter of 0) is not handed on to plugins. */
typedef struct VeskTransport {
  uint32_t flags;
  uint32_t beat_unit;   /* the lower number of the time signature */
  double beats_per_bar; /* the upper one */
  double tempo;         /* beats a minute */
  double beat;          /* position since the start of the song */
  double bar_start;     /* beat at which the bar began */
  double sample;        /* the same position in frames */
  double loop_start;    /* beats */
  double loop_end;
} VeskTransport;

typedef struct VeskParentRecord {
  uint32_t magic;   /* VESK_PARENT_MAGIC */
  uint32_t version; /* VESK_PARENT_VERSION */

  /* The parent's process id (getpid). A host whose getppid() differs has lost its parent. */
  int32_t parent;

  uint32_t flags; /* VESK_PARENT_..., written before the host starts */

  /* In Hz, as on the host's command line. */
  double sample_rate;

  /* 1 once the host has found the record, before it reports that it is ready; from then on it
   * will also set `render_thread`. Host writes. */
  uint32_t attached;

  /* The thread id of the host's render thread, stored (release) and woken when every request that
   * is made from then on will be answered. 0 until then. Host writes. */
  uint32_t render_thread;

  /* Of the period that is asked for: belongs to the parent until it stores `render_request`, to
   * the host until that stores `render_done`. */
  VeskTransport transport;
} VeskParentRecord;

#ifdef __cplusplus
static_assert(sizeof(VeskParentRecord) == 96, "the record is a wire format");
#else
_Static_assert(sizeof(VeskParentRecord) == 96, "the record is a wire format");
#endif
