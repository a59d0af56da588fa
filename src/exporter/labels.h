// Labels as both text formats write them.
#pragma once

#include <string>
#include <string_view>

namespace zanctl::exporter {

// A label's value: cut to at most 256 bytes between characters, with "?" for each byte that is no
// UTF-8, and escaped.
std::string labelValue(std::string_view text);

// Labels between the braces: Labels().add("gpu", "0").add("uuid", "GPU-1").text().
class Labels {
 public:
  Labels() = default;
  explicit Labels(std::string_view written) : text_(written) {}

  Labels& add(std::string_view name, std::string_view value);
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace zanctl::exporter
