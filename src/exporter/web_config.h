// The web configuration file: TLS and passwords.
#pragma once

#include <array>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zanctl::exporter {

struct Tls {
  std::string certificate;  // PEM
  std::string key;          // PEM
  std::string minVersion;   // "TLS10" to "TLS13"

  bool operator==(const Tls&) const = default;
};

struct WebConfig {
  std::optional<Tls> tls;
  std::map<std::string, std::string> users;  // hashes of the passwords, by name
  std::vector<std::string> files;            // all that were read for it
};

// Or what is wrong, as "FILE:LINE: ...". Anything that it does not know is refused: it might have
// been meant to keep somebody out.
std::variant<WebConfig, std::string> readWebConfig(const std::string& file);

// Notices that files were changed or replaced.
class FileWatch {
 public:
  explicit FileWatch(std::vector<std::string> files);

  // Since the watch was made, or since the last time this was true.
  bool haveChanged();

 private:
  using Stamp = std::array<std::int64_t, 4>;
  [[nodiscard]] std::vector<Stamp> stamps() const;

  std::vector<std::string> files_;
  std::vector<Stamp> seen_;
};

}  // namespace zanctl::exporter
