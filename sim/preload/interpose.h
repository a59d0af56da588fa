// How the preload library stands in for functions of the C library.
//
// It is loaded into every program that runs on a simulated machine, so it needs nothing but the C
// library: no exceptions, no C++ runtime, no allocation.
#pragma once

#include <dlfcn.h>

// Finds the function that would have been called without this library.
template <typename Function>
Function* nextFunction(Function*& known, const char* name) {
  if (known == nullptr) known = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  return known;
}

// NOLINTBEGIN(bugprone-macro-parentheses): types and parameter lists take none.

// Begins the definition of a stand-in. The label gives it the C library's name without repeating
// that library's own declaration, attributes and all; `next` is the function it stands in for.
#define ZANSIM_STAND_IN(result, name, parameters)   \
  extern "C" __attribute__((visibility("default"))) \
  result zansim_##name parameters __asm__(#name);   \
  result zansim_##name parameters

#define ZANSIM_NEXT(result, name, parameters) \
  static result(*known) parameters = nullptr; \
  auto* const next = nextFunction(known, #name)

// NOLINTEND(bugprone-macro-parentheses)
