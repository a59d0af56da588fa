#include "zanml/library.h"

#include <dlfcn.h>

namespace zanctl {
Library loadLibrary() {
  Library loaded;
  void* handle = dlopen("libzanml.so", RTLD_NOW);
  if (handle == nullptr) {
    // The first reason is the telling one: a broken library is usually found under this name.
    if (const char* reason = dlerror()) loaded.loadError = reason;
    handle = dlopen("libzanml.so.1", RTLD_NOW);
  }
  if (handle == nullptr) return loaded;
  loaded.loadError.clear();
#define ZANCTL_BIND(name) loaded.name.bindLater(handle, #name);
  ZANML_OPERATIONS(ZANCTL_BIND)
#undef ZANCTL_BIND
  return loaded;
}

void* findOperation(void* handle, const char* name) { return dlsym(handle, name); }

}  // namespace zanctl
