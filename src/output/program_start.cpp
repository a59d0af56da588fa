#include "output/program_start.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <typeinfo>

#include <cxxabi.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace zanctl {
namespace {

const char* lastLine = "";
int lastStatus = 0;

[[noreturn]] void endWithoutException() {
  const std::type_info* const thrown = abi::__cxa_current_exception_type();
  if (thrown != nullptr && *thrown != typeid(std::bad_alloc)) std::abort();
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, lastLine, std::strlen(lastLine));
  _exit(lastStatus);
}

}  // namespace

void startProgram() {
  signal(SIGXFSZ, SIG_IGN);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDONLY);
  }
}

void endOnWantOfMemory(const char* line, int status) {
  lastLine = line;
  lastStatus = status;
  std::set_terminate(endWithoutException);
}

}  // namespace zanctl
