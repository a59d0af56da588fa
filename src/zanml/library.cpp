#include "zanml/library.h"

#include <dlfcn.h>

namespace zanctl {
namespace {

template <typename Function>
void look(void* handle, const char* name, Operation<Function>& operation) {
  if (void* symbol = dlsym(handle, name)) {
    operation.bind(reinterpret_cast<Function*>(symbol));
  } else {
    operation.unbind(NVML_ERROR_FUNCTION_NOT_FOUND);
  }
}

}  // namespace

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
#define ZANCTL_LOOK(name) look(handle, #name, loaded.name);
  ZANML_OPERATIONS(ZANCTL_LOOK)
#undef ZANCTL_LOOK
  return loaded;
}

Library& library() {
  static Library instance = loadLibrary();
  return instance;
}

}  // namespace zanctl
