/* A byte ring for one producer thread and one consumer thread, without locks. C11 and C++20.
 *
 * The ring's memory is mapped twice in a row, so the bytes just past its end are the bytes of its beginning.
 * A region of up to `length` bytes that starts inside the ring is therefore one piece of memory: both sides
 * copy with a single memcpy, at the wrap point too.
 *
 *   TPCircularBuffer ring = {0};
 *   if (!TPCircularBufferInit(&ring, 65536)) return false;
 *
 *   int32_t space;                                             // producer
 *   uint8_t* to = TPCircularBufferWriteRegion(&ring, &space);
 *   if (space >= size) {
 *     memcpy(to, source, size);
 *     TPCircularBufferProduce(&ring, size);
 *   }
 *
 *   int32_t filled;                                            // consumer
 *   const uint8_t* from = TPCircularBufferReadRegion(&ring, &filled);
 *   use(from, filled);
 *   TPCircularBufferConsume(&ring, filled);
 *
 * Threads: exactly one producer (WriteRegion, Produce) and one consumer (ReadRegion, Consume, Clear) at a
 * time; none of the five blocks, allocates or calls the system. The others need the ring for themselves.
 *
 * Ownership: the record belongs to who embeds it and starts out zeroed. The memory belongs to the record from
 * a successful init until cleanup; a ring is cleaned up before it is made anew. After a fork both processes
 * see the same memory but count for themselves: only one of them may go on using the ring.
 */
#ifndef VANTREL_BUFFERS_TPCIRCULARBUFFER_H
#define VANTREL_BUFFERS_TPCIRCULARBUFFER_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "vantrel/base/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes [tail, tail + fillCount) of the memory hold the data in order, counted through the mirror. */
typedef struct {
  uint8_t* buffer;   /* 2 * length mapped bytes; null before init and after cleanup */
  int32_t length;    /* usable bytes, whole pages */
  int32_t tail;      /* read offset, 0 to length - 1; only the consumer changes it */
  int32_t head;      /* write offset, 0 to length - 1; only the producer changes it */
  int32_t fillCount; /* bytes written and not yet consumed, 0 to length; shared, so read it atomically */
  bool atomic; /* whether fillCount is changed by an atomic add with a full barrier, or by a plain one */
} TPCircularBuffer;

/* Maps a ring of `length` bytes rounded up to whole pages: 1 gives one page, a page and a byte give two. The
 * ring is empty and atomic then. A page of memory is taken from the system when it is first touched.
 *
 * False when
 *  - `length` is not positive, or rounded up exceeds 32 bits: nothing is changed, mapped or printed;
 *  - the system refuses four times in a row: `length` then holds the rounded length, the other fields are as
 *    before, and one line on standard output names the step that failed last.
 *
 * `structSize` is the size of TPCircularBuffer as the caller's header has it. Any other than the library's
 * own means a layout that does not fit: a message on standard error, and the process aborts. */
VANTREL_EXPORT bool _TPCircularBufferInit(  // NOLINT(bugprone-reserved-identifier): what callers know it by
    TPCircularBuffer* buffer, int32_t length, size_t structSize);

/* The same with the size of the caller's record filled in. */
#define TPCircularBufferInit(buffer, length) _TPCircularBufferInit(buffer, length, sizeof(*(buffer)))

/* Unmaps the memory and sets every field to zero. A zeroed record stays as it is. */
VANTREL_EXPORT void TPCircularBufferCleanup(TPCircularBuffer* buffer);

/* Consumes all that the ring holds at this moment; what the producer adds meanwhile stays. A consumer's call.
 * An empty or unmapped ring stays as it is. */
VANTREL_EXPORT void TPCircularBufferClear(TPCircularBuffer* buffer);

/* Says whether two threads use the ring (true, as after init) or only one (false, which saves the barriers).
 * To be called while no other thread uses the ring. */
VANTREL_EXPORT void TPCircularBufferSetAtomic(TPCircularBuffer* buffer, bool atomic);

