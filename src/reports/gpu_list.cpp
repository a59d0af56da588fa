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
    join(text, "GPU ");
    alignRight(text, 2, Decimal(index));
    join(text, ": ", attributes::name().value_or(kUnavailableText),
         " (UUID: ", attributes::uuid().value_or(kUnavailableText), ")\n");
  });
  out << text;
  return 0;
}

}  // namespace zanctl
