// What the parent and the child say to each other: requests of a fixed size, and answers in frames
// of a length and that many bytes. The parent believes nothing of what it gets: the library shares
// a process with the sender.
#pragma once

#include "collector/groups.h"
#include "collector/snapshot.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zanctl::collector {

enum class Question : std::uint32_t { system, gpu, links };

struct Request {
  Question question;
  std::uint32_t index;  // of the GPU
  Groups groups;
  std::uint32_t freshSession;  // 1 to restart the library first; with the question for the system
};

struct SystemAnswer {
  LibraryState state = LibraryState::failing;
  std::string problem;
  std::uint32_t gpuCount = 0;
  Text driverVersion;
  Text libraryVersion;
  Text cudaVersion;
};

// Also to the question for links, with nothing else in the readings.
struct GpuAnswer {
  std::uint32_t index = 0;
  bool answered = false;   // anything at all
  Number resetInProgress;  // which GPU 0 keeps for the machine
  Readings readings;
};

// More is garbage.
inline constexpr std::size_t kMaxFrame = std::size_t{16} << 20U;
inline constexpr std::uint32_t kMaxGpus = 4096;
inline constexpr std::size_t kMaxListed = 65'536;  // entries of a list
inline constexpr std::size_t kMaxVgpus = 1024;     // of a GPU

// With the length in front.
std::string frameOf(const SystemAnswer& answer);
std::string frameOf(const GpuAnswer& answer);

// The first frame in the bytes: nothing while it is not complete.
struct Frame {
  bool garbage = false;
  std::optional<std::string_view> payload;
};
inline constexpr std::size_t kFrameHead = sizeof(std::uint32_t);
Frame firstFrame(std::string_view bytes);

// Nothing unless the payload is exactly one such answer with values that can be.
std::optional<SystemAnswer> systemAnswer(std::string_view payload);
std::optional<GpuAnswer> gpuAnswer(std::string_view payload);

}  // namespace zanctl::collector
