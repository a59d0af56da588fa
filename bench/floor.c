/* The least a command can cost: the same calls of the management library, and as many bytes
 * written.
 *
 *   floor BYTES CALL...     the calls, as bench/constant_library.c writes them down: those that are
 *                           on no GPU once, the others on every GPU
 *
 * Beside them, as every command does: one session to learn whether a reset is under way, and one
 * for the work. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMostGpus = 256, kMostCalls = 64, kLongestName = 64 };

typedef void (*Operation)(void);

/* What stands behind the colon: how the operation is called, and with what. */
struct Call {
  Operation operation;
  char shape;
  int argument;
};

static void* library;

static Operation find(const char* name) {
  Operation operation;
  *(void**)&operation = dlsym(library, name);
  if (operation == NULL) {
    fprintf(stderr, "floor: the library lacks %s\n", name);
    exit(1);
  }
  return operation;
}

static struct Call parse(const char* text) {
  char name[kLongestName] = "";
  const char* const colon = strchr(text, ':');
  if (colon == NULL || colon - text >= kLongestName) {
    fprintf(stderr, "floor: %s is no call\n", text);
    exit(2);
  }
  memcpy(name, text, (size_t)(colon - text));
  return (struct Call){find(name), colon[1], atoi(colon + 2)};
}

static int isOnSystem(const struct Call* call) { return call->shape == 's' || call->shape == 'n'; }

static void make(const struct Call* call, void* device) {
  static unsigned long result[64];
  static unsigned long other[2];
  const int argument = call->argument;
  unsigned count = 0;
  switch (call->shape) {
    case 's': /* (text, size) */
      ((int (*)(char*, unsigned))call->operation)((char*)result, (unsigned)argument);
      break;
    case 'n': /* (result) */
      ((int (*)(void*))call->operation)(result);
      break;
    case 't': /* (device, text, size) */
      ((int (*)(void*, char*, unsigned))call->operation)(device, (char*)result, (unsigned)argument);
      break;
    case 'v': /* (device, result) */
      ((int (*)(void*, void*))call->operation)(device, result);
      break;
    case 'p': /* (device, result, result) */
      ((int (*)(void*, void*, void*))call->operation)(device, result, other);
      break;
    case 'c': /* (device, choice, result) */
      ((int (*)(void*, int, void*))call->operation)(device, argument, result);
      break;
    case 'k': /* (device, type of the clock, current, result) */
      ((int (*)(void*, int, int, void*))call->operation)(device, argument, 0, result);
      break;
    case 'l': /* (device, count, entries) */
      count = (unsigned)argument;
      ((int (*)(void*, unsigned*, void*))call->operation)(device, &count, result);
      break;
    case 'r': /* (device, cause, count, entries) */
      ((int (*)(void*, int, unsigned*, void*))call->operation)(device, argument, &count, NULL);
      break;
    default:
      fprintf(stderr, "floor: no way to make a call of the shape %c\n", call->shape);
      exit(2);
  }
}

static void run(const struct Call* calls, unsigned callCount) {
  int (*const init)(void) = (int (*)(void))find("nvmlInit");
  int (*const shutdown)(void) = (int (*)(void))find("nvmlShutdown");
  int (*const countGpus)(unsigned*) = (int (*)(unsigned*))find("nvmlDeviceGetCount_v2");
  int (*const getHandle)(unsigned, void**) =
      (int (*)(unsigned, void**))find("nvmlDeviceGetHandleByIndex_v2");
  const struct Call resetStatus = {find("zanmlDeviceGetResetStatus"), 'v', 0};
  void* devices[kMostGpus];
  unsigned gpus = 0;

  init();
  countGpus(&gpus);
  getHandle(0, &devices[0]);
  make(&resetStatus, devices[0]);
  shutdown();

  init();
  countGpus(&gpus);
  if (gpus > kMostGpus) gpus = kMostGpus;
  for (unsigned gpu = 0; gpu < gpus; ++gpu) getHandle(gpu, &devices[gpu]);
  for (unsigned i = 0; i < callCount; ++i) {
    if (isOnSystem(&calls[i])) make(&calls[i], NULL);
  }
  for (unsigned gpu = 0; gpu < gpus; ++gpu) {
    for (unsigned i = 0; i < callCount; ++i) {
      if (!isOnSystem(&calls[i])) make(&calls[i], devices[gpu]);
    }
  }
  shutdown();
}

static int writeBytes(size_t bytes) {
  char* const text = calloc(bytes + 1, 1);
  return text != NULL && fwrite(text, 1, bytes, stdout) == bytes && fflush(stdout) == 0 ? 0 : 1;
}

int main(int argc, char** argv) {
  struct Call calls[kMostCalls];
  const unsigned callCount = (unsigned)argc - 2;
  if (argc < 2 || callCount > kMostCalls) {
    fprintf(stderr, "usage: floor BYTES CALL...\n");
    return 2;
  }
  library = dlopen("libzanml.so", RTLD_NOW);
  if (library == NULL) {
    fprintf(stderr, "floor: %s\n", dlerror());
    return 1;
  }
  for (unsigned i = 0; i < callCount; ++i) calls[i] = parse(argv[i + 2]);
  run(calls, callCount);
  return writeBytes(strtoul(argv[1], NULL, 10));
}
