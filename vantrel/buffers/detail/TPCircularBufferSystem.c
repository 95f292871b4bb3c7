#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // NOLINT(bugprone-reserved-identifier): asks the C library for memfd_create
#endif
#include "vantrel/buffers/detail/TPCircularBufferSystem.h"

#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

static int makeObject(size_t length) {
  const int object = memfd_create("TPCircularBuffer", MFD_CLOEXEC);
  if (object < 0) return -1;
  if (ftruncate(object, (off_t)length) == 0) return object;
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
