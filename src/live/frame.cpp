#include "live/frame.h"

#include "device/time.h"
#include "zanml/zanml.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

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

// "board 1 · node 2 3 4".
std::string linksText(const Readings& readings) {
  std::vector<std::pair<std::uint32_t, std::string>> byLevel;
  for (const collector::Link& link : readings.links) {
    auto known = std::find_if(byLevel.begin(), byLevel.end(),
                              [&link](const auto& entry) { return entry.first == link.level; });
    if (known == byLevel.end())
      known = byLevel.insert(byLevel.end(), {link.level, levelText(link.level)});
    known->second += fmt::format(" {}", link.gpu);
  }
  std::sort(byLevel.begin(), byLevel.end());
  std::string text;
  for (const auto& [level, gpus] : byLevel)
    text += fmt::format("{}{}", text.empty() ? "" : "; ", gpus);
  return text;
}

}  // namespace

std::vector<DetailValue> detailValues(const GpuEntry& entry) {
  const Readings& r = entry.readings;
  const auto& t = r.temperature;
  return {
      {"Name", nameText(r)},
      {"Bus id", orNothing(r.identity.pciBusId)},
      {"UUID", entry.uuid.empty() ? std::string(kNotAvailable) : entry.uuid},
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
      {"Retired pages",
       fmt::format("{} single, {} double bit", withUnit(r.memory.singleBitPages, ""),
                   withUnit(r.memory.doubleBitPages, ""))},
      {"PCIe", linkText(r.pcie)},
      {"vGPUs", withUnit(r.vgpuCount, "")},
  };
}

const GpuEntry* Frame::chosenGpu() const {
  return view.gpu < model.gpus().size() ? &model.gpus()[view.gpu] : nullptr;
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
    const int linkLines = frame.links.empty() ? 0 : 1;
    frame.detail = layoutDetail(size, frame.values.size(), frame.rows.size(), linkLines);
    rowsShown = frame.detail.rowsShown;
  } else if (view.screen != Screen::help) {
    frame.overview = layoutOverview(size, model.gpus().size(), frame.rows.size());
    rowsShown = frame.overview.rowsShown;
  }
  settle(view, surroundingsOf(frame, host));
  for (std::size_t i = view.rowTop; i < std::min(view.rowTop + rowsShown, frame.rows.size()); ++i) {
    frame.facts.push_back(frame.rows[i]->isVgpu() ? nullptr : host.look(frame.rows[i]->pid));
  }
  return frame;
}

Surroundings surroundingsOf(const Frame& frame, HostProcesses& host) {
  Surroundings around{frame.model, frame.rows, host, frame.size, 0, 0, {}, GpuForm::line, {}};
  if (frame.view.screen == Screen::gpu) {
    around.rowsShown = frame.detail.rowsShown;
    around.processes = frame.detail.processes;
  } else {
    around.gpusShown = frame.overview.gpusShown;
    around.rowsShown = frame.overview.rowsShown;
    around.gpus = frame.overview.gpus;
    around.form = frame.overview.form;
    around.processes = frame.overview.processes;
  }
  return around;
}

void drawFrame(Surface& surface, const Frame& frame) {
  if (!isEnough(frame.size)) {
    drawTooSmall(surface);
  } else if (frame.view.screen == Screen::help) {
    drawHelp(surface, frame);
  } else if (frame.view.screen == Screen::gpu && frame.chosenGpu() != nullptr) {
    drawDetail(surface, frame);
  } else {
    const OverviewLayout& layout = frame.overview;
    drawHead(surface, frame, layout.head);
    if (layout.form == GpuForm::line) {
      drawGpuLines(surface, frame, layout.gpus);
    } else {
      drawGpuBlocks(surface, frame, layout.gpus, layout.form);
    }
    drawProcesses(surface, frame, layout.processes);
    drawFoot(surface, frame, layout.foot);
  }
}

}  // namespace zanctl::live
