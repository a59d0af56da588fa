// The list of -i on a machine of twenty GPUs.
#include "device/session.h"
#include "request/option_values.h"
#include "request/options.h"
#include "support/held_devices.h"
#include "target.h"

#include <fmt/format.h>

#include <array>
#include <set>
#include <sstream>
#include <string>

namespace {

using namespace zanctl;

constexpr std::int32_t kGpus = 20;

std::string uuidOf(std::uint32_t gpu) {
  return fmt::format("GPU-{0:08x}-{0:04x}-0000-0000-00000000000{0:x}", gpu % 16);
}

// Domain, bus and device of a GPU; the last has neither these nor a UUID.
std::array<std::uint32_t, 3> placeOf(std::uint32_t gpu) {
  return {gpu % 3 == 0 ? 0U : gpu, gpu % 2 == 0 ? 0U : 0x17U + gpu, gpu % 5};
}

bool holdMachine() {
  holdDevices(kGpus);
  library().nvmlDeviceGetUUID.bind([](nvmlDevice_t device, char* text, unsigned int) {
    if (gpuOf(device) == kGpus - 1) return NVML_ERROR_GPU_IS_LOST;
    std::strcpy(text, uuidOf(gpuOf(device)).c_str());
    return NVML_SUCCESS;
  });
  library().nvmlDeviceGetPciInfo.bind([](nvmlDevice_t device, nvmlPciInfo_t* pci) {
    if (gpuOf(device) == kGpus - 1) return NVML_ERROR_GPU_IS_LOST;
    std::tie(pci->domain, pci->bus, pci->device) = std::tuple_cat(placeOf(gpuOf(device)));
    return NVML_SUCCESS;
  });
  return true;
}

bool isDigits(std::string_view text, const char* digits) {
  return !text.empty() && text.find_first_not_of(digits) == std::string_view::npos;
}

bool isNumber(std::string_view text, int base, std::uint64_t value) {
  constexpr const char* kDigits = "0123456789abcdefABCDEF";
  const std::string digits(text);
  return isDigits(digits, base == 10 ? "0123456789" : kDigits) &&
         std::strtoull(digits.c_str(), nullptr, base) == value;
}

bool isBusId(std::string_view text, std::array<std::uint32_t, 3> place) {
  const std::size_t dot = text.rfind('.');
  if (dot == std::string_view::npos) return false;
  std::string fields(text.substr(0, dot));
  for (auto colons = std::count(fields.begin(), fields.end(), ':'); colons < 2; ++colons) {
    fields.insert(0, "0:");
  }
  bool equal = std::count(fields.begin(), fields.end(), ':') == 2;
  const std::uint32_t* field = place.data();
  fuzz::forEachPiece(
      fields, ':', [&](std::string_view piece) { equal = equal && isNumber(piece, 16, *field++); });
  return equal;
}

bool isNameOf(std::string_view text, std::uint32_t gpu) {
  if (isNumber(text, 10, gpu) || isNumber(text, 16, gpu)) return true;
  const bool prefixed = text.starts_with("0x") || text.starts_with("0X");
  if (prefixed && isNumber(text.substr(2), 16, gpu)) return true;
  return gpu != kGpus - 1 && (text == uuidOf(gpu) || isBusId(text, placeOf(gpu)));
}

}  // namespace

void fuzz::examine(std::string_view input) {
  [[maybe_unused]] static const bool held = holdMachine();
  const std::string text(input);
  DeviceSet selection{7};
  std::ostringstream out;
  const int result = resolveDevices(text, selection, out);
  if (!given(text)) return expect(result == 0 && selection.empty(), "no list selects every GPU");

  DeviceSet named;
  bool wrong = false;
  forEachPiece(input, ',', [&](std::string_view piece) {
    if (piece.empty()) return;
    const std::int32_t index = resolveDeviceId(piece);
    expect(index < kGpus, "an index is one of a GPU");
    expect(index < 0 || isNameOf(piece, static_cast<std::uint32_t>(index)),
           "what names a GPU is its index, UUID or bus id");
    wrong = wrong || index < 0;
    if (index >= 0) named.insert(index);
  });
  if (wrong) named.clear();
  expect(selection == named, "a list selects what its pieces name, or nothing");
  expect(result == (named.empty() ? -1 : 0), "a list that selects nothing is refused");
  expect(out.str() == (named.empty() ? "No device were found\n" : ""), "and only that is said");
}
