#include "exporter/web_config.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string_view>

#include <crypt.h>
#include <sys/stat.h>
#include <yaml-cpp/yaml.h>

namespace zanctl::exporter {
namespace {

constexpr std::array<std::string_view, 4> kTlsVersions = {"TLS10", "TLS11", "TLS12", "TLS13"};
constexpr std::size_t kHashLength = 60;

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

using Take = std::function<void(const std::string& key, const YAML::Node& value)>;

// Calls `take` for each entry of a map that may also be empty.
void forEachEntry(const YAML::Node& map, std::string_view what, const Take& take) {
  if (map.IsNull()) return;
  if (!map.IsMap()) refuse(map, fmt::format("{} is no map", what));
  std::set<std::string> seen;
  for (const auto& entry : map) {
    const std::string key = textOf(entry.first, "a key");
    if (!seen.insert(key).second) refuse(entry.first, fmt::format("{} stands twice", key));
    take(key, entry.second);
  }
}

class ConfigReader {
 public:
  explicit ConfigReader(const std::string& file) : file_(file) { config_.files.push_back(file); }

  WebConfig read(const std::string& text) {
    forEachEntry(YAML::Load(text), "the configuration", [this](const auto& key, const auto& value) {
      if (key == "tls_server_config") {
        readTls(value);
      } else if (key == "basic_auth_users") {
        readUsers(value);
      } else {
        refuse(value, fmt::format("{} is not supported", key));
      }
    });
    return std::move(config_);
  }

 private:
  void readTls(const YAML::Node& map) {
    Tls tls{.certificate = {}, .key = {}, .minVersion = "TLS12"};
    forEachEntry(map, "tls_server_config", [&](const auto& key, const auto& value) {
      if (key == "cert_file") {
        tls.certificate = fileOf(value, key);
      } else if (key == "key_file") {
        tls.key = fileOf(value, key);
      } else if (key == "min_version") {
        tls.minVersion = textOf(value, key);
        if (std::count(kTlsVersions.begin(), kTlsVersions.end(), tls.minVersion) == 0) {
          refuse(value, fmt::format("there is no version {}", tls.minVersion));
        }
      } else {
        refuse(value, fmt::format("{} is not supported", key));
      }
    });
    if (tls.certificate.empty()) refuse(map, "tls_server_config lacks cert_file");
    if (tls.key.empty()) refuse(map, "tls_server_config lacks key_file");
    config_.tls = std::move(tls);
  }

  // Names are relative to the configuration's own directory.
  std::string fileOf(const YAML::Node& node, std::string_view what) {
    std::string path = textOf(node, what);
    if (path[0] != '/') path = file_.substr(0, file_.rfind('/') + 1) + path;
    config_.files.push_back(path);
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file.good() && content.empty()) {
      refuse(node, fmt::format("{} {} cannot be read", what, path));
    }
    return content;
  }

  void readUsers(const YAML::Node& map) {
    forEachEntry(map, "basic_auth_users", [&](const auto& name, const auto& value) {
      const std::string hash = textOf(value, "a hash");
      const bool isBcrypt = hash.starts_with("$2") && hash.size() == kHashLength &&
                            crypt_checksalt(hash.c_str()) == CRYPT_SALT_OK;
      if (!isBcrypt) refuse(value, fmt::format("the hash of {} is none of bcrypt", name));
      if (name.find(':') != std::string::npos) refuse(value, "a user's name has no colon");
      config_.users[name] = hash;
    });
  }

  std::string file_;
  WebConfig config_;
};

std::string located(const std::string& file, const YAML::Mark& mark, const std::string& why) {
  return mark.is_null() ? fmt::format("{}: {}", file, why)
                        : fmt::format("{}:{}: {}", file, mark.line + 1, why);
}

}  // namespace

std::variant<WebConfig, std::string> readWebConfig(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return fmt::format("{}: {}", file, std::strerror(errno));
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad()) return fmt::format("{}: cannot be read", file);
  try {
    return ConfigReader(file).read(text);
  } catch (const Refused& refused) {
    return located(file, refused.mark, refused.why);
  } catch (const YAML::Exception& error) {
    return located(file, error.mark, error.msg);
  }
}

FileWatch::FileWatch(std::vector<std::string> files) : files_(std::move(files)) {
  seen_ = stamps();
}

std::vector<FileWatch::Stamp> FileWatch::stamps() const {
  std::vector<Stamp> found;
  for (const std::string& file : files_) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) status = {};
    found.push_back({status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size,
                     static_cast<std::int64_t>(status.st_ino)});
  }
  return found;
}

bool FileWatch::haveChanged() {
  auto found = stamps();
  if (found == seen_) return false;
  seen_ = std::move(found);
  return true;
}

}  // namespace zanctl::exporter
