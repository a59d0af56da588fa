#include "machine/trace.h"

#include "machine/session.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>

namespace zansim {

namespace {

std::string shown(const TraceArgument& argument) {
  if (!argument.isHandle) return std::to_string(argument.value);
  const auto gpu = Session::ofProcess().gpuOf(std::bit_cast<nvmlDevice_t>(argument.value));
  return gpu ? fmt::format("gpu{}", *gpu) : "?";
}

}  // namespace

void writeTrace(const std::string& path, Operation operation, TraceArguments arguments,
                nvmlReturn_t code) {
  std::string list;
  for (const TraceArgument& argument : arguments) {
    list += (list.empty() ? "" : ", ") + shown(argument);
  }
  const std::string line =
      fmt::format("{} {}({}) = {}\n", getpid(), kOperationNames[indexOf(operation)], list,
                  static_cast<int>(code));
  // Opened anew each time: a program that closes every descriptor, as daemons do, would otherwise
  // find the trace among its own files.
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) return;
  [[maybe_unused]] const ssize_t written = write(file, line.data(), line.size());
  close(file);
}

}  // namespace zansim
