#include "exporter/passwords.h"

#include <cstdlib>
#include <memory>

#include <crypt.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

namespace zanctl::exporter {
namespace {

constexpr std::size_t kMostRemembered = 64;
// Nobody's: of the usual cost.
constexpr const char* kNobody = "$2b$10$CCCCCCCCCCCCCCCCCCCCC.E5YPO9kmyuRGyh0XouQYb4YMJKvyOeW";

bool areEqual(const void* a, const void* b, std::size_t size) {
  return gnutls_memcmp(a, b, size) == 0;
}

}  // namespace

Passwords::Passwords() {
  // Without it what is remembered would be plain hashes of passwords.
  if (gnutls_rnd(GNUTLS_RND_KEY, key_.data(), key_.size()) != 0) std::abort();
}

void Passwords::setUsers(std::map<std::string, std::string> users) {
  if (users != users_) remembered_.clear();
  users_ = std::move(users);
}

Passwords::Digest Passwords::digestOf(const std::string& user, const std::string& password) const {
  // A name has no colon.
  const std::string pair = user + ":" + password;
  Digest digest{};
  gnutls_hmac_fast(GNUTLS_MAC_SHA256, key_.data(), key_.size(), pair.data(), pair.size(),
                   digest.data());
  return digest;
}

bool Passwords::remembers(const std::string& user, const std::string& password) const {
  const Digest digest = digestOf(user, password);
  bool found = false;
  for (const Digest& known : remembered_) {
    found = areEqual(known.data(), digest.data(), digest.size()) || found;
  }
  return found;
}

bool Passwords::verify(const std::string& user, const std::string& password) {
  const auto known = users_.find(user);
  const std::string hash = known == users_.end() ? kNobody : known->second;
  const auto work = std::make_unique<crypt_data>();
  const char* result = crypt_r(password.c_str(), hash.c_str(), work.get());
  const bool right = result != nullptr && hash.size() == std::char_traits<char>::length(result) &&
                     areEqual(result, hash.data(), hash.size());
  if (!right || known == users_.end()) return false;
  remembered_.push_back(digestOf(user, password));
  if (remembered_.size() > kMostRemembered) remembered_.pop_front();
  return true;
}

}  // namespace zanctl::exporter
