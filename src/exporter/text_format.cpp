#include "exporter/text_format.h"

#include <fmt/format.h>

#include <cmath>

namespace zanctl::exporter {
namespace {

std::string_view kindText(Kind kind, TextFormat format) {
  if (kind == Kind::counter) return "counter";
  return kind == Kind::info && format == TextFormat::openMetrics ? "info" : "gauge";
}

// OpenMetrics names a family without what its samples end in.
std::string_view familyName(const Family& family, TextFormat format) {
  if (format != TextFormat::openMetrics || family.kind == Kind::gauge) return family.name;
  return family.name.substr(0, family.name.rfind('_'));
}

// Writes the head of a family in front of its first sample.
class FamilyText : public Sink {
 public:
  FamilyText(std::string& text, const Family& family, TextFormat format)
      : text_(text), family_(family), format_(format) {}

  void sample(std::string_view labels, std::optional<double> value) override {
    sample(labels, "", value);
  }

  void sample(std::string_view labels, std::string_view furtherLabels,
              std::optional<double> value) override {
    if (!value || !std::isfinite(*value)) return;
    if (!begun_) writeHead();
    text_ += family_.name;
    if (!labels.empty()) {
      text_ += '{';
      text_ += labels;
      if (!furtherLabels.empty()) text_ += ',';
      text_ += furtherLabels;
      text_ += '}';
    }
    text_ += ' ';
    text_ += fmt::format("{}", *value);
    text_ += '\n';
  }

 private:
  void writeHead() {
    begun_ = true;
    const std::string_view name = familyName(family_, format_);
    text_ += fmt::format("# HELP {} {}\n# TYPE {} {}\n", name, family_.help, name,
                         kindText(family_.kind, format_));
  }

  std::string& text_;
  const Family& family_;
  TextFormat format_;
  bool begun_ = false;
};

}  // namespace

std::string_view contentType(TextFormat format) {
  return format == TextFormat::openMetrics
             ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
             : "text/plain; version=0.0.4; charset=utf-8";
}

std::string writeText(TextFormat format, const Scrape& scrape) {
  std::string text;
  for (const Family& family : families()) {
    if (!scrape.shows(family.groups)) continue;
    FamilyText sink(text, family, format);
    writeSamples(family, scrape, sink);
  }
  if (format == TextFormat::openMetrics) text += "# EOF\n";
  return text;
}

}  // namespace zanctl::exporter
