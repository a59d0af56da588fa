#include "machine/trace.h"

#include <fmt/format.h>

#include <iterator>

#include <fcntl.h>
#include <unistd.h>

namespace zansim {

void Trace::write(Operation operation, std::initializer_list<TraceArgument> arguments,
                  nvmlReturn_t code) const {
  fmt::memory_buffer line;
  const auto out = std::back_inserter(line);
  fmt::format_to(out, "{} {}(", getpid(), kOperationNames[indexOf(operation)]);
  const char* separator = "";
  for (const TraceArgument& argument : arguments) {
    switch (argument.kind) {
      case TraceArgument::Kind::number:
        fmt::format_to(out, "{}{}", separator, argument.value);
        break;
      case TraceArgument::Kind::gpu:
        fmt::format_to(out, "{}gpu{}", separator, argument.value);
        break;
      case TraceArgument::Kind::foreign:
        fmt::format_to(out, "{}?", separator);
        break;
    }
    separator = ", ";
  }
  fmt::format_to(out, ") = {}\n", static_cast<int>(code));
  // Opened anew each time: a program that closes every descriptor, as daemons do, would otherwise
  // find the trace among its own files.
  const int file = open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) return;
  [[maybe_unused]] const ssize_t written = ::write(file, line.data(), line.size());
  close(file);
}

}  // namespace zansim
