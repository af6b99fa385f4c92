#ifndef VESK_SOAK_COUNTS_H
#define VESK_SOAK_COUNTS_H

#include <stdint.h>

/* What the watch writes into the file that VESK_SOAK_COUNTS names, and vesk-soak reads. Only the
 * host's render thread writes, while it is in a plugin; what it wrote is visible with the period's
 * answer. */

enum SoakCallKind { soak_memory, soak_lock, soak_file, soak_wait, soak_call_kinds };
enum { soak_call_frames = 16, soak_call_name_bytes = 32 };

typedef struct SoakCalls {
  uint64_t count;
  /* The first one: its name, and the return addresses that lead to it, the nearest first. */
  char name[soak_call_name_bytes];
  uint64_t frame_count;
  uint64_t frames[soak_call_frames];
} SoakCalls;

typedef struct SoakCounts {
  uint64_t is_watched; /* 1: the host's render thread can be told from its others */
  SoakCalls calls[soak_call_kinds];
} SoakCounts;

#endif
