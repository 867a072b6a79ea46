// A disk that takes its time, to be preloaded: every flush takes SLOW_DISK_MS milliseconds longer. At the program's end
// the number of flushes is written into the file that SLOW_DISK_COUNT names.
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static atomic_long flushes;

static int flush(long call, int handle) {
  const char* text = getenv("SLOW_DISK_MS");
  const long ms = text == NULL ? 0 : strtol(text, NULL, 10);
  const struct timespec wait = {ms / 1000, ms % 1000 * 1000000};
  atomic_fetch_add(&flushes, 1);
  if (ms > 0) nanosleep(&wait, NULL);
  return (int)syscall(call, handle);
}

int fdatasync(int handle) {
  return flush(SYS_fdatasync, handle);
}
int fsync(int handle) {
  return flush(SYS_fsync, handle);
}

__attribute__((destructor)) static void tell(void) {
  const char* name = getenv("SLOW_DISK_COUNT");
  FILE* file = name == NULL ? NULL : fopen(name, "w");
  if (file == NULL) return;
  fprintf(file, "%ld\n", atomic_load(&flushes));
  fclose(file);
}
