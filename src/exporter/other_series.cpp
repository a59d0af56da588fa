#include "exporter/other_series.h"

#include "exporter/labels.h"
#include "exporter/values.h"
#include "output/version.h"

#include <fmt/format.h>

#include <set>

namespace zanctl::exporter {

using namespace collector;

namespace {

// Calls `show(readings, labels)` for each GPU that is up.
void forEachGpu(const Scrape& scrape, auto show) {
  const auto& gpus = scrape.snapshot().gpus;
  for (std::size_t n = 0; n < gpus.size(); ++n) {
    if (gpus[n].state == GpuState::up) show(gpus[n].readings, scrape.gpuLabels(n));
  }
}

std::string textOf(const Number& number) { return number ? fmt::to_string(*number) : ""; }

std::string boardIdText(const BoardPlace& board) {
  return board.id ? fmt::format("{:#x}", *board.id) : "";
}

// Once a board, by the GPU at its position 0.
void writeBoards(const Scrape& scrape, Sink& sink, Number Power::*figure) {
  std::set<std::uint32_t> shown;
  forEachGpu(scrape, [&](const Readings& readings, std::string_view) {
    const BoardPlace& board = readings.board;
    if (!board.id || board.position != 0U || !shown.insert(*board.id).second) return;
    sink.sample(Labels().add("board_id", boardIdText(board)).text(), plain(readings.power.*figure));
  });
}

std::string engineLabel(std::size_t engine) { return fmt::format(R"(engine="{}")", engine); }

// Calls `show(vgpu, labels)` for each vGPU of each GPU.
void forEachVgpu(const Scrape& scrape, auto show) {
  for (const Gpu& gpu : scrape.snapshot().gpus) {
    for (const Vgpu& vgpu : gpu.readings.vgpus) {
      Labels labels;
      labels.add("gpu", fmt::to_string(gpu.index))
          .add("vgpu", fmt::to_string(vgpu.id))
          .add("vm_name", vgpu.vmName.value_or(""))
          .add("type", vgpu.typeName.value_or(""));
      show(vgpu, labels.text());
    }
  }
}

}  // namespace

void writeDriverInfo(const Scrape& scrape, Sink& sink) {
  const Snapshot& snapshot = scrape.snapshot();
  if (!snapshot.driverVersion && !snapshot.libraryVersion && !snapshot.cudaVersion) return;
  sink.sample(Labels()
                  .add("driver_version", snapshot.driverVersion.value_or(""))
                  .add("library_version", snapshot.libraryVersion.value_or(""))
                  .add("cuda_version", snapshot.cudaVersion.value_or(""))
                  .text(),
              1);
}

void writeUp(const Scrape& scrape, Sink& sink) {
  const auto& gpus = scrape.snapshot().gpus;
  // UUIDs of GPUs that are gone may differ only in what no label can hold.
  std::set<std::string_view> shown;
  for (std::size_t n = 0; n < gpus.size(); ++n) {
    if (!shown.insert(scrape.gpuLabels(n)).second) continue;
    sink.sample(scrape.gpuLabels(n), gpus[n].state == GpuState::up ? 1 : 0);
  }
}

void writeGpuInfo(const Scrape& scrape, Sink& sink) {
  forEachGpu(scrape, [&](const Readings& readings, std::string_view gpu) {
    const Identity& identity = readings.identity;
    sink.sample(Labels(gpu)
                    .add("name", identity.name.value_or(""))
                    .add("serial", identity.serial.value_or(""))
                    .add("part_number", identity.partNumber.value_or(""))
                    .add("pci_bus_id", identity.pciBusId.value_or(""))
                    .add("minor_number", textOf(identity.minorNumber))
                    .add("board_id", boardIdText(readings.board))
                    .add("board_position", textOf(readings.board.position))
                    .add("firmware_version", identity.firmwareVersion.value_or(""))
                    .text(),
                1);
  });
}

void writeBoardPower(const Scrape& scrape, Sink& sink) {
  writeBoards(scrape, sink, &Power::boardUsage);
}

void writeBoardLimit(const Scrape& scrape, Sink& sink) {
  writeBoards(scrape, sink, &Power::boardLimit);
}

void writeJpu(const Scrape& scrape, Sink& sink) {
  forEachGpu(scrape, [&](const Readings& readings, std::string_view gpu) {
    const auto& busy = readings.engines.jpuBusy;
    for (std::size_t i = 0; i < busy.size(); ++i) {
      sink.sample(gpu, engineLabel(i), over(busy[i], kNanosecondsPerSecond));
    }
  });
}

void writeVpu(const Scrape& scrape, Sink& sink) {
  forEachGpu(scrape, [&](const Readings& readings, std::string_view gpu) {
    const Engines& engines = readings.engines;
    for (std::size_t i = 0; engines.vpuTotal && i < engines.vpuBusy.size(); ++i) {
      sink.sample(gpu, engineLabel(i), over(engines.vpuBusy[i], *engines.vpuTotal));
    }
  });
}

void writeProcesses(const Scrape& scrape, Sink& sink) {
  forEachGpu(scrape, [&](const Readings& readings, std::string_view gpu) {
    if (!readings.processes) return;
    for (const Process& process : *readings.processes) {
      Labels labels(gpu);
      labels.add("pid", fmt::to_string(process.pid)).add("command", process.name);
      sink.sample(labels.text(), plain(process.memoryUsed));
    }
  });
}

void writeVgpuUtilization(const Scrape& scrape, Sink& sink) {
  forEachVgpu(scrape, [&](const Vgpu& vgpu, std::string_view labels) {
    const Utilization& shares = vgpu.utilization;
    sink.sample(labels, R"(engine="sm")", over(shares.sm, kPercent));
    sink.sample(labels, R"(engine="memory")", over(shares.memory, kPercent));
    sink.sample(labels, R"(engine="encoder")", over(shares.encoder, kPercent));
    sink.sample(labels, R"(engine="decoder")", over(shares.decoder, kPercent));
  });
}

void writeVgpuMemory(const Scrape& scrape, Sink& sink) {
  forEachVgpu(scrape, [&](const Vgpu& vgpu, std::string_view labels) {
    sink.sample(labels, plain(vgpu.memoryUsed));
  });
}

void writeBuildInfo(const Scrape& /*scrape*/, Sink& sink) {
  sink.sample(Labels().add("version", kVersion).text(), 1);
}

// Families of one series without labels.
void writeGpuCount(const Scrape& scrape, Sink& sink) {
  sink.sample("", scrape.snapshot().gpuCount);
}

void writeResetMarker(const Scrape& scrape, Sink& sink) {
  sink.sample("", plain(scrape.snapshot().resetInProgress));
}

void writeRoundDuration(const Scrape& scrape, Sink& sink) {
  sink.sample("", scrape.snapshot().durationSeconds);
}

void writeRoundTimeouts(const Scrape& scrape, Sink& sink) {
  sink.sample("", static_cast<double>(scrape.snapshot().roundTimeouts));
}

void writeRestarts(const Scrape& scrape, Sink& sink) {
  sink.sample("", static_cast<double>(scrape.snapshot().restarts));
}

}  // namespace zanctl::exporter
