// The keys of zantop, on a machine and on a recorded day, at all sizes of the terminal.
#include "live/frame.h"
#include "live/log_view.h"
#include "target.h"

namespace {

using namespace zanctl::live;
using fuzz::expect;

class Host : public HostProcesses {
 public:
  const HostFacts* look(std::uint32_t pid) override { return pid % 7 == 0 ? nullptr : &facts_; }

 private:
  HostFacts facts_ = {1, "root", "python3 \xe6\xbc\xa2 train.py", 12, 4096, 70};
};

zanctl::collector::Snapshot machine(std::uint8_t seed) {
  using namespace zanctl::collector;
  Snapshot snapshot;
  snapshot.library = LibraryState::running;
  for (std::uint32_t index = 0; index < seed % 20U; ++index) {
    Gpu& gpu = snapshot.gpus.emplace_back();
    gpu.index = index;
    gpu.state = index % 5 == 4 ? GpuState::silent : GpuState::up;
    if (gpu.state != GpuState::up) continue;
    gpu.readings.memory.total = seed * 1000ULL;
    gpu.readings.memory.used = 500ULL * index;
    gpu.readings.utilization.sm = index * 40;
    auto& processes = gpu.readings.processes.emplace();
    for (std::uint32_t n = 0; n < seed % 6U; ++n) processes.push_back({index * 10 + n + 1, 77, ""});
    if (index == 1) gpu.readings.vgpus.push_back({3, "vm", "type", 5, {}});
  }
  return snapshot;
}

// Sizes and keys; the others are characters.
KeyPress keyOf(std::uint8_t byte) {
  constexpr std::uint8_t kCharacters = 16;
  if (byte >= kCharacters) return {KeyCode::character, byte, 0, 0};
  return {static_cast<KeyCode>(byte), 0, byte * 7, byte * 2};
}

// Drawing takes most of the time, and few keys change all of it.
bool isDrawnAfter(std::uint8_t byte) { return byte % 8 == 0; }

Size sizeOf(std::uint8_t byte) { return {10 + byte % 16 * 14, 5 + byte / 16 % 4 * 13}; }

void pressOnMachine(std::string_view keys) {
  Host host;
  Model model;
  View view;
  Circumstances circumstances{"host", 0, 0, GraphKind::braille};
  Size size{80, 24};
  for (const char key : keys) {
    const auto byte = static_cast<std::uint8_t>(key);
    if (byte >= 0x80) model.take(machine(byte));
    if (byte >= 0xC0) size = sizeOf(byte);
    const Frame frame = prepareFrame(model, view, host, size, circumstances);
    if (isDrawnAfter(byte)) {
      Grid grid(size, Charset::unicode);
      drawFrame(grid, frame);
    }
    expect(frame.rows.empty() || view.rowPlace < frame.rows.size() || !isEnough(size),
           "a row is chosen");
    press(view, keyOf(byte), surroundingsOf(frame, host));
  }
}

void pressOnDay(std::string_view input) {
  LogData data(GpuSelection(), {});
  const std::size_t half = input.size() / 2;
  data.add(input.substr(0, half / 2));
  data.add(input.substr(half / 2, half - half / 2));
  LogView view;
  const Size size = {80, 24};
  for (const char key : input.substr(half)) {
    const LogLayout layout = layoutLog(size, data.gpus().size());
    settle(view, data, layout);
    const auto byte = static_cast<std::uint8_t>(key);
    if (isDrawnAfter(byte)) {
      Grid grid(size, Charset::ascii);
      drawLog(grid, data, view, layout, {"file", GraphKind::ascii});
    }
    expect(data.moments().empty() || view.moment < data.moments().size(),
           "the cursor is in the day");
    press(view, keyOf(byte), data, layout);
  }
}

}  // namespace

void fuzz::examine(std::string_view input) {
  constexpr std::size_t kLongest = 400;
  input = input.substr(0, kLongest);
  pressOnMachine(input);
  pressOnDay(input);
}
