// The process that owns the library session: it answers requests until its parent is gone.
#pragma once

namespace zanctl::collector {

// Answers on the socket; never returns. For a process forked for this.
[[noreturn]] void serve(int socket);

}  // namespace zanctl::collector
