#pragma once

/* Scheduling policies of threads, for `thread_policy_set`. */

#include <mach/mach_types.h>

typedef natural_t thread_policy_flavor_t;
typedef integer_t* thread_policy_t;

/// Ordinary scheduling; no data.
#define THREAD_STANDARD_POLICY 1

/// Real-time scheduling. All times are in `mach_absolute_time` ticks, here nanoseconds.
#define THREAD_TIME_CONSTRAINT_POLICY 2

struct thread_time_constraint_policy {
  uint32_t period;      /* from one start of work to the next; 0 is none */
  uint32_t computation; /* processor time needed in it, 50 us to 50 ms */
  uint32_t constraint;  /* within which it must be had, at least `computation` */
  boolean_t preemptible;
};
typedef struct thread_time_constraint_policy thread_time_constraint_policy_data_t;
#define THREAD_TIME_CONSTRAINT_POLICY_COUNT \
  ((mach_msg_type_number_t)(sizeof(thread_time_constraint_policy_data_t) / sizeof(integer_t)))
