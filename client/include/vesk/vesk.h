#pragma once

/* The parent's side in C11: start plugin hosts, drive them period by period, see them die.
 *
 * Linked as libvesk (pkg-config vesk, CMake target vesk::vesk). Every call does what the one of the
 * same name in vesk/host_process.hpp, vesk/host_group.hpp and vesk/plugin_names.hpp does.
 *
 * Threads. "Control": any thread but the audio thread; calls are serialised inside. "Driving": one
 * thread at a time for each host or group; real-time safe: no allocation, no lock, and no wait but
 * for the answer, with a limit. "Either": any thread, real-time safe.
 *
 * Structs that a later version may lengthen begin with `struct_size`, which the caller sets:
 *   vesk_options options = {.struct_size = sizeof options};
 * What the caller's struct does not have is taken as 0, and 0 is the usual value of every member.
 *
 * Sentences are UTF-8, one line, and go into the caller's buffer, cut to fit and always ended by a
 * NUL; the buffer may be NULL with size 0. Nothing here ends the calling process or touches its
 * signal handlers. */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The library's version, "1.2.3". */
const char* vesk_version(void);

/* ---- What a host is started with ---- */

typedef enum vesk_mode {
  VESK_REAL_TIME = 0, /* periods come at a steady pace; the host asks for a real-time policy */
  VESK_OFFLINE = 1,   /* periods follow one another as fast as they can; plugins are told */
} vesk_mode;

typedef struct vesk_options {
  size_t struct_size;
  const char* chain;      /* elements separated by '|' */
  double sample_rate_hz;  /* 8,000 to 384,000; 0: 48,000 */
  uint32_t max_frames;    /* the largest period, 1 to 4096; 0: 4096 */
  uint32_t period_frames; /* the usual period, 1 to max_frames; 0: 128, or max_frames if less */
  vesk_mode mode;
  bool unpinned;               /* real time: do not keep the host on the driving thread's CPU */
  bool inherit_standard_error; /* leave it to the host instead of keeping its last lines */
  int32_t driver_priority;     /* SCHED_FIFO priority of the driving thread; 0: the caller's */
  uint32_t workgroup_port;     /* macOS: the port of the parent's audio workgroup; 0: none */
  const char* host_program;    /* path of vesk-host; NULL: VESK_HOST, beside this program, PATH */
  const char* const* environment; /* "NAME=value" entries beyond the caller's, ended by NULL */
  uint32_t start_limit_ms;        /* 0: 61 s for each plugin */
  uint32_t stop_limit_ms;         /* 0: 2 s, and what open editors need */
  uint32_t hang_limit_ms;         /* 0: a hundred periods, at least half a second (offline 5 s) */
} vesk_options;

/* ---- Plugins by their names ---- */

typedef struct vesk_named_chain {
  size_t struct_size;
  /* Elements separated by '|': specification texts as `vesk_options.chain` has them, plugins' names
   * ("MDA ePiano") or LV2 URIs, with parameters by number, symbol or name behind '#' and a preset
   * file behind '@'. */
  const char* text;
  const char* const* settings; /* further "PARAMETER=VALUE", "N:PARAMETER=VALUE"; ended by NULL */
  const char* list_program;    /* path of vesk-list; NULL: beside vesk-host, this program, PATH */
  uint32_t limit_ms;           /* 0: ten minutes, for the first look at a machine */
} vesk_named_chain;

/* Control. Puts a chain into specification texts, for `vesk_options.chain` or to be kept. Returns
 * their length, however much of it fitted, and 0 with a sentence in `error`: nothing is called so,
 * more than one thing is, a plugin is not hosted. What is a specification text already comes back
 * at once; otherwise vesk-list is run, some 20 ms for names, and for parameters by name the start
 * of the plugin besides. No plugin is loaded into this process. */
size_t vesk_specification_of(const vesk_named_chain* chain, char* text, size_t text_size,
                             char* error, size_t error_size);

/* ---- One host ---- */

