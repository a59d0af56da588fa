#include "device/selection.h"

#include "device/attributes.h"
#include "device/number_text.h"

namespace zanctl {
namespace {

constexpr std::string_view kUuidTemplate = "GPU-xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
constexpr std::size_t kMaxBusIdFieldDigits = 8;

std::optional<std::uint64_t> busIdField(std::string_view text) {
  return text.size() <= kMaxBusIdFieldDigits ? wholeNumber(text, 16) : std::nullopt;
}

// The first GPU that the predicate, which reads the current GPU, holds for.
template <typename Predicate>
std::int32_t findDevice(const Predicate& isWanted) {
  for (std::uint32_t index = 0; index < session().deviceCount; ++index) {
    session().currentDevice = index;
    if (isWanted()) return static_cast<std::int32_t>(index);
  }
  return -1;
}

std::int32_t resolveUuid(std::string_view text) {
  return findDevice([text] { return attributes::uuid() == text; });
}

std::int32_t resolveBusId(const BusId& id) {
  return findDevice([&id] {
    const auto pci = attributes::pci();
    return pci && pci->domain == id.domain && pci->bus == id.bus && pci->device == id.device;
  });
}

}  // namespace

std::optional<BusId> parseBusId(std::string_view text) {
  const std::size_t dot = text.rfind('.');
  if (dot == std::string_view::npos || !busIdField(text.substr(dot + 1))) return std::nullopt;
  text = text.substr(0, dot);
  BusId id;
  for (std::uint64_t* field : {&id.device, &id.bus, &id.domain}) {
    const std::size_t colon = text.rfind(':');
    const auto value = busIdField(colon == std::string_view::npos ? text : text.substr(colon + 1));
    if (!value) return std::nullopt;
    *field = *value;
    if (colon == std::string_view::npos) return id;
    text = text.substr(0, colon);
  }
  return std::nullopt;
}

bool isSelected(const DeviceSet& selection, std::uint32_t index) {
  return selection.empty() || selection.contains(static_cast<std::int32_t>(index));
}

std::int32_t resolveDeviceId(std::string_view text) {
  for (const auto number : {wholeNumber(text, 10), hexadecimalNumber(text)}) {
    if (number && *number < session().deviceCount) return static_cast<std::int32_t>(*number);
  }
  if (text.size() == kUuidTemplate.size()) {
    if (const std::int32_t index = resolveUuid(text); index >= 0) return index;
  }
  if (const auto busId = parseBusId(text)) return resolveBusId(*busId);
  return -1;
}

}  // namespace zanctl
