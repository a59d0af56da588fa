// Apart from the terminal, since the header of terminal descriptions takes many names.
#pragma once

namespace zanctl::live {

// Whether the terminal that the environment names is known, and can write at any place.
bool canPlaceText();

}  // namespace zanctl::live
