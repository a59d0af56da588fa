// What is answered to whom: the paths, the passwords, and the scrapes that share a round.
#pragma once

#include "collector/collector.h"
#include "exporter/http_daemon.h"
#include "exporter/options.h"
#include "exporter/passwords.h"
#include "exporter/text_format.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zanctl::exporter {

class Site : public RequestHandler {
 public:
  Site(const Options& options, collector::Collector& collector);

  void setUsers(std::map<std::string, std::string> users) { passwords_.setUsers(std::move(users)); }

  MHD_Result handle(MHD_Connection* connection, const char* path, const char* method,
                    void** state) override;
  void complete(void* state) override;

  // When the collector's descriptor is readable.
  void proceed();

  // What requests have left to be done when the HTTP library is done with them: a round for those
  // that wait for one, and one password to be verified. That takes a while, so that scrapers who
  // are known are served between any two of a crowd that is not.
  void work();
  [[nodiscard]] bool hasWork() const {
    return !visitors_.empty() || (!scrapes_.empty() && !collector_.isRunning());
  }

  // From then on requests without an answer are dropped.
  void shutDown();

 private:
  struct Request;
  using Response = std::shared_ptr<MHD_Response>;

  // Decides on admission, or suspends the connection until the password is verified.
  void judge(Request& request);
  MHD_Result answer(Request& request, const std::string& path);
  MHD_Result answerScrape(Request& request);
  void verifyOneVisitor();
  void startRound(std::chrono::milliseconds deadline);
  void deliver();

  std::string telemetryPath_;
  std::string page_;
  collector::Groups groups_;
  collector::Collector& collector_;
  Passwords passwords_;
  std::vector<Request*> scrapes_;  // that wait for the round
  std::deque<Request*> visitors_;  // whose passwords are to be verified
  bool ready_ = false;
  bool closing_ = false;
};

}  // namespace zanctl::exporter
