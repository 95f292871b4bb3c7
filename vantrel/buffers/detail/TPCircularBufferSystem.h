/* What the mirrored ring asks of the system, so that tests can let any of it fail. C11 and C++20. */
#ifndef VANTREL_BUFFERS_DETAIL_TPCIRCULARBUFFERSYSTEM_H
#define VANTREL_BUFFERS_DETAIL_TPCIRCULARBUFFERSYSTEM_H

#include <stddef.h>
#include <stdint.h>

#include "vantrel/buffers/TPCircularBuffer.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Results as the calls of the same names give them, errno included. */
typedef struct {
  int (*makeObject)(size_t length); /* a memory object of that many bytes: its descriptor, or -1 */
  void* (*reserve)(size_t length);  /* addresses without memory, or MAP_FAILED */
  void* (*mapObject)(void* at, size_t length, int object); /* in place of what is there; or MAP_FAILED */
  int (*unmap)(void* start, size_t length);
  int (*closeObject)(int object);
} TPCircularBufferSystem;

/* The calls that _TPCircularBufferInit makes. */
VANTREL_EXPORT extern const TPCircularBufferSystem TPCircularBufferLinux;

/* _TPCircularBufferInit on the given calls, for a record of the right size. */
VANTREL_EXPORT bool TPCircularBufferInitOn(const TPCircularBufferSystem* system, TPCircularBuffer* buffer,
                                           int32_t length);

#ifdef __cplusplus
}
#endif

#endif
