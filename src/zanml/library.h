// The management library, loaded at run time. Every call on it goes through `library()`.
#pragma once

#include "zanml/operations.h"

#include <string>

namespace zanctl {

// The address of an operation in a library that dlopen has opened; null where the library lacks it.
void* findOperation(void* handle, const char* name);

template <typename Function>
class Operation;

// One operation of the library: callable like its prototype, and looked up by its name at the first
// call. Where the library lacks it, a call answers NVML_ERROR_FUNCTION_NOT_FOUND; where there is no
// library at all, NVML_ERROR_LIBRARY_NOT_FOUND.
template <typename... Arguments>
class Operation<nvmlReturn_t(Arguments...)> {
 public:
  using Function = nvmlReturn_t(Arguments...);

  nvmlReturn_t operator()(Arguments... arguments) const {
    if (handle_ != nullptr) lookUp();
    return function_ == nullptr ? missing_ : function_(arguments...);
  }

  void bind(Function* function) { function_ = function; }
  void bindLater(void* handle, const char* name) {
    handle_ = handle;
    name_ = name;
  }

 private:
  void lookUp() const {
    function_ = reinterpret_cast<Function*>(findOperation(handle_, name_));
    missing_ = NVML_ERROR_FUNCTION_NOT_FOUND;
    handle_ = nullptr;
  }

  mutable Function* function_ = nullptr;
  mutable nvmlReturn_t missing_ = NVML_ERROR_LIBRARY_NOT_FOUND;
  mutable void* handle_ = nullptr;  // until the operation is looked up
  const char* name_ = nullptr;
};

// One callable member per operation, under the operation's own name.
struct Library {
#define ZANCTL_MEMBER(name) Operation<decltype(::name)> name;  // NOLINT(bugprone-macro-parentheses)
  ZANML_OPERATIONS(ZANCTL_MEMBER)
#undef ZANCTL_MEMBER

  // The loader's own words when the library could not be opened, else empty.
  std::string loadError;
};

// Looks for the library; where there is none, every operation says so.
Library loadLibrary();

// The process's library, opened at the first use and never closed. Tests rebind its members.
inline Library& library() {
  static Library instance = loadLibrary();
  return instance;
}

}  // namespace zanctl
