#pragma once

/* The workgroup that a parent program shares with its plugin hosts.
 *
 * A memfd of exactly `sizeof(VeskWorkgroupRecord)` bytes, sealed against shrinking and growing
 * (F_SEAL_SHRINK | F_SEAL_GROW; not against writing: both sides write it), given to the host as
 * descriptor VESK_WORKGROUP_DESCRIPTOR without the close-on-exec flag. One record may serve one
 * host or many. A record with the right magic that is damaged otherwise (another version or size,
 * a CPU set without a usable CPU) makes the join fail, and the host renders outside the group.
 *
 * `cpus` and `members` may change while hosts run: read and write them word by word with atomic
 * operations. To move its hosts the parent first stores `cpus`, then reads `members` and calls
 * `sched_setaffinity` for each thread there. A member enters itself first and reads `cpus` after
 * that, so a thread that joins meanwhile is moved by one of the two. For this to hold, what each
 * side writes must come before what it then reads: the operations are sequentially consistent, or
 * a fence of that order stands between them. */

#include <stdint.h>

enum {
  VESK_WORKGROUP_MAGIC = 0x56575247, /* "VWRG" read as a big-endian number */
  VESK_WORKGROUP_VERSION = 1,
  VESK_WORKGROUP_DESCRIPTOR = 3,
  VESK_WORKGROUP_CPU_WORDS = 16, /* 1024 CPUs, as glibc's cpu_set_t */
  VESK_WORKGROUP_MEMBERS = 64
};

typedef struct VeskWorkgroupRecord {
  uint32_t magic;   /* VESK_WORKGROUP_MAGIC */
  uint32_t version; /* VESK_WORKGROUP_VERSION */

  /* The parent's process id (getpid). A host whose getppid() differs has lost its parent. */
  int32_t parent;

  /* SCHED_FIFO or SCHED_RR priority of the thread that drives the host, 1..99; a member's own
   * priority stays below it. 0: the driving thread has ordinary scheduling, no bound. */
  int32_t driver_priority;

  /* Where members run: bit c % 64 of word c / 64 is CPU c, the layout of cpu_set_t. At least one
   * bit must name a CPU that the host may use. Parent writes, members read when they join. */
  uint64_t cpus[VESK_WORKGROUP_CPU_WORDS];

  /* The threads inside: process id in the upper half, thread id in the lower; 0 is a free slot.
   * A member takes a slot by compare-and-exchange from 0 when it joins and stores 0 when it
   * leaves. The parent frees the slots of a host that died inside. */
  uint64_t members[VESK_WORKGROUP_MEMBERS];
} VeskWorkgroupRecord;

#ifdef __cplusplus
static_assert(sizeof(VeskWorkgroupRecord) == 656, "the record is a wire format");
#else
_Static_assert(sizeof(VeskWorkgroupRecord) == 656, "the record is a wire format");
#endif