/* Ends the process with a message on standard error in the form of a failed assert. Unlike those of assert.h
 * the checks below hold in every build. */
VANTREL_EXPORT __attribute__((noreturn, cold)) void TPCircularBufferAssertionFailed(const char* expression,
                                                                                    const char* function,
                                                                                    int line);

/* Which order pairs with which:
 *
 *  - The producer copies bytes in, then adds to fillCount in Produce. The consumer reads fillCount with
 *    ReadRegion, then the bytes. The add releases, the read acquires: who sees the count sees the bytes.
 *  - The consumer copies bytes out, then subtracts from fillCount in Consume. The producer reads fillCount in
 *    WriteRegion, then writes over those bytes. The subtraction releases, the read acquires: no byte is
 *    overwritten before it has been copied out.
 *
 * Both changes are full barriers on top of that, so that what either side does before one is also seen before
 * what it does after it. head and tail have one thread each and need no order. */

/* Where to write and how many bytes fit, length - fillCount. Null when none fit and when the ring is
 * unmapped. */
static inline uint8_t* TPCircularBufferWriteRegion(TPCircularBuffer* buffer, int32_t* availableBytes) {
  *availableBytes = buffer->length - __atomic_load_n(&buffer->fillCount, __ATOMIC_ACQUIRE);
  if (*availableBytes == 0 || !buffer->buffer) return NULL;
  return buffer->buffer + buffer->head;
}

/* Where to read and how many bytes are there, fillCount. Null when there are none. */
static inline uint8_t* TPCircularBufferReadRegion(TPCircularBuffer* buffer, int32_t* availableBytes) {
  *availableBytes = __atomic_load_n(&buffer->fillCount, __ATOMIC_ACQUIRE);
  if (*availableBytes == 0 || !buffer->buffer) return NULL;
  return buffer->buffer + buffer->tail;
}

/* (offset + amount) modulo length, for an offset below length and an amount from 0 to length. */
static inline int32_t TPCircularBufferMoved(int32_t offset, int32_t amount, int32_t length) {
  const uint32_t moved = (uint32_t)offset + (uint32_t)amount;
  return (int32_t)(moved < (uint32_t)length ? moved : moved - (uint32_t)length);
}

/* For the two functions below: adds to fillCount and gives what it was before. */
static inline int32_t TPCircularBufferAdd(TPCircularBuffer* buffer, int32_t amount) {
  /* Of all the builtins only those of this family promise a full barrier. */
  if (buffer->atomic) return __sync_fetch_and_add(&buffer->fillCount, amount);
  const int32_t before = buffer->fillCount;
  buffer->fillCount = (int32_t)((uint32_t)before + (uint32_t)amount);
  return before;
}

/* Says that `amount` bytes were written at the write region: 0 to the count that it gave. More, or a negative
 * amount, stops the process. */
static inline void TPCircularBufferProduce(TPCircularBuffer* buffer, int32_t amount) {
  buffer->head = TPCircularBufferMoved(buffer->head, amount, buffer->length);
  const int32_t before = TPCircularBufferAdd(buffer, amount);
  if ((uint32_t)amount > (uint32_t)(buffer->length - before))
    TPCircularBufferAssertionFailed("buffer->fillCount <= buffer->length", __func__, __LINE__);
}

/* Says that `amount` bytes were read at the read region: 0 to the count that it gave. More, or a negative
 * amount, stops the process. */
static inline void TPCircularBufferConsume(TPCircularBuffer* buffer, int32_t amount) {
  buffer->tail = TPCircularBufferMoved(buffer->tail, amount, buffer->length);
  const int32_t before = TPCircularBufferAdd(buffer, (int32_t)(0U - (uint32_t)amount));
  if ((uint32_t)amount > (uint32_t)before)
    TPCircularBufferAssertionFailed("buffer->fillCount >= 0", __func__, __LINE__);
}

#ifdef __cplusplus
}
#endif

#endif
