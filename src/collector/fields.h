// The fields of a snapshot by name, for whatever treats them all alike: the wire between the child
// and its parent, and scripts that want everything.
#pragma once

#include "collector/snapshot.h"

#include <concepts>
#include <type_traits>

namespace zanctl::collector {

template <typename Value, typename Record>
concept Is = std::same_as<std::remove_const_t<Value>, Record>;

void forEachField(Is<Identity> auto& record, auto&& visit) {
  visit("name", record.name);
  visit("serial", record.serial);
  visit("part_number", record.partNumber);
  visit("pci_bus_id", record.pciBusId);
  visit("minor_number", record.minorNumber);
  visit("firmware_version", record.firmwareVersion);
}

void forEachField(Is<BoardPlace> auto& record, auto&& visit) {
  visit("id", record.id);
  visit("position", record.position);
}

void forEachField(Is<Temperatures> auto& record, auto&& visit) {
  visit("gpu_celsius", record.gpu);
  visit("board_celsius", record.board);
  visit("shutdown_celsius", record.shutdown);
  visit("slowdown_celsius", record.slowdown);
  visit("max_operating_celsius", record.maxOperating);
  visit("fan_speed_percent", record.fanSpeed);
}

void forEachField(Is<Power> auto& record, auto&& visit) {
  visit("usage_watts", record.usage);
  visit("enforced_limit_watts", record.enforcedLimit);
  visit("management_limit_watts", record.managementLimit);
  visit("board_usage_watts", record.boardUsage);
  visit("board_limit_watts", record.boardLimit);
  visit("gpu_volts", record.gpuVolts);
  visit("memory_volts", record.memoryVolts);
  visit("vcc12_volts", record.vcc12Volts);
}

void forEachField(Is<Clocks> auto& record, auto&& visit) {
  visit("sm_mhz", record.sm);
  visit("memory_mhz", record.memory);
  visit("max_sm_mhz", record.maxSm);
  visit("max_memory_mhz", record.maxMemory);
  visit("performance_state", record.performanceState);
  visit("throttle_reasons", record.throttleReasons);
  visit("power_violation_ns", record.powerViolation);
  visit("thermal_violation_ns", record.thermalViolation);
}

void forEachField(Is<Utilization> auto& record, auto&& visit) {
  visit("sm_percent", record.sm);
  visit("memory_percent", record.memory);
  visit("encoder_percent", record.encoder);
  visit("decoder_percent", record.decoder);
}

void forEachField(Is<Engines> auto& record, auto&& visit) {
  visit("jpu_busy_ns", record.jpuBusy);
  visit("vpu_busy", record.vpuBusy);
  visit("vpu_total", record.vpuTotal);
}

void forEachField(Is<Memory> auto& record, auto&& visit) {
  visit("total_bytes", record.total);
  visit("used_bytes", record.used);
  visit("ecc_enabled", record.eccEnabled);
  visit("ecc_pending", record.eccPending);
  visit("single_bit_retired_pages", record.singleBitPages);
  visit("double_bit_retired_pages", record.doubleBitPages);
}

void forEachField(Is<Pcie> auto& record, auto&& visit) {
  visit("generation", record.generation);
  visit("max_generation", record.maxGeneration);
  visit("width", record.width);
  visit("max_width", record.maxWidth);
}

void forEachField(Is<PcieThroughput> auto& record, auto&& visit) {
  visit("transmit_kb_per_second", record.transmit);
  visit("receive_kb_per_second", record.receive);
}

void forEachField(Is<Process> auto& record, auto&& visit) {
  visit("pid", record.pid);
  visit("memory_used_bytes", record.memoryUsed);
  visit("command", record.name);
}

void forEachField(Is<Vgpu> auto& record, auto&& visit) {
  visit("id", record.id);
  visit("vm_name", record.vmName);
  visit("type", record.typeName);
  visit("memory_used_bytes", record.memoryUsed);
  visit("utilization", record.utilization);
}

void forEachField(Is<Link> auto& record, auto&& visit) {
  visit("gpu", record.gpu);
  visit("level", record.level);
}

void forEachField(Is<Readings> auto& record, auto&& visit) {
  visit("uuid", record.uuid);
  visit("identity", record.identity);
  visit("board", record.board);
  visit("temperature", record.temperature);
  visit("power", record.power);
  visit("clock", record.clock);
  visit("utilization", record.utilization);
  visit("engines", record.engines);
  visit("memory", record.memory);
  visit("pcie", record.pcie);
  visit("pcie_throughput", record.pcieThroughput);
  visit("process_count", record.processCount);
  visit("processes", record.processes);
  visit("vgpu_count", record.vgpuCount);
  visit("vgpus", record.vgpus);
  visit("links", record.links);
}

}  // namespace zanctl::collector
