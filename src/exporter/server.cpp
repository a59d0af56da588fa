#include "exporter/server.h"

#include "exporter/http_daemon.h"
#include "exporter/listeners.h"
#include "exporter/site.h"
#include "exporter/web_config.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <optional>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace zanctl::exporter {
namespace {

// While there is no room for a connection, whether some has become free.
constexpr std::chrono::milliseconds kLookForRoom{200};

class Server {
 public:
  Server(const Options& options, collector::Collector& collector)
      : options_(options), collector_(collector), site_(options, collector) {}
  ~Server();

  // What is wrong; empty when everything is in place.
  std::string open();
  void run();

 private:
  std::string applyWebConfig();
  void refreshWebConfig();
  std::string openListeners();
  void openSignals();
  [[nodiscard]] std::size_t connections() const;
  [[nodiscard]] int waitTime(bool hasRoom) const;
  [[nodiscard]] bool isAnybodyInLine() const;
  bool acceptFrom(int listener);
  void runDaemons();
  void shutDown();

  const Options& options_;
  collector::Collector& collector_;
  Site site_;
  // The newest last; those before it only finish what they have begun.
  std::vector<std::unique_ptr<HttpDaemon>> daemons_;
  std::vector<int> listeners_;
  int signals_ = -1;
  std::optional<Tls> tls_;
  FileWatch watch_;
  bool hasDescriptors_ = true;
};

Server::~Server() {
  daemons_.clear();
  for (const int listener : listeners_) close(listener);
  if (signals_ >= 0) close(signals_);
}

std::string Server::open() {
  openSignals();
  std::string problem;
  if (options_.webConfigFile.empty()) {
    daemons_.push_back(HttpDaemon::start(std::nullopt, site_));
    if (!daemons_.back()) problem = "there are no descriptors left";
  } else {
    problem = applyWebConfig();
  }
  if (problem.empty()) problem = openListeners();
  if (!problem.empty()) return problem;
  for (const int listener : listeners_) kVoice.say("listening on " + addressOf(listener));
  return {};
}

// Takes the file as a whole or not at all.
std::string Server::applyWebConfig() {
  WebConfig config = readWebConfig(options_.webConfigFile);
  watch_ = std::move(config.watch);
  if (!config.problem.empty()) return config.problem;
  if (daemons_.empty() || config.tls != tls_) {
    auto daemon = HttpDaemon::start(config.tls, site_);
    if (!daemon) {
      return fmt::format("{}: there are no descriptors left for it", options_.webConfigFile);
    }
    daemons_.push_back(std::move(daemon));
    tls_ = std::move(config.tls);
  }
  site_.setUsers(std::move(config.users));
  return {};
}

void Server::refreshWebConfig() {
  if (!watch_.haveChanged()) return;
  const std::string problem = applyWebConfig();
  if (!problem.empty()) kVoice.say(problem + "; the former configuration holds");
}

std::string Server::openListeners() {
  if (options_.systemdSocket) {
    listeners_ = passedListeners();
    return listeners_.empty() ? "systemd passed no socket" : "";
  }
  for (const std::string& address : options_.listenAddresses) {
    const auto opened = listenOn(address);
    if (const auto* problem = std::get_if<std::string>(&opened)) return *problem;
    const auto& sockets = std::get<std::vector<int>>(opened);
    listeners_.insert(listeners_.end(), sockets.begin(), sockets.end());
  }
  return {};
}

void Server::openSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t ending;
  sigemptyset(&ending);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&ending, number);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  signals_ = signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}

std::size_t Server::connections() const {
  std::size_t count = 0;
  for (const auto& daemon : daemons_) count += daemon->connections();
  return count;
}

int Server::waitTime(bool hasRoom) const {
  if (site_.hasWork()) return 0;
  std::optional<std::chrono::milliseconds> least;
  for (const auto& daemon : daemons_) {
    const auto time = daemon->timeout();
    if (time && (!least || *time < *least)) least = time;
  }
  if (!hasRoom && (!least || kLookForRoom < *least)) least = kLookForRoom;
  return least ? static_cast<int>(std::min<long>(least->count(), 60'000)) : -1;
}

bool Server::isAnybodyInLine() const {
  return std::any_of(listeners_.begin(), listeners_.end(), [](int listener) {
    pollfd line{.fd = listener, .events = POLLIN, .revents = 0};
    return poll(&line, 1, 0) > 0;
  });
}

// False when there is nothing more to accept.
bool Server::acceptFrom(int listener) {
  if (connections() >= kMaxConnections) return false;
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  const int socket = accept4(listener, generic, &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (socket < 0) {
    hasDescriptors_ = errno != EMFILE && errno != ENFILE;
    return false;
  }
  daemons_.back()->add(socket, generic, size);
  return true;
}

void Server::runDaemons() {
  for (const auto& daemon : daemons_) daemon->run();
  if (daemons_.size() > 1) {
    const auto newest = daemons_.end() - 1;
    const auto finished = [](const auto& daemon) { return daemon->connections() == 0; };
    daemons_.erase(std::remove_if(daemons_.begin(), newest, finished), newest);
  }
}

void Server::run() {
  std::vector<pollfd> watched;
  const auto watch = [&watched](int descriptor) { watched.push_back({descriptor, POLLIN, 0}); };
  while (true) {
    watched.clear();
    watch(signals_);
    watch(collector_.descriptor());
    watch(site_.descriptor());
    for (const auto& daemon : daemons_) watch(daemon->descriptor());
    const std::size_t firstListener = watched.size();
    const bool hasRoom = connections() < kMaxConnections && hasDescriptors_;
    hasDescriptors_ = true;
    if (hasRoom) {
      for (const int listener : listeners_) watch(listener);
    }
    poll(watched.data(), watched.size(), waitTime(hasRoom));
    if (watched[0].revents != 0) break;
    if (watched[1].revents != 0) site_.proceed();
    for (const auto& daemon : daemons_) {
      daemon->endOverdue();
      if (!hasRoom && isAnybodyInLine()) daemon->makeRoom();
    }
    refreshWebConfig();
    for (std::size_t i = firstListener; i < watched.size(); ++i) {
      while (watched[i].revents != 0 && acceptFrom(watched[i].fd)) {
      }
    }
    runDaemons();
    site_.work();
    runDaemons();
  }
  shutDown();
}

void Server::shutDown() {
  site_.shutDown();
  for (const auto& daemon : daemons_) daemon->run();
}

}  // namespace

int serve(const Options& options, collector::Collector& collector) {
  Server server(options, collector);
  const std::string problem = server.open();
  if (!problem.empty()) return kVoice.complain(problem);
  server.run();
  return 0;
}

}  // namespace zanctl::exporter
