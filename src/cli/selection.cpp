#include "cli/selection.h"

#include "cli/options.h"
#include "device/attributes.h"
#include "device/session.h"
#include "output/option_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <ostream>

namespace zanctl {
namespace {

constexpr std::string_view kUuidTemplate = "GPU-xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
constexpr std::size_t kMaxBusIdFieldDigits = 8;

// The text read whole as a number of this base; empty for anything else, and for a number beyond
// 32 bits.
std::optional<std::uint32_t> wholeNumber(std::string_view text, int base) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint32_t> hexadecimalNumber(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  return wholeNumber(text, 16);
}

struct BusId {
  std::uint32_t domain = 0;
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
};

std::optional<std::uint32_t> busIdField(std::string_view text) {
  return text.size() <= kMaxBusIdFieldDigits ? wholeNumber(text, 16) : std::nullopt;
}

// "[[domain:]bus:]device.function".
std::optional<BusId> parseBusId(std::string_view text) {
  const std::size_t dot = text.rfind('.');
  if (dot == std::string_view::npos || !busIdField(text.substr(dot + 1))) return std::nullopt;
  text = text.substr(0, dot);
  BusId id;
  for (std::uint32_t* field : {&id.device, &id.bus, &id.domain}) {
    const std::size_t colon = text.rfind(':');
    const auto value = busIdField(colon == std::string_view::npos ? text : text.substr(colon + 1));
    if (!value) return std::nullopt;
    *field = *value;
    if (colon == std::string_view::npos) return id;
    text = text.substr(0, colon);
  }
  return std::nullopt;
}

// The first GPU that the predicate, which reads the current GPU, holds for.
template <typename Predicate>
std::int32_t findDevice(std::uint32_t count, const Predicate& isWanted) {
  for (std::uint32_t index = 0; index < count; ++index) {
    session().currentDevice = index;
    if (isWanted()) return static_cast<std::int32_t>(index);
  }
  return -1;
}

std::int32_t resolveUuid(std::string_view text, std::uint32_t count) {
  return findDevice(count, [text] { return attributes::uuid() == text; });
}

std::int32_t resolveBusId(const BusId& id, std::uint32_t count) {
  return findDevice(count, [&id] {
    const auto pci = attributes::pci();
    return pci && pci->domain == id.domain && pci->bus == id.bus && pci->device == id.device;
  });
}

}  // namespace

bool isSelected(const DeviceSet& selection, std::uint32_t index) {
  return selection.empty() || selection.contains(static_cast<std::int32_t>(index));
}

std::int32_t resolveDeviceId(std::string_view text) {
  const std::uint32_t count =
      std::min<std::uint32_t>(session().deviceCount, std::numeric_limits<std::int32_t>::max());
  for (const auto number : {wholeNumber(text, 10), hexadecimalNumber(text)}) {
    if (number && *number < count) return static_cast<std::int32_t>(*number);
  }
  if (text.size() == kUuidTemplate.size()) {
    if (const std::int32_t index = resolveUuid(text, count); index >= 0) return index;
  }
  if (const auto busId = parseBusId(text)) return resolveBusId(*busId, count);
  return -1;
}

int resolveDevices(const std::string& idOption, DeviceSet& selection, std::ostream& out) {
  selection.clear();
  if (!given(idOption)) return 0;
  for (const std::string_view piece : splitAtCommas(idOption)) {
    // An empty piece names nothing: it must not be taken for GPU 0.
    if (piece.empty()) continue;
    const std::int32_t index = resolveDeviceId(piece);
    if (index < 0) {
      selection.clear();
      break;
    }
    selection.insert(index);
  }
  if (!selection.empty()) return 0;
  out << "No device were found\n";
  return -1;
}

}  // namespace zanctl
