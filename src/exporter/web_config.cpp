#include "exporter/web_config.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <string_view>
#include <utility>

#include <crypt.h>
#include <gnutls/gnutls.h>
#include <sys/stat.h>
#include <yaml-cpp/yaml.h>

namespace zanctl::exporter {
namespace {

constexpr std::array<std::string_view, 4> kTlsVersions = {"TLS10", "TLS11", "TLS12", "TLS13"};
constexpr std::size_t kHashLength = 60;

// Far beyond what anybody writes.
constexpr std::streamsize kMostBytes = 1 << 20;

// False and the reason in errno when it cannot be read.
bool readWhole(const std::string& path, std::string& content) {
  errno = EIO;
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  content.resize(kMostBytes);
  file.read(content.data(), kMostBytes);
  content.resize(static_cast<std::size_t>(file.gcount()));
  return !file.bad();
}

struct Refused {
  YAML::Mark mark;
  std::string why;
};

[[noreturn]] void refuse(const YAML::Node& node, std::string why) {
  throw Refused{node.Mark(), std::move(why)};
}

std::string textOf(const YAML::Node& node, std::string_view what) {
  if (!node.IsScalar() || node.Scalar().empty()) refuse(node, fmt::format("{} is no text", what));
  return node.Scalar();
}

// Takes an entry; the key also as the text that it is.
using Take =
    std::function<void(const std::string& name, const YAML::Node& key, const YAML::Node& value)>;

// Calls `take` for each entry of a map that may also be empty.
void forEachEntry(const YAML::Node& map, std::string_view what, const Take& take) {
  if (map.IsNull()) return;
  if (!map.IsMap()) refuse(map, fmt::format("{} is no map", what));
  std::set<std::string> seen;
  for (const auto& entry : map) {
    const std::string name = textOf(entry.first, "a key");
    if (!seen.insert(name).second) refuse(entry.first, fmt::format("{} stands twice", name));
    take(name, entry.first, entry.second);
  }
}

// Why the TLS library does not take them; empty when it does.
std::string rejection(const Tls& tls) {
  const auto datum = [](const std::string& pem) {
    // The library only reads it.
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(pem.data()));
    return gnutls_datum_t{bytes, static_cast<unsigned>(pem.size())};
  };
  const gnutls_datum_t certificate = datum(tls.certificate);
  const gnutls_datum_t key = datum(tls.key);
  gnutls_certificate_credentials_t credentials = nullptr;
  int code = gnutls_certificate_allocate_credentials(&credentials);
  if (code >= 0) {
    code =
        gnutls_certificate_set_x509_key_mem(credentials, &certificate, &key, GNUTLS_X509_FMT_PEM);
    gnutls_certificate_free_credentials(credentials);
  }
  return code < 0 ? gnutls_strerror(code) : "";
}

class ConfigReader {
 public:
  ConfigReader(const std::string& file, WebConfig& config) : file_(file), config_(config) {}

  void read(const std::string& text) {
    forEachEntry(YAML::Load(text), "the configuration",
                 [this](const auto& name, const auto& key, const auto& value) {
                   if (name == "tls_server_config") {
                     readTls(key, value);
                   } else if (name == "basic_auth_users") {
                     readUsers(value);
                   } else {
                     refuse(key, fmt::format("{} is not supported", name));
                   }
                 });
  }

 private:
  void readTls(const YAML::Node& place, const YAML::Node& map) {
    Tls tls{.certificate = {}, .key = {}, .minVersion = "TLS12"};
    std::set<std::string> found;
    forEachEntry(
        map, "tls_server_config", [&](const auto& name, const auto& key, const auto& value) {
          found.insert(name);
          if (name == "cert_file") {
            tls.certificate = fileOf(value, name);
          } else if (name == "key_file") {
            tls.key = fileOf(value, name);
          } else if (name == "min_version") {
            tls.minVersion = textOf(value, name);
            if (std::count(kTlsVersions.begin(), kTlsVersions.end(), tls.minVersion) == 0) {
              refuse(value, fmt::format("there is no version {}", tls.minVersion));
            }
          } else {
            refuse(key, fmt::format("{} is not supported", name));
          }
        });
    for (const char* needed : {"cert_file", "key_file"}) {
      if (!found.contains(needed)) refuse(place, fmt::format("tls_server_config lacks {}", needed));
    }
    if (const std::string why = rejection(tls); !why.empty()) {
      refuse(place, fmt::format("cert_file and key_file cannot be used: {}", why));
    }
    config_.tls = std::move(tls);
  }

  // Names are relative to the configuration's own directory.
  std::string fileOf(const YAML::Node& node, std::string_view what) {
    std::string path = textOf(node, what);
    if (path[0] != '/') path = file_.substr(0, file_.rfind('/') + 1) + path;
    config_.watch.add(path);
    std::string content;
    if (!readWhole(path, content)) {
      refuse(node, fmt::format("{} {}: {}", what, path, std::strerror(errno)));
    }
    return content;
  }

  void readUsers(const YAML::Node& map) {
    forEachEntry(map, "basic_auth_users",
                 [&](const auto& name, const auto& key, const auto& value) {
                   const std::string hash = textOf(value, "a hash");
                   const bool isBcrypt = hash.starts_with("$2") && hash.size() == kHashLength &&
                                         crypt_checksalt(hash.c_str()) == CRYPT_SALT_OK;
                   if (!isBcrypt) {
                     refuse(value, fmt::format("the hash of {} is none of bcrypt", name));
                   }
                   if (name.find(':') != std::string::npos) {
                     refuse(key, "a user's name has no colon");
                   }
                   config_.users[name] = hash;
                 });
  }

  const std::string& file_;
  WebConfig& config_;
};

std::string located(const std::string& file, const YAML::Mark& mark, const std::string& why) {
  return mark.is_null() ? fmt::format("{}: {}", file, why)
                        : fmt::format("{}:{}: {}", file, mark.line + 1, why);
}

}  // namespace

WebConfig readWebConfig(const std::string& file) {
  WebConfig config;
  config.watch.add(file);
  std::string text;
  if (!readWhole(file, text)) {
    config.problem = fmt::format("{}: {}", file, std::strerror(errno));
    return config;
  }
  try {
    ConfigReader(file, config).read(text);
  } catch (const Refused& refused) {
    config.problem = located(file, refused.mark, refused.why);
  } catch (const YAML::Exception& error) {
    config.problem = located(file, error.mark, error.msg);
  }
  return config;
}

FileWatch::Stamp FileWatch::stampOf(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) status = {};
  return {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size,
          static_cast<std::int64_t>(status.st_ino)};
}

void FileWatch::add(const std::string& file) { stamps_[file] = stampOf(file); }

bool FileWatch::haveChanged() {
  bool changed = false;
  for (auto& [file, stamp] : stamps_) {
    const Stamp former = std::exchange(stamp, stampOf(file));
    changed = changed || former != stamp;
  }
  return changed;
}

}  // namespace zanctl::exporter
