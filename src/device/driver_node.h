// The nodes that show that the driver is there.
#pragma once

namespace zanctl {

enum class DriverNode { present, missing, unknown };

// Looks for one in "/dev"; unknown when that cannot be read.
DriverNode findDriverNode();

}  // namespace zanctl
