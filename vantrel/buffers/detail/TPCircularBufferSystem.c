#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // NOLINT(bugprone-reserved-identifier): asks the C library for memfd_create
#endif
#include "vantrel/buffers/detail/TPCircularBufferSystem.h"

#include <errno.h>
#include <signal.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

/* The process's limit on the size of files holds for memory objects as well, and exceeding it raises a signal
 * that ends the process. Here it is to be a refusal like any other: the signal is held back and taken. */
static int setLength(int object, size_t length) {
  sigset_t tooLarge;
  sigset_t before;
  sigemptyset(&tooLarge);
  sigaddset(&tooLarge, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &tooLarge, &before);
  const int result = ftruncate(object, (off_t)length);
  const int code = errno;
  const struct timespec atOnce = {0, 0};
  if (result != 0 && code == EFBIG) sigtimedwait(&tooLarge, NULL, &atOnce);
  pthread_sigmask(SIG_SETMASK, &before, NULL);
  errno = code;
  return result;
}

static int makeObject(size_t length) {
  const int object = memfd_create("TPCircularBuffer", MFD_CLOEXEC);
  if (object < 0) return -1;
  if (setLength(object, length) == 0) return object;
  const int code = errno;
  close(object);
  errno = code;
  return -1;
}

static void* reserve(size_t length) {
  return mmap(NULL, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
}

static void* mapObject(void* at, size_t length, int object) {
  return mmap(at, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, object, 0);
}

const TPCircularBufferSystem TPCircularBufferLinux = {makeObject, reserve, mapObject, munmap, close};
