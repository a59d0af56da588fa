// The management library, loaded at run time. Every call on it goes through `library()`.
#pragma once

#include "zanml/operations.h"

#include <string>

namespace zanctl {

template <typename Function>
class Operation;

// One operation of the library: callable like its prototype. Where the library lacks it, a call
// answers NVML_ERROR_FUNCTION_NOT_FOUND; where there is no library at all,
// NVML_ERROR_LIBRARY_NOT_FOUND.
template <typename... Arguments>
class Operation<nvmlReturn_t(Arguments...)> {
 public:
  using Function = nvmlReturn_t(Arguments...);

  nvmlReturn_t operator()(Arguments... arguments) const {
    return function_ == nullptr ? missing_ : function_(arguments...);
  }

  void bind(Function* function) { function_ = function; }
  void unbind(nvmlReturn_t answer) {
    function_ = nullptr;
    missing_ = answer;
  }

 private:
  Function* function_ = nullptr;
  nvmlReturn_t missing_ = NVML_ERROR_LIBRARY_NOT_FOUND;
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
Library& library();

}  // namespace zanctl
