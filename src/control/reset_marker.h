// The driver's reset-in-progress marker, for the time of a reset.
#pragma once

#include <optional>

namespace zanctl {

class ResetMarker {
 public:
  // Sets the marker; empty where a reset is in progress already or the marker cannot be read.
  static std::optional<ResetMarker> take();

  // Takes the marker back, whatever ends the reset.
  ~ResetMarker();
  ResetMarker(ResetMarker&& other) noexcept;
  ResetMarker& operator=(ResetMarker&&) = delete;

  // Restarts the library and takes the marker back on the way.
  void releaseWithRestart();

 private:
  ResetMarker() = default;

  bool isSet_ = true;
};

}  // namespace zanctl