typedef struct vesk_host vesk_host;

/* Control. Starts a host and waits until it listens. NULL with a sentence in `error`. */
vesk_host* vesk_host_start(const vesk_options* options, char* error, size_t error_size);
/* Control. Starts a host and returns at once: to load many side by side, spawn all of them, then
 * wait for each. */
vesk_host* vesk_host_spawn(const vesk_options* options, char* error, size_t error_size);
/* Control. False, with a sentence, when it will never listen. */
bool vesk_host_wait_ready(vesk_host* host, char* error, size_t error_size);

typedef struct vesk_ending {
  size_t struct_size;
  bool known;   /* false: still running, or the status went to another waiter */
  bool killed;  /* by this library, after a limit had passed */
  bool asked;   /* after it had been told to stop */
  bool orderly; /* as it was asked to, with status 0 */
  int32_t status;
  int32_t signal; /* that ended it, or 0 */
} vesk_ending;

/* Control, while nobody drives the host. Asks it to finish, waits, kills it after the limit; state
 * of open editors is saved. `ending` may be NULL. Later calls say the same. */
void vesk_host_stop(vesk_host* host, vesk_ending* ending);
/* Control, while nobody drives the host. Ends a hung one at once; its obituary then names the
 * plugin where the system can tell. */
void vesk_host_end_hung(vesk_host* host, vesk_ending* ending);
/* Control, while nobody drives the host and no group holds it. Stops it first. NULL is no host. */
void vesk_host_free(vesk_host* host);

/* Control. Takes effect some 10 ms later; the last value of a parameter wins, nothing is lost. */
void vesk_host_set_parameter(vesk_host* host, uint32_t plugin, uint32_t id, float value);
/* Control. Shows the editor of a plugin of the chain, or brings it to the front. */
void vesk_host_open_editor(vesk_host* host, uint32_t plugin, const char* title);
void vesk_host_close_editors(vesk_host* host);
/* Control. Waits until the host has taken all changes and requests. False after the limit, or when
 * the host has ended. */
bool vesk_host_settle(vesk_host* host, uint32_t limit_ms);
/* Control. Bit i: the editor of plugin i is on screen. */
uint32_t vesk_host_open_mask(vesk_host* host);
/* Control. The next plugin whose preset file was rewritten, -1 when there is none. */
int32_t vesk_host_next_saved(vesk_host* host);

typedef enum vesk_health {
  VESK_STARTING = 0,
  VESK_READY = 1,
  VESK_SLOW = 2,
  VESK_HUNG_BLOCKED = 3,
  VESK_HUNG_SPINNING = 4,
  VESK_DEAD = 5,
} vesk_health;

/* Control. Looks at a host without an answer for 20 ms. */
vesk_health vesk_host_diagnose(vesk_host* host);
/* Control. One sentence on how the host ended or failed; empty while it lives. Returns its length,
 * however much of it fitted. */
size_t vesk_host_obituary(vesk_host* host, char* text, size_t text_size);
/* Control. The host's own last lines (at most 32) and those of its plugins, each ended by a
 * newline. Return their length, however much of it fitted. */
size_t vesk_host_last_lines(vesk_host* host, char* text, size_t text_size);
size_t vesk_host_plugin_lines(vesk_host* host, char* text, size_t text_size);
/* Control. How it ended; `known` is false while it runs. */
void vesk_host_get_ending(vesk_host* host, vesk_ending* ending);

typedef struct vesk_figures {
  size_t struct_size;
  int32_t pid; /* for reading about it, not for signals */
  double latency_seconds;
  double instantiate_ms, initialize_ms, restore_ms; /* sums over its plugins */
  double ready_ms, listening_ms;                    /* since it was started */
  uint64_t cpu_run_ns, cpu_wait_ns;                 /* of all its threads */
} vesk_figures;

/* Control. */
void vesk_host_get_figures(vesk_host* host, vesk_figures* figures);

/* ---- Periods ---- */

