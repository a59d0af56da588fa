#include "collector/child.h"

#include "collector/gpu_readings.h"
#include "collector/wire.h"
#include "device/driver_node.h"
#include "device/session.h"

#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace zanctl::collector {
namespace {

constexpr std::size_t kVersionBuffer = 80;

// A version that fills its buffer has no end of its own.
Text known(const std::string& version) {
  const bool unknown = version == "N/A" || version.size() >= kVersionBuffer;
  return unknown ? std::nullopt : Text(version);
}

SystemAnswer notRunning(LibraryState state, std::string problem) {
  closeSession();
  SystemAnswer answer;
  answer.state = state;
  answer.problem = std::move(problem);
  return answer;
}

SystemAnswer lookAtSystem(bool freshSession) {
  if (freshSession) closeSession();
  if (findDriverNode() != DriverNode::present) {
    return notRunning(LibraryState::noDriver, "there is no driver: /dev has no node zanthe*");
  }
  if (const std::string& reason = libraryLoadError(LookAgain::yes); !reason.empty()) {
    return notRunning(LibraryState::noLibrary, reason);
  }
  if (!countDevices()) {
    return notRunning(LibraryState::failing, "the management library does not find the GPUs");
  }
  SystemAnswer answer;
  answer.state = LibraryState::running;
  answer.gpuCount = session().deviceCount;
  answer.driverVersion = known(driverVersion());
  answer.libraryVersion = known(libraryVersion());
  answer.cudaVersion = known(cudaVersion());
  return answer;
}

std::string answerTo(const Request& request) {
  switch (request.question) {
    case Question::system:
      return frameOf(lookAtSystem(request.freshSession != 0));
    case Question::gpu:
      return frameOf(readGpu(request.index, request.groups));
    case Question::links:
      return frameOf(readLinks(request.index));
  }
  return {};
}

bool sendWhole(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool receiveRequest(int socket, Request& request) {
  ssize_t got = 0;
  do {
    got = recv(socket, &request, sizeof request, MSG_WAITALL);
  } while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(sizeof request);
}

}  // namespace

void serve(int socket) {
  Request request{};
  while (receiveRequest(socket, request) && sendWhole(socket, answerTo(request))) {
  }
  // Without the library's own clean-up, which may hang.
  _exit(0);
}

}  // namespace zanctl::collector
