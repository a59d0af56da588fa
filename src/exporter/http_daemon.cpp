#include "exporter/http_daemon.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zanctl::exporter {
namespace {

constexpr unsigned kIdleSeconds = 30;
// Those who have just come are given time for their request.
constexpr std::chrono::seconds kGrace{1};
// So many connections at once give way to those who stand in line.
constexpr std::size_t kRoom = 16;
// Of a connection, for the headers of both sides.
constexpr std::size_t kConnectionMemory = std::size_t{40} << 10U;

// What the TLS library calls the versions from the least one on.
std::string prioritiesFrom(const std::string& minVersion) {
  std::string priorities = "NORMAL:-VERS-ALL:+VERS-TLS1.3";
  if (minVersion == "TLS13") return priorities;
  priorities += ":+VERS-TLS1.2";
  if (minVersion == "TLS12") return priorities;
  priorities += ":+VERS-TLS1.1";
  return minVersion == "TLS11" ? priorities : priorities + ":+VERS-TLS1.0";
}

}  // namespace

MHD_Result HttpDaemon::onRequest(void* self, MHD_Connection* connection, const char* path,
                                 const char* method, const char* /*version*/,
                                 const char* /*upload*/, std::size_t* uploadSize, void** state) {
  auto& daemon = *static_cast<HttpDaemon*>(self);
  // Nothing that is sent with a request is of interest.
  *uploadSize = 0;
  daemon.connections_[connection] = {.stage = Connection::Stage::asked};
  return daemon.handler_.handle(connection, path, method, state);
}

void HttpDaemon::onCompletion(void* self, MHD_Connection* connection, void** state,
                              MHD_RequestTerminationCode /*code*/) {
  auto& daemon = *static_cast<HttpDaemon*>(self);
  daemon.connections_[connection] = Connection();
  daemon.handler_.complete(*state);
  *state = nullptr;
}

void HttpDaemon::onConnection(void* self, MHD_Connection* connection, void** /*context*/,
                              MHD_ConnectionNotificationCode code) {
  auto& daemon = *static_cast<HttpDaemon*>(self);
  if (code == MHD_CONNECTION_NOTIFY_STARTED) {
    daemon.connections_.try_emplace(connection);
  } else {
    daemon.connections_.erase(connection);
  }
}

std::unique_ptr<HttpDaemon> HttpDaemon::start(const std::optional<Tls>& tls,
                                              RequestHandler& handler) {
  std::unique_ptr<HttpDaemon> daemon(new HttpDaemon(handler));
  std::string priorities;
  std::vector<MHD_OptionItem> options;
  const auto add = [&options](MHD_OPTION option, const std::string& text) {
    options.push_back({option, 0, const_cast<char*>(text.c_str())});
  };
  unsigned flags = MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME;
  if (tls) {
    flags |= MHD_USE_TLS;
    priorities = prioritiesFrom(tls->minVersion);
    add(MHD_OPTION_HTTPS_MEM_CERT, tls->certificate);
    add(MHD_OPTION_HTTPS_MEM_KEY, tls->key);
    add(MHD_OPTION_HTTPS_PRIORITIES, priorities);
  }
  options.push_back({MHD_OPTION_END, 0, nullptr});
  daemon->daemon_ = MHD_start_daemon(
      flags, 0, nullptr, nullptr, onRequest, daemon.get(), MHD_OPTION_CONNECTION_LIMIT,
      kMaxConnections, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds,
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory, MHD_OPTION_NOTIFY_COMPLETED,
      onCompletion, daemon.get(), MHD_OPTION_NOTIFY_CONNECTION, onConnection, daemon.get(),
      MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
  if (daemon->daemon_ == nullptr) return nullptr;
  const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon->daemon_, MHD_DAEMON_INFO_EPOLL_FD);
  daemon->descriptor_ = info->epoll_fd;
  return daemon;
}

HttpDaemon::~HttpDaemon() {
  if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
}

std::optional<std::chrono::milliseconds> HttpDaemon::timeout() const {
  MHD_UNSIGNED_LONG_LONG milliseconds = 0;
  if (MHD_get_timeout(daemon_, &milliseconds) != MHD_YES) return std::nullopt;
  return std::chrono::milliseconds(milliseconds);
}

void HttpDaemon::run() { MHD_run(daemon_); }

void HttpDaemon::add(int socket, const sockaddr* address, socklen_t size) {
  MHD_add_connection(daemon_, socket, address, size);
}

void HttpDaemon::end(MHD_Connection* connection, Connection& state) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
  shutdown(info->connect_fd, SHUT_RDWR);
  state.stage = Connection::Stage::ended;
}

void HttpDaemon::endOverdue() {
  const auto limit = Clock::now() - std::chrono::seconds(kIdleSeconds);
  for (auto& [connection, state] : connections_) {
    if (state.since > limit || state.stage == Connection::Stage::ended) continue;
    const auto* info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_SUSPENDED);
    // Then it is not the client who is slow.
    if (info->suspended == MHD_NO) end(connection, state);
  }
}

void HttpDaemon::makeRoom() {
  std::vector<std::pair<MHD_Connection*, Connection*>> waiting;
  const auto limit = Clock::now() - kGrace;
  for (auto& [connection, state] : connections_) {
    if (state.stage == Connection::Stage::waiting && state.since < limit) {
      waiting.emplace_back(connection, &state);
    }
  }
  const auto some = waiting.begin() + static_cast<long>(std::min(waiting.size(), kRoom));
  std::partial_sort(waiting.begin(), some, waiting.end(),
                    [](const auto& a, const auto& b) { return a.second->since < b.second->since; });
  std::for_each(waiting.begin(), some, [](const auto& one) { end(one.first, *one.second); });
}

}  // namespace zanctl::exporter
