#include "exporter/listeners.h"

#include "device/number_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace zanctl::exporter {
namespace {

constexpr int kFirstPassed = 3;
constexpr int kBacklog = 128;
constexpr std::uint64_t kHighestPort = 65535;
constexpr std::uint64_t kMostPassed = 1024;

struct HostAndPort {
  std::string host;  // empty for all addresses
  std::string port;
};

std::optional<HostAndPort> split(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  if (colon == std::string::npos || colon + 1 == address.size()) return std::nullopt;
  HostAndPort parts{address.substr(0, colon), address.substr(colon + 1)};
  if (wholeNumber(parts.port, 10).value_or(kHighestPort + 1) > kHighestPort) return std::nullopt;
  std::string& host = parts.host;
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  } else if (host.find(':') != std::string::npos) {
    return std::nullopt;
  }
  return parts;
}

// -1 and the reason in errno when it cannot be.
int listenAt(const addrinfo& place, bool onEveryAddress) {
  const int socket = ::socket(place.ai_family, place.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket < 0) return -1;
  const int on = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  // One socket for both families where the host has both.
  const int only = onEveryAddress ? 0 : 1;
  if (place.ai_family == AF_INET6) {
    setsockopt(socket, IPPROTO_IPV6, IPV6_V6ONLY, &only, sizeof only);
  }
  if (bind(socket, place.ai_addr, place.ai_addrlen) == 0 && listen(socket, kBacklog) == 0) {
    return socket;
  }
  const int error = errno;
  close(socket);
  errno = error;
  return -1;
}

using Places = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Places find(const HostAndPort& parts, int family, int& failure) {
  addrinfo hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  failure = getaddrinfo(parts.host.empty() ? nullptr : parts.host.c_str(), parts.port.c_str(),
                        &hints, &found);
  return {failure == 0 ? found : nullptr, freeaddrinfo};
}

}  // namespace

std::variant<std::vector<int>, std::string> listenOn(const std::string& address) {
  const auto parts = split(address);
  if (!parts) return fmt::format("{} is no address like HOST:PORT or :PORT", address);
  std::vector<int> listeners;
  const bool everywhere = parts->host.empty();
  int failure = 0;
  int error = 0;
  for (const int family : {AF_INET6, AF_INET}) {
    const Places places = find(*parts, everywhere ? family : AF_UNSPEC, failure);
    for (const addrinfo* place = places.get(); place != nullptr; place = place->ai_next) {
      const int socket = listenAt(*place, everywhere);
      if (socket >= 0) {
        listeners.push_back(socket);
      } else if (errno != EAFNOSUPPORT) {
        error = errno;
      }
    }
    // The socket of the newer family serves both.
    if (!everywhere || !listeners.empty() || error != 0) break;
  }
  if (error == 0 && !listeners.empty()) return listeners;
  for (const int socket : listeners) close(socket);
  return fmt::format("cannot listen on {}: {}", address,
                     error != 0 ? std::strerror(error) : gai_strerror(failure));
}

std::vector<int> passedListeners() {
  const char* pid = getenv("LISTEN_PID");
  const char* count = getenv("LISTEN_FDS");
  std::vector<int> listeners;
  if (pid != nullptr && count != nullptr &&
      wholeNumber(pid, 10) == static_cast<std::uint64_t>(getpid())) {
    const std::uint64_t passed = std::min(wholeNumber(count, 10).value_or(0), kMostPassed);
    for (int i = 0; i < static_cast<int>(passed); ++i) {
      const int socket = kFirstPassed + i;
      int listens = 0;
      socklen_t size = sizeof listens;
      if (getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) != 0 || listens == 0) {
        continue;
      }
      fcntl(socket, F_SETFD, FD_CLOEXEC);
      fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
      listeners.push_back(socket);
    }
  }
  for (const char* name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) unsetenv(name);
  return listeners;
}

std::string addressOf(int listener) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) return "?";
  if (address.ss_family == AF_UNIX) return reinterpret_cast<const sockaddr_un*>(&address)->sun_path;
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host.data(), host.size(),
              port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV);
  return address.ss_family == AF_INET6 ? fmt::format("[{}]:{}", host.data(), port.data())
                                       : fmt::format("{}:{}", host.data(), port.data());
}

}  // namespace zanctl::exporter
