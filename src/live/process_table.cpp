#include "live/process_table.h"

#include "device/text.h"
#include "live/texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <tuple>

namespace zanctl::live {
namespace {

constexpr int kLeastCommand = 10;

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  return text;
}

const HostFacts* factsAbout(const ProcessRow& row, HostProcesses& host) {
  return row.isVgpu() ? nullptr : host.look(row.pid);
}

bool matches(const ProcessRow& row, const std::string& filter, HostProcesses& host) {
  const HostFacts* facts = factsAbout(row, host);
  for (const Column column : {Column::pid, Column::user, Column::command}) {
    if (lowered(cellText(column, row, facts)).find(filter) != std::string::npos) return true;
  }
  return false;
}

// What a row is sorted by: a number or a text, and rows without either behind those with one.
struct SortKey {
  bool known = true;
  double number = 0;
  std::string text;
};

SortKey numberKey(std::optional<double> number) {
  return {number.has_value(), number.value_or(0), {}};
}

template <typename Figure>
SortKey figureKey(const std::optional<Figure>& figure) {
  return numberKey(figure ? std::optional(static_cast<double>(*figure)) : std::nullopt);
}

SortKey sortKey(Column column, const ProcessRow& row, HostProcesses& host) {
  const HostFacts* facts = factsOf(column).ofHost ? factsAbout(row, host) : nullptr;
  const auto hostKey = [facts](auto HostFacts::*field) {
    return facts == nullptr ? numberKey(std::nullopt)
                            : numberKey(static_cast<double>(facts->*field));
  };
  switch (column) {
    case Column::gpu:
      return numberKey(row.gpu);
    case Column::pid:
      return numberKey(row.isVgpu() ? std::nullopt : std::optional<double>(row.pid));
    case Column::gpuMemory:
      return figureKey(row.memoryUsed);
    case Column::use:
      return figureKey(row.use);
    case Column::cpu:
      return hostKey(&HostFacts::cpuPercent);
    case Column::memory:
      return hostKey(&HostFacts::memory);
    case Column::time:
      return hostKey(&HostFacts::seconds);
    case Column::user:
    case Column::type:
    case Column::command:
      break;
  }
  std::string text = lowered(cellText(column, row, facts));
  return {text != "-", 0, std::move(text)};
}

}  // namespace

std::optional<Column> columnOf(std::string_view name) {
  for (std::size_t i = 0; i < kColumnCount; ++i) {
    if (kColumns[i].name == name) return static_cast<Column>(i);
  }
  return std::nullopt;
}

TableRows tableRows(const std::vector<ProcessRow>& processes, const TableOrder& order,
                    HostProcesses& host) {
  const std::string filter = lowered(order.filter);
  std::vector<std::pair<SortKey, const ProcessRow*>> keyed;
  for (const ProcessRow& row : processes) {
    if (order.onlyGpu && row.gpu != *order.onlyGpu) continue;
    if (!filter.empty() && !matches(row, filter, host)) continue;
    keyed.emplace_back(sortKey(order.sort, row, host), &row);
  }
  const bool descending = factsOf(order.sort).greatestFirst != order.reverse;
  std::sort(keyed.begin(), keyed.end(), [descending](const auto& a, const auto& b) {
    const auto& [keyA, rowA] = a;
    const auto& [keyB, rowB] = b;
    if (keyA.known != keyB.known) return keyA.known;
    const auto valueA = std::tie(keyA.number, keyA.text);
    const auto valueB = std::tie(keyB.number, keyB.text);
    if (valueA != valueB) return descending ? valueB < valueA : valueA < valueB;
    return keyOf(*rowA) < keyOf(*rowB);
  });
  TableRows rows;
  rows.reserve(keyed.size());
  for (const auto& [key, row] : keyed) rows.push_back(row);
  return rows;
}

std::string cellText(Column column, const ProcessRow& row, const HostFacts* facts) {
  const bool unknown = facts == nullptr;
  switch (column) {
    case Column::gpu:
      return fmt::to_string(row.gpu);
    case Column::pid:
      return row.isVgpu() ? "-" : fmt::to_string(row.pid);
    case Column::user:
      return unknown ? "-" : facts->user;
    case Column::type:
      return row.isVgpu() || row.servesVgpu ? "V" : "C";
    case Column::gpuMemory:
      return row.memoryUsed ? bytesText(*row.memoryUsed) : "N/A";
    case Column::use:
      return row.use ? fmt::format("{}%", *row.use) : row.isVgpu() ? "N/A" : "-";
    case Column::cpu:
      return unknown ? "-" : fmt::format("{:.1f}", facts->cpuPercent);
    case Column::memory:
      return unknown ? "-" : bytesText(facts->memory);
    case Column::time:
      return unknown ? "-" : durationText(facts->seconds);
    case Column::command:
      break;
  }
  if (!row.isVgpu()) return unknown ? "-" : facts->command;
  return fmt::format("{} {} (vGPU {})", row.vmName.empty() ? "N/A" : row.vmName,
                     row.vgpuType.empty() ? "N/A" : row.vgpuType, row.vgpu);
}

std::vector<ColumnPlace> placeColumns(int width, ColumnSet hidden) {
  std::vector<Column> columns;
  int taken = kLeastCommand;
  for (std::size_t i = 0; i < kColumnCount; ++i) {
    const auto column = static_cast<Column>(i);
    if ((hidden & bitOf(column)) != 0) continue;
    columns.push_back(column);
    taken += kColumns[i].width + 1;
  }
  while (taken > width) {
    const auto last = std::max_element(columns.begin(), columns.end(), [](Column a, Column b) {
      return factsOf(a).rank < factsOf(b).rank;
    });
    if (last == columns.end() || factsOf(*last).rank == 0) break;
    taken -= factsOf(*last).width + 1;
    columns.erase(last);
  }
  std::vector<ColumnPlace> places;
  int x = 1;
  for (const Column column : columns) {
    const int own = factsOf(column).width;
    places.push_back({column, x, own > 0 ? own : std::max(width - x, 0)});
    x += places.back().width + 1;
  }
  return places;
}

}  // namespace zanctl::live
