#include "reports/gpu_list.h"

#include "device/attributes.h"
#include "device/records.h"
#include "device/selection.h"
#include "output/text.h"

#include <ostream>

namespace zanctl {

int printGpuList(std::ostream& out) {
  std::string text;
  forEachDevice({}, [&text](std::uint32_t index) {
    append(text, FMT_COMPILE("GPU {:>2}: {} (UUID: {})\n"), index,
           attributes::name().value_or(kUnavailableText),
           attributes::uuid().value_or(kUnavailableText));
  });
  out << text;
  return 0;
}

}  // namespace zanctl