typedef struct vesk_midi_event {
  uint8_t status, data1, data2, reserved;
  uint32_t offset; /* frame within the period */
} vesk_midi_event;

typedef enum vesk_answer {
  VESK_ANSWERED = 0,
  VESK_TIMED_OUT = 1, /* sent; collect it later */
  VESK_NOT_SENT = 2,  /* an earlier period is unanswered; keep the events */
  VESK_HOST_GONE = 3,
  VESK_REFUSED = 4, /* more frames or events than a period holds, or the host is not ready */
} vesk_answer;

typedef struct vesk_transport {
  size_t struct_size;
  double tempo;         /* beats (quarter notes) a minute */
  double beat;          /* position since the start of the song */
  double frame;         /* the same position in frames */
  double bar_start;     /* beat at which the present bar began */
  double beats_per_bar; /* upper number of the time signature */
  uint32_t beat_unit;   /* lower number */
  bool playing, looping;
  double loop_start, loop_end; /* beats */
} vesk_transport;

/* Driving. `max_frames` samples of channel 0 (left) or 1 (right), NULL for another. Input is
 * written before a period is sent; output holds from its answer until the next one is sent. */
float* vesk_host_input(vesk_host* host, uint32_t channel);
const float* vesk_host_output(const vesk_host* host, uint32_t channel);
/* Driving. Where the next period stands in the song; holds until the next call. */
void vesk_host_set_transport(vesk_host* host, const vesk_transport* transport);
/* Driving. Sends a period of `frames` at `sample_time` of the parent's timeline with at most 128
 * events in order, and waits for its answer, at most `limit_ns`. */
vesk_answer vesk_host_render(vesk_host* host, uint32_t frames, double sample_time,
                             const vesk_midi_event* events, size_t event_count, int64_t limit_ns);
/* Driving. The two halves of it: `VESK_ANSWERED` of the first means sent. */
vesk_answer vesk_host_request(vesk_host* host, uint32_t frames, double sample_time,
                              const vesk_midi_event* events, size_t event_count);
vesk_answer vesk_host_collect(vesk_host* host, int64_t limit_ns);
/* Driving. A period has been sent and not been collected. */
bool vesk_host_is_pending(const vesk_host* host);
/* Either. */
bool vesk_host_has_ended(const vesk_host* host);

typedef struct vesk_answer_times {
  size_t struct_size;
  uint32_t periods;
  float last_us, recent_us, longest_us;
} vesk_answer_times;

/* Either. */
void vesk_host_get_answer_times(const vesk_host* host, vesk_answer_times* times);

/* ---- Many hosts that render the same period side by side ---- */

typedef struct vesk_group vesk_group;

/* Control, while nobody drives the group. A group does not own its hosts; `add` returns false when
 * there is no memory. */
vesk_group* vesk_group_create(void);
void vesk_group_free(vesk_group* group);
bool vesk_group_add(vesk_group* group, vesk_host* host);
void vesk_group_remove(vesk_group* group, vesk_host* host);

/* Driving. Members are numbered in the order in which they were added. Events are those of the next
 * period, and stay the caller's memory until it is sent. */
size_t vesk_group_size(const vesk_group* group);
void vesk_group_set_events(vesk_group* group, size_t member, const vesk_midi_event* events,
                           size_t event_count);
void vesk_group_set_transport(vesk_group* group, const vesk_transport* transport);
/* Driving. `VESK_ANSWERED` when every member has answered, otherwise the first other answer. */
vesk_answer vesk_group_render(vesk_group* group, uint32_t frames, double sample_time,
                              int64_t limit_ns);
vesk_answer vesk_group_request(vesk_group* group, uint32_t frames, double sample_time);
vesk_answer vesk_group_collect(vesk_group* group, int64_t limit_ns);
/* Driving. What became of a member's period in the last call. */
vesk_answer vesk_group_answer(const vesk_group* group, size_t member);

#ifdef __cplusplus
}
#endif
