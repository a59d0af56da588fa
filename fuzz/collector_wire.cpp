// What comes from the process that the library shares, whole, cut or made up, up to the scrape.
#include "collector/known_gpus.h"
#include "collector/wire.h"
#include "exporter/json_format.h"
#include "exporter/text_format.h"
#include "target.h"

#include <utility>

using namespace zanctl::collector;
using namespace zanctl::exporter;

void fuzz::examine(std::string_view input) {
  Snapshot snapshot;
  for (Frame frame; (frame = firstFrame(input)).payload;) {
    const std::string_view payload = *frame.payload;
    input.remove_prefix(kFrameHead + payload.size());
    if (const auto system = systemAnswer(payload)) {
      expect(frameOf(*system).substr(kFrameHead) == payload, "a system is written as it is read");
      snapshot.gpuCount = system->gpuCount;
      snapshot.driverVersion = system->driverVersion;
    }
    if (auto answer = gpuAnswer(payload)) {
      expect(frameOf(*answer).substr(kFrameHead) == payload, "a GPU is written as it is read");
      Gpu& gpu = snapshot.gpus.emplace_back();
      gpu.index = static_cast<std::uint32_t>(snapshot.gpus.size() - 1);
      gpu.state = answer->answered ? GpuState::up : GpuState::silent;
      gpu.uuid = answer->readings.uuid.value_or("");
      gpu.readings = std::move(answer->readings);
    }
  }
  KnownGpus().complete(snapshot.gpus);
  const std::string text = writeText(TextFormat::openMetrics, Scrape(snapshot, ~0U));
  forEachPiece(text, '\n', [](std::string_view line) {
    expect(line.empty() || line[0] == '#' || line.starts_with("zan"), "a sample is one line");
  });
  expect(!writeJson(snapshot).empty(), "whatever it is has a form in JSON");
}
