// The attributes of the current GPU that several rows of a query or report show: each is read when
// it is first asked for, and then never again. What one row shows is read in that row.
#pragma once

#include "device/attributes.h"

#include <ctime>
#include <optional>

namespace zanctl {

// A value read at most once.
template <typename Value>
class Once {
 public:
  template <typename Read>
  const Value& operator()(const Read& read) {
    if (!value_) value_ = read();
    return *value_;
  }

 private:
  std::optional<Value> value_;
};

class GpuAttributes {
 public:
  explicit GpuAttributes(std::time_t time) : time_(time) {}

  // When the reading of this GPU began.
  [[nodiscard]] std::time_t time() const { return time_; }

  const auto& name() { return name_(attributes::name); }
  const auto& serial() { return serial_(attributes::serial); }
  const auto& uuid() { return uuid_(attributes::uuid); }
  const auto& pci() { return pci_(attributes::pci); }
  const auto& memory() { return memory_(attributes::memory); }
  const auto& utilization() { return utilization_(attributes::utilization); }
  const auto& boardId() { return boardId_(attributes::boardId); }
  const auto& boardPosition() { return boardPosition_(attributes::boardPosition); }
  const auto& ceMask() { return ceMask_(attributes::ceMask); }
  const auto& virtualizationMode() { return virtualizationMode_(attributes::virtualizationMode); }

 private:
  std::time_t time_;
  Once<std::optional<std::string>> name_;
  Once<std::optional<std::string>> serial_;
  Once<std::optional<std::string>> uuid_;
  Once<std::optional<nvmlPciInfo_t>> pci_;
  Once<std::optional<nvmlMemory_t>> memory_;
  Once<std::optional<nvmlUtilization_t>> utilization_;
  Once<std::optional<std::uint32_t>> boardId_;
  Once<std::optional<std::uint32_t>> boardPosition_;
  Once<std::optional<attributes::CeMask>> ceMask_;
  Once<std::optional<std::uint32_t>> virtualizationMode_;
};

}  // namespace zanctl
