/* Preloaded into a host: counts what a plugin calls within a period that may keep its thread
 * waiting. Anything else passes through unseen: other threads, and the render thread outside of
 * plugins. The host says whether a plugin runs, by the phase that its crash line would name. */

#define _GNU_SOURCE /* RTLD_NEXT */
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "tools/soak/watch/counts.h"

#define SEEN __attribute__((visibility("default")))

/* Absent from programs that a plugin starts. */
extern const char* vesk_plugin_phase(void) __attribute__((weak));

/* NOLINTBEGIN(readability-identifier-naming): glibc's names. */
/* glibc's own allocator under names that nobody replaces: a search for the next one allocates. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* memory, size_t size);
extern void __libc_free(void* memory);
extern void* __libc_memalign(size_t alignment, size_t size);
/* NOLINTEND(readability-identifier-naming) */

static SoakCounts* counts;
static __thread int is_noting __attribute__((tls_model("initial-exec")));

static int is_in_period(void) {
  const char* const phase = counts ? vesk_plugin_phase() : NULL;
  return phase && (strcmp(phase, "render") == 0 || strcmp(phase, "midi") == 0);
}

static void note(enum SoakCallKind kind, const char* name) {
  if (!is_in_period() || is_noting) return;
  is_noting = 1;
  SoakCalls* const calls = &counts->calls[kind];
  if (calls->count++ == 0) {
    void* frames[soak_call_frames];
    const int count = backtrace(frames, soak_call_frames);
    for (int i = 0; i < count; ++i) calls->frames[i] = (uint64_t)(uintptr_t)frames[i];
    calls->frame_count = (uint64_t)count;
    strncpy(calls->name, name, soak_call_name_bytes - 1);
  }
  is_noting = 0;
}

