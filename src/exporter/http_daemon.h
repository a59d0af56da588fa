// The HTTP library's daemon on connections that were accepted elsewhere, without a thread of its
// own.
#pragma once

#include "exporter/web_config.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>

#include <microhttpd.h>
#include <sys/socket.h>

namespace zanctl::exporter {

inline constexpr unsigned kMaxConnections = 64;

// Who answers the requests.
class RequestHandler {
 public:
  virtual ~RequestHandler() = default;
  // As the HTTP library has it: called until there is an answer, with the same `state`.
  virtual MHD_Result handle(MHD_Connection* connection, const char* path, const char* method,
                            void** state) = 0;
  // The request ended, with an answer or without.
  virtual void complete(void* state) = 0;
};

class HttpDaemon {
 public:
  // Null when the HTTP library refuses: a certificate and a key that are none, or do not belong
  // together.
  static std::unique_ptr<HttpDaemon> start(const std::optional<Tls>& tls, RequestHandler& handler);
  ~HttpDaemon();
  HttpDaemon(const HttpDaemon&) = delete;
  HttpDaemon& operator=(const HttpDaemon&) = delete;

  // Readable when run() has something to do.
  [[nodiscard]] int descriptor() const { return descriptor_; }
  // When to call run() at the latest.
  [[nodiscard]] std::optional<std::chrono::milliseconds> timeout() const;
  void run();

  // Takes the socket over.
  void add(int socket, const sockaddr* address, socklen_t size);
  [[nodiscard]] std::size_t connections() const { return connections_.size(); }
  // Ends connections that have brought no whole request, or not taken the whole answer, within the
  // time of an idle one, however busy they look.
  void endOverdue();
  // Ends some of those that let one wait for a request, those that have done so longest; none that
  // has just come.
  void makeRoom();

 private:
  using Clock = std::chrono::steady_clock;
  struct Connection {
    enum class Stage { waiting, asked, ended } stage = Stage::waiting;
    Clock::time_point since = Clock::now();  // it is the client's turn
  };

  static void end(MHD_Connection* connection, Connection& state);

  explicit HttpDaemon(RequestHandler& handler) : handler_(handler) {}

  static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* path,
                              const char* method, const char* version, const char* upload,
                              std::size_t* uploadSize, void** state);
  static void onCompletion(void* self, MHD_Connection* connection, void** state,
                           MHD_RequestTerminationCode code);
  static void onConnection(void* self, MHD_Connection* connection, void** context,
                           MHD_ConnectionNotificationCode code);

  RequestHandler& handler_;
  MHD_Daemon* daemon_ = nullptr;
  int descriptor_ = -1;
  std::map<MHD_Connection*, Connection> connections_;
};

}  // namespace zanctl::exporter
