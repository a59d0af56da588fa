#include "collector/gpu_names.h"

#include "device/number_text.h"
#include "device/selection.h"

namespace zanctl::collector {
namespace {

bool hasBusId(const Gpu& gpu, std::string_view id) {
  const auto wanted = parseBusId(id);
  return wanted && parseBusId(gpu.readings.identity.pciBusId.value_or("")) == wanted;
}

}  // namespace

bool namesIndex(std::string_view id, std::uint32_t index) {
  const auto decimal = wholeNumber(id, 10);
  return (decimal ? decimal : hexadecimalNumber(id)) == index;
}

bool isNamed(const Gpu& gpu, std::string_view id) {
  return (gpu.counted && namesIndex(id, gpu.index)) || (!id.empty() && id == gpu.uuid) ||
         hasBusId(gpu, id);
}

}  // namespace zanctl::collector