__attribute__((constructor)) static void begin(void) {
  const char* const path = getenv("VESK_SOAK_COUNTS");
  if (!path || !vesk_plugin_phase) return;
  const int file = open(path, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  void* const memory = mmap(NULL, sizeof(SoakCounts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (memory == MAP_FAILED) return;
  /* Its first call loads a library. */
  void* frame;
  backtrace(&frame, 1);
  counts = memory;
  counts->is_watched = 1;
}

SEEN void* malloc(size_t size) {
  note(soak_memory, "malloc");
  return __libc_malloc(size);
}
SEEN void* calloc(size_t count, size_t size) {
  note(soak_memory, "calloc");
  return __libc_calloc(count, size);
}
SEEN void* realloc(void* memory, size_t size) {
  note(soak_memory, "realloc");
  return __libc_realloc(memory, size);
}
SEEN void free(void* memory) {
  if (memory) note(soak_memory, "free");
  __libc_free(memory);
}
SEEN void* aligned_alloc(size_t alignment, size_t size) {
  note(soak_memory, "aligned_alloc");
  return __libc_memalign(alignment, size);
}
SEEN void* memalign(size_t alignment, size_t size) {
  note(soak_memory, "memalign");
  return __libc_memalign(alignment, size);
}

#define WATCH(kind, result, name, parameters, arguments)   \
  SEEN result name parameters {                            \
    static result(*real) parameters;                       \
    if (!real) *(void**)(&real) = dlsym(RTLD_NEXT, #name); \
    note(kind, #name);                                     \
    return real arguments;                                 \
  }

WATCH(soak_memory, int, posix_memalign, (void** memory, size_t alignment, size_t size),
      (memory, alignment, size))

WATCH(soak_lock, int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
WATCH(soak_lock, int, pthread_rwlock_rdlock, (pthread_rwlock_t * lock), (lock))
WATCH(soak_lock, int, pthread_rwlock_wrlock, (pthread_rwlock_t * lock), (lock))

WATCH(soak_wait, int, pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex),
      (condition, mutex))
WATCH(soak_wait, int, pthread_cond_timedwait,
      (pthread_cond_t * condition, pthread_mutex_t* mutex, const struct timespec* limit),
      (condition, mutex, limit))
WATCH(soak_wait, int, pthread_join, (pthread_t thread, void** result), (thread, result))
WATCH(soak_wait, int, sem_wait, (sem_t * semaphore), (semaphore))
WATCH(soak_wait, int, usleep, (useconds_t time), (time))
WATCH(soak_wait, int, nanosleep, (const struct timespec* time, struct timespec* rest), (time, rest))
WATCH(soak_wait, int, clock_nanosleep,
      (clockid_t clock, int flags, const struct timespec* time, struct timespec* rest),
      (clock, flags, time, rest))
WATCH(soak_wait, int, poll, (struct pollfd * ends, nfds_t count, int limit), (ends, count, limit))

WATCH(soak_file, FILE*, fopen, (const char* path, const char* mode), (path, mode))
WATCH(soak_file, FILE*, fopen64, (const char* path, const char* mode), (path, mode))
WATCH(soak_file, int, fclose, (FILE * file), (file))
WATCH(soak_file, size_t, fread, (void* bytes, size_t size, size_t count, FILE* file),
      (bytes, size, count, file))
WATCH(soak_file, size_t, fwrite, (const void* bytes, size_t size, size_t count, FILE* file),
      (bytes, size, count, file))
WATCH(soak_file, int, fputs, (const char* text, FILE* file), (text, file))
WATCH(soak_file, int, fputc, (int character, FILE* file), (character, file))
WATCH(soak_file, int, puts, (const char* text), (text))
WATCH(soak_file, int, putchar, (int character), (character))
WATCH(soak_file, ssize_t, read, (int file, void* bytes, size_t count), (file, bytes, count))
WATCH(soak_file, ssize_t, write, (int file, const void* bytes, size_t count), (file, bytes, count))
WATCH(soak_file, int, close, (int file), (file))
WATCH(soak_file, int, vprintf, (const char* format, va_list words), (format, words))
WATCH(soak_file, int, vfprintf, (FILE * file, const char* format, va_list words),
      (file, format, words))

static int print(const char* name, FILE* file, const char* format, va_list words) {
  note(soak_file, name);
  is_noting = 1; /* counted */
  const int printed = vfprintf(file, format, words);
  is_noting = 0;
  return printed;
}
SEEN int printf(const char* format, ...) {
  va_list words;
  va_start(words, format);
  const int printed = print("printf", stdout, format, words);
  va_end(words);
  return printed;
}
SEEN int fprintf(FILE* file, const char* format, ...) {
  va_list words;
  va_start(words, format);
  const int printed = print("fprintf", file, format, words);
  va_end(words);
  return printed;
}
/* NOLINTBEGIN(readability-identifier-naming): what fortified programs call instead. */
SEEN int __printf_chk(int flag, const char* format, ...) {
  (void)flag;
  va_list words;
  va_start(words, format);
  const int printed = print("printf", stdout, format, words);
  va_end(words);
  return printed;
}
SEEN int __fprintf_chk(FILE* file, int flag, const char* format, ...) {
  (void)flag;
  va_list words;
  va_start(words, format);
  const int printed = print("fprintf", file, format, words);
  va_end(words);
  return printed;
}
/* NOLINTEND(readability-identifier-naming) */

static int opened(const char* name, const char* path, int flags, mode_t mode) {
  note(soak_file, name);
  static int (*real)(int, const char*, int, ...);
  if (!real) *(void**)(&real) = dlsym(RTLD_NEXT, "openat");
  return real(AT_FDCWD, path, flags, mode);
}
SEEN int open(const char* path, int flags, ...) {
  va_list words;
  va_start(words, flags);
  const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(words, mode_t) : 0;
  va_end(words);
  return opened("open", path, flags, mode);
}
SEEN int open64(const char* path, int flags, ...) {
  va_list words;
  va_start(words, flags);
  const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(words, mode_t) : 0;
  va_end(words);
  return opened("open", path, flags, mode);
}
