// Who may read the metrics.
#pragma once

#include <array>
#include <deque>
#include <map>
#include <string>

namespace zanctl::exporter {

class Passwords {
 public:
  Passwords();

  // Hashes of bcrypt by name. Forgets whom it remembered if they are others than before.
  void setUsers(std::map<std::string, std::string> users);
  [[nodiscard]] bool areNeeded() const { return !users_.empty(); }

  // Whether this pair was verified before, in a time that does not tell how near it comes.
  [[nodiscard]] bool remembers(const std::string& user, const std::string& password) const;

  // Takes the time that bcrypt is meant to take, for names that nobody has too. Remembers the pair
  // if it is right.
  bool verify(const std::string& user, const std::string& password);

 private:
  using Digest = std::array<unsigned char, 32>;
  [[nodiscard]] Digest digestOf(const std::string& user, const std::string& password) const;

  std::map<std::string, std::string> users_;
  Digest key_{};
  std::deque<Digest> remembered_;  // the latest last
};

}  // namespace zanctl::exporter
