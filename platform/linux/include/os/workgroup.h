#pragma once

/* Workgroups: threads of several processes that work towards one deadline.
 *
 * Here a workgroup stands on the record that a parent shares with its hosts
 * (vesk/workgroup_record.h): its members run on the record's CPUs and the parent knows them. */

#include <mach/port.h>
#include <os/base.h>
#include <os/object.h>
#include <stdint.h>

typedef struct os_workgroup_s* os_workgroup_t;

/// A membership; zero it before use and hand the same one to join and leave.
struct os_workgroup_join_token_opaque_s {
  uint32_t sig;
  char opaque[36];
};
typedef struct os_workgroup_join_token_opaque_s os_workgroup_join_token_s;
typedef struct os_workgroup_join_token_opaque_s* os_workgroup_join_token_t;

/// Makes a workgroup from a port that names one (`mach_ports_lookup`).
///
/// `name` may be NULL. The port's right is not consumed. Returns a new reference (`os_release`),
/// or NULL with `errno` EINVAL (not a workgroup's port), ENOMEM or EMFILE. A damaged record gives
/// a workgroup that nobody can join. Any thread; not real-time safe.
OS_EXPORT os_workgroup_t os_workgroup_create_with_port(const char* name, mach_port_t port);

/// Makes the calling thread a member: it runs on the group's CPUs until it leaves.
///
/// Works under any scheduling policy. Returns 0, or an errno value that `errno` holds too:
/// EALREADY (the thread is in a workgroup), EINVAL (the record is damaged or names no
/// CPU that this process may use), ENOSPC (VESK_WORKGROUP_MEMBERS threads are inside).
/// Threads that the member starts run where it ran before. Allocates nothing, takes no lock.
OS_EXPORT int os_workgroup_join(os_workgroup_t workgroup, os_workgroup_join_token_t token)
    __attribute__((warn_unused_result));

/// Ends the membership and restores the CPUs of the time before. With a token of another thread
/// or workgroup the process aborts. Call it before the thread ends. Allocates nothing.
OS_EXPORT void os_workgroup_leave(os_workgroup_t workgroup, os_workgroup_join_token_t token);
