// The web configuration file: TLS and passwords.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace zanctl::exporter {

struct Tls {
  std::string certificate;  // PEM
  std::string key;          // PEM
  std::string minVersion;   // "TLS10" to "TLS13"

  bool operator==(const Tls&) const = default;
};

// Notices that files were changed or replaced.
class FileWatch {
 public:
  // From now on, so before it is read; also one that is not there yet.
  void add(const std::string& file);

  // Since they were added, or since the last time this was true.
  bool haveChanged();

 private:
  using Stamp = std::array<std::int64_t, 4>;
  static Stamp stampOf(const std::string& file);

  std::map<std::string, Stamp> stamps_;
};

struct WebConfig {
  std::optional<Tls> tls;
  std::map<std::string, std::string> users;  // hashes of the passwords, by name
  FileWatch watch;  // over all files that were read for it, or could not be
  // What is wrong, as "FILE:LINE: ..."; empty when nothing is. With a problem only `watch` counts.
  std::string problem;
};

// Anything that it does not know is refused: it might have been meant to keep somebody out.
WebConfig readWebConfig(const std::string& file);

}  // namespace zanctl::exporter
