#include "live/frame.h"

#include "device/time.h"
#include "zanml/zanml.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>

namespace zanctl::live {
namespace {

using collector::Readings;

std::string orNothing(const collector::Text& text) {
  return text.value_or(std::string(kNotAvailable));
}

std::string voltsText(const std::optional<double>& volts) {
  return volts ? fmt::format("{:.2f}V", *volts) : std::string(kNotAvailable);
}

std::string clockText(const collector::Number& clock, const collector::Number& most) {
  if (!clock) return std::string(kNotAvailable);
  return most ? fmt::format("{}/{}MHz", *clock, *most) : fmt::format("{}MHz", *clock);
}

std::string switchText(const collector::Number& value) {
  if (!value) return std::string(kNotAvailable);
  return *value != 0 ? "on" : "off";
}

std::string linkText(const collector::Pcie& pcie) {
  if (!pcie.generation && !pcie.width) return std::string(kNotAvailable);
  return fmt::format("{} x{} of {} x{}", withUnit(pcie.generation, ""), withUnit(pcie.width, ""),
                     withUnit(pcie.maxGeneration, ""), withUnit(pcie.maxWidth, ""));
}

std::string secondsText(const collector::BigNumber& nanoseconds) {
  return nanoseconds ? fmt::format("{:.1f}s", static_cast<double>(*nanoseconds) / 1e9)
                     : std::string(kNotAvailable);
}

std::string enginesText(const collector::Engines& engines) {
  if (engines.vpuBusy.empty() || !engines.vpuTotal) return std::string(kNotAvailable);
  std::string text;
  for (const auto& busy : engines.vpuBusy) {
    text += text.empty() ? "" : " ";
    text += busy ? fmt::format("{}%", std::uint64_t{*busy} * 100 / *engines.vpuTotal) : "N/A";
  }
  return text;
}

std::string throttleText(const collector::BigNumber& reasons) {
  if (!reasons) return std::string(kNotAvailable);
  return *reasons == 0 ? "no" : fmt::format("yes ({:#x})", *reasons);
}

std::string levelText(std::uint32_t level) {
  switch (level) {
    case NVML_TOPOLOGY_INTERNAL:
      return "board";
    case NVML_TOPOLOGY_SINGLE:
      return "one bridge";
    case NVML_TOPOLOGY_MULTIPLE:
      return "bridges";
    case NVML_TOPOLOGY_HOSTBRIDGE:
      return "host bridge";
    case NVML_TOPOLOGY_NODE:
      return "node";
    case NVML_TOPOLOGY_SYSTEM:
      return "system";
    default:
      return fmt::format("level {}", level);
  }
}

// Indices in rising order: "1 4-7".
std::string rangesText(const std::vector<std::uint32_t>& indices) {
  std::string text;
  for (std::size_t begin = 0, end = 0; begin < indices.size(); begin = end) {
    for (end = begin + 1; end < indices.size() && indices[end] == indices[end - 1] + 1;) ++end;
    const std::string_view blank = text.empty() ? "" : " ";
    text += end - begin > 1 ? fmt::format("{}{}-{}", blank, indices[begin], indices[end - 1])
                            : fmt::format("{}{}", blank, indices[begin]);
  }
  return text;
}

// "board 1; node 2-7".
std::string linksText(const Readings& readings) {
  std::map<std::uint32_t, std::vector<std::uint32_t>> byLevel;
  for (const collector::Link& link : readings.links) byLevel[link.level].push_back(link.gpu);
  std::string text;
  for (auto& [level, gpus] : byLevel) {
    std::sort(gpus.begin(), gpus.end());
    text += fmt::format("{}{} {}", text.empty() ? "" : "; ", levelText(level), rangesText(gpus));
  }
  return text;
}

}  // namespace

std::vector<DetailValue> detailValues(const GpuEntry& entry) {
  const Readings& r = entry.readings;
  const auto& t = r.temperature;
  return {
      {"Bus id", orNothing(r.identity.pciBusId)},
      {"Serial", orNothing(r.identity.serial)},
      {"Firmware", orNothing(r.identity.firmwareVersion)},
      {"Board", r.board.id
                    ? fmt::format("{:#x}, GPU {}", *r.board.id, withUnit(r.board.position, ""))
                    : std::string(kNotAvailable)},
      {"Temperature", withUnit(t.gpu, "C"), temperatureStyle(t)},
      {"Slowdown at", withUnit(t.slowdown, "C")},
      {"Shutdown at", withUnit(t.shutdown, "C")},
      {"Board temp.", withUnit(t.board, "C")},
      {"Fan", withUnit(t.fanSpeed, "%")},
      {"Power",
       fmt::format("{} of {}", withUnit(r.power.usage, "W"), withUnit(r.power.enforcedLimit, "W"))},
      {"Board power", powerOf(r).ofBoard ? powerText(r) : std::string(kNotAvailable)},
      {"Voltages", fmt::format("{} {} {}", voltsText(r.power.gpuVolts),
                               voltsText(r.power.memoryVolts), voltsText(r.power.vcc12Volts))},
      {"SM clock", clockText(r.clock.sm, r.clock.maxSm)},
      {"Memory clock", clockText(r.clock.memory, r.clock.maxMemory)},
      {"State", stateText(r.clock.performanceState)},
      {"Throttled", throttleText(r.clock.throttleReasons),
       r.clock.throttleReasons.value_or(0) != 0 ? Style::warning : Style::plain},
      {"Held by power", secondsText(r.clock.powerViolation)},
      {"Held by heat", secondsText(r.clock.thermalViolation)},
      {"Memory", memoryText(r.memory)},
      {"SM, memory",
       fmt::format("{}, {}", withUnit(r.utilization.sm, "%"), withUnit(r.utilization.memory, "%"))},
      {"Enc., decoder", fmt::format("{}, {}", withUnit(r.utilization.encoder, "%"),
                                    withUnit(r.utilization.decoder, "%"))},
      {"Video engines", enginesText(r.engines)},
      {"ECC", fmt::format("{}, after reset {}", switchText(r.memory.eccEnabled),
                          switchText(r.memory.eccPending))},
      {"Retired pages", fmt::format("{} single, {} double", withUnit(r.memory.singleBitPages, ""),
                                    withUnit(r.memory.doubleBitPages, ""))},
      {"PCIe", linkText(r.pcie)},
      {"vGPUs", withUnit(r.vgpuCount, "")},
  };
}

const GpuEntry* Frame::chosenGpu() const {
  return view.gpu < model.gpus().size() ? &model.gpus()[view.gpu] : nullptr;
}

bool Frame::actsOnRows() const {
  const bool fits = detail.valueLines <= static_cast<std::size_t>(detail.values.height);
  return view.focus == Focus::processes || (view.screen == Screen::gpu && fits);
}

Frame prepareFrame(const Model& model, View& view, HostProcesses& host, Size size,
                   const Circumstances& circumstances) {
  Frame frame{model, view, circumstances, size, {}, {}, {}, {}, {}, {}};
  if (!isEnough(size)) return frame;
  view.gpu = model.gpus().empty() ? 0 : std::min(view.gpu, model.gpus().size() - 1);
  frame.rows = tableRows(model.processes(), orderOf(view, model), host);
  const GpuEntry* const chosen = frame.chosenGpu();
  std::size_t rowsShown = 0;
  if (view.screen == Screen::gpu && chosen != nullptr) {
    frame.values = detailValues(*chosen);
    frame.links = linksText(chosen->readings);
    if (frame.links.empty()) frame.links = model.gpus().size() > 1 ? kNotAvailable : "none";
    frame.detail = layoutDetail(size, frame.values.size(), frame.rows.size());
    rowsShown = frame.detail.rowsShown;
  } else if (view.screen != Screen::help) {
    frame.overview = layoutOverview(size, model.gpus().size(), model.processes().size());
    rowsShown = frame.overview.rowsShown;
  }
  settle(view, surroundingsOf(frame, host));
  for (std::size_t i = view.rowTop; i < std::min(view.rowTop + rowsShown, frame.rows.size()); ++i) {
    frame.facts.push_back(frame.rows[i]->isVgpu() ? nullptr : host.look(frame.rows[i]->pid));
  }
  return frame;
}

Surroundings surroundingsOf(const Frame& frame, HostProcesses& host) {
  Surroundings around{frame.model, frame.rows, host, frame.size};
  around.onRows = frame.actsOnRows();
  if (frame.view.screen == Screen::gpu) {
    around.rowsShown = frame.detail.rowsShown;
    around.valueLines = frame.detail.valueLines;
    around.valuesShown = static_cast<std::size_t>(frame.detail.values.height);
    around.processes = frame.detail.processes;
  } else {
    around.gpusShown = frame.overview.gpusShown;
    around.rowsShown = frame.overview.rowsShown;
    around.gpus = frame.overview.gpus;
    around.form = frame.overview.form;
    around.gpuHeight = frame.overview.gpuHeight;
    around.processes = frame.overview.processes;
  }
  return around;
}

void drawFrame(Surface& surface, const Frame& frame) {
  if (!isEnough(frame.size)) {
    drawTooSmall(surface);
  } else if (frame.view.screen == Screen::help) {
    drawHelp(surface, "Keys of zantop", keyHelp(), frame.view.helpTop);
  } else if (frame.view.screen == Screen::gpu && frame.chosenGpu() != nullptr) {
    drawDetail(surface, frame);
  } else {
    const OverviewLayout& layout = frame.overview;
    drawHead(surface, frame, layout.head);
    if (layout.form == GpuForm::line) {
      drawGpuLines(surface, frame, layout.gpus);
    } else {
      drawGpuBlocks(surface, frame, layout);
    }
    drawProcesses(surface, frame, layout.processes);
    drawFoot(surface, frame, layout.foot);
  }
}

}  // namespace zanctl::live
