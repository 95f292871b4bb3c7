#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // NOLINT(bugprone-reserved-identifier): asks the C library for the program's name
#endif
#include "vantrel/buffers/TPCircularBuffer.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "vantrel/buffers/detail/TPCircularBufferSystem.h"

enum { kAttempts = 4 };

/* Why an attempt failed: a step with its line and the system's code, or that the mirror is out of place. */
typedef struct {
  const char* step; /* null when the mirror came to rest somewhere else */
  int line;
  int code;
} Failure;

static Failure failed(const char* step, int line) {
  const Failure failure = {step, line, errno};
  return failure;
}

/* Both halves of the reserved addresses show the object. False with the reason, nothing undone.
 *
 * The second half is never given back before the mirror is put there: mapping in place of the reservation
 * takes it over in one step, and no other thread's memory can get in between. */
static bool showTwice(const TPCircularBufferSystem* system, uint8_t* start, size_t length, int object,
                      Failure* failure) {
  /* The first half of the reservation is dropped for the memory itself. */
  if (system->mapObject(start, length, object) == MAP_FAILED) {
    *failure = failed("Buffer deallocation", __LINE__);
    return false;
  }
  void* mirror = system->mapObject(start + length, length, object);
  if (mirror == MAP_FAILED) {
    *failure = failed("Remap buffer memory", __LINE__);
    return false;
  }
  if (mirror != start + length) {
    system->unmap(mirror, length);
    *failure = failed(NULL, __LINE__);
    return false;
  }
  return true;
}

/* Addresses for the object and its mirror. Null with the reason, and then nothing is left behind. */
static uint8_t* mapTwice(const TPCircularBufferSystem* system, size_t length, int object, Failure* failure) {
  void* start = system->reserve(2 * length);
  if (start == MAP_FAILED) {
    *failure = failed("Buffer allocation", __LINE__);
    return NULL;
  }
  if (showTwice(system, start, length, object, failure)) return start;
  system->unmap(start, 2 * length);
  return NULL;
}

static uint8_t* attempt(const TPCircularBufferSystem* system, size_t length, Failure* failure) {
  const int object = system->makeObject(length);
  if (object < 0) {
    *failure = failed("Buffer allocation", __LINE__);
    return NULL;
  }
  uint8_t* start = mapTwice(system, length, object, failure);
  system->closeObject(object); /* the mappings keep the memory */
  return start;
}

static void print(const Failure* failure) {
  if (failure->step) {
    printf("%s:%d: %s: %s\n", "TPCircularBuffer.c", failure->line, failure->step, strerror(failure->code));
  } else {
    printf("Couldn't map buffer memory to end of buffer\n");
  }
}

bool TPCircularBufferInitOn(const TPCircularBufferSystem* system, TPCircularBuffer* buffer, int32_t length) {
  if (length <= 0) return false;
  const int64_t page = sysconf(_SC_PAGESIZE);
  const int64_t rounded = (length - 1 + page) & ~(page - 1);
  if (rounded > INT32_MAX) return false;
  buffer->length = (int32_t)rounded;

  Failure failure = {NULL, 0, 0};
  for (int i = 0; i < kAttempts; ++i) {
    uint8_t* start = attempt(system, (size_t)rounded, &failure);
    if (!start) continue;
    const TPCircularBuffer made = {.buffer = start, .length = (int32_t)rounded, .atomic = true};
    *buffer = made;
    return true;
  }
  print(&failure);
  return false;
}

bool _TPCircularBufferInit(TPCircularBuffer* buffer, int32_t length, size_t structSize) {
  if (length <= 0) return false;
  if (structSize != sizeof(TPCircularBuffer)) {
    fprintf(stderr,
            "TPCircularBuffer: Header version mismatch. "
            "Check for old versions of TPCircularBuffer in your project\n");
    abort();
  }
  return TPCircularBufferInitOn(&TPCircularBufferLinux, buffer, length);
}

void TPCircularBufferCleanup(TPCircularBuffer* buffer) {
  if (buffer->buffer) munmap(buffer->buffer, 2 * (size_t)buffer->length);
  const TPCircularBuffer zeroed = {0};
  *buffer = zeroed;
}

void TPCircularBufferClear(TPCircularBuffer* buffer) {
  int32_t filled = 0;
  if (TPCircularBufferReadRegion(buffer, &filled)) TPCircularBufferConsume(buffer, filled);
}

void TPCircularBufferSetAtomic(TPCircularBuffer* buffer, bool atomic) { buffer->atomic = atomic; }

void TPCircularBufferAssertionFailed(const char* expression, const char* function, int line) {
  fprintf(stderr, "%s: %s:%d: %s: Assertion `%s' failed.\n", program_invocation_short_name,
          "TPCircularBuffer.h", line, function, expression);
  abort();
}
