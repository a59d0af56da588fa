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
  // that wait for one, and the passwords of strangers, one after the other.
  void work();
  [[nodiscard]] bool hasWork() const {
    return (!visitors_.empty() && !comparison_.isUnderWay()) || roundIsWanted_;
  }
  // Readable when there is work after a comparison of passwords; -1 while there is none.
  [[nodiscard]] int descriptor() const { return comparison_.descriptor(); }

  // From then on requests without an answer are dropped.
  void shutDown();

 private:
  struct Request;
  using Response = std::shared_ptr<MHD_Response>;

  // Decides on admission, or suspends the connection until the password is verified.
  void judge(Request& request);
  MHD_Result answer(Request& request, const std::string& path);
  MHD_Result answerReady(MHD_Connection* connection);
  MHD_Result answerScrape(Request& request);
  void seeToVisitors();
  void admitFirstVisitor(bool isRight);
  // A round that has ended by then, be it the one that runs.
  void wantRound(std::chrono::milliseconds patience);
  void deliver();

  std::string telemetryPath_;
  std::string page_;
  collector::Groups groups_;
  collector::Collector& collector_;
  Passwords passwords_;
  Comparison comparison_;                 // of the first visitor's password
  std::string hash_;                      // that it is compared with
  std::deque<Request*> visitors_;         // whose passwords are not known yet
  std::vector<Request*> scrapes_;         // that wait for the round
  std::chrono::milliseconds patience_{};  // of the least patient of those that want one
  bool roundIsWanted_ = false;
  bool ready_ = false;
  bool closing_ = false;
};

}  // namespace zanctl::exporter
