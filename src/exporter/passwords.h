// Who may read the metrics.
#pragma once

#include "device/descriptor.h"

#include <array>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include <sys/types.h>

namespace zanctl::exporter {

class Passwords {
 public:
  Passwords();

  // Hashes of bcrypt by name. Forgets whom it remembered if they are others than before.
  void setUsers(std::map<std::string, std::string> users);
  [[nodiscard]] bool areNeeded() const { return !users_.empty(); }

  // Whether this pair was right before, in a time that does not tell how near it comes.
  [[nodiscard]] bool remembers(const std::string& user, const std::string& password) const;

  // The hash to compare a password of this user with. A name that nobody has gets somebody else's,
  // so that it takes as long to refuse.
  [[nodiscard]] std::string hashFor(const std::string& user) const;
  // Takes note that this password has this hash. Whether it lets the user in.
  bool admit(const std::string& user, const std::string& password, const std::string& hash);

 private:
  using Digest = std::array<unsigned char, 32>;
  [[nodiscard]] Digest digestOf(const std::string& user, const std::string& password) const;

  std::map<std::string, std::string> users_;
  Digest key_{};
  std::deque<Digest> remembered_;  // the latest last
};

// Compares a password with a hash, which takes the time that bcrypt is meant to take, in a process
// of its own: nobody else waits for it, and it can be given up at any time.
class Comparison {
 public:
  Comparison() = default;
  ~Comparison();
  Comparison(const Comparison&) = delete;
  Comparison& operator=(const Comparison&) = delete;

  // Not while one is under way. When the system has no process for it, it is done on return.
  void start(const std::string& password, const std::string& hash);
  [[nodiscard]] bool isUnderWay() const { return answer_.isOpen(); }
  // Readable when one that is under way has a result; else -1.
  [[nodiscard]] int descriptor() const { return answer_.number(); }
  // Empty while there is none; takes it away.
  std::optional<bool> result();

 private:
  void end();

  pid_t pid_ = -1;
  Descriptor answer_;
  std::optional<bool> result_;  // of one that found no process
};

}  // namespace zanctl::exporter
