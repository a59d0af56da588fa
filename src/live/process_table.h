// The table of processes: its columns, and which rows it shows in which order.
#pragma once

#include "live/host_processes.h"
#include "live/model.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl::live {

enum class Column : std::uint8_t {
  gpu,
  pid,
  user,
  type,
  gpuMemory,
  use,
  cpu,
  memory,
  time,
  command,
};

struct ColumnFacts {
  std::string_view name;  // as the option --sort and the settings have it
  std::string_view heading;
  int width;           // cells; 0 for the one that takes what is left
  bool ofHost;         // read from the host's process files
  bool greatestFirst;  // when sorted by it
  int rank;            // columns of higher ranks make way first
};
inline constexpr std::array<ColumnFacts, 10> kColumns = {{
    {"gpu", "GPU", 3, false, false, 0},
    {"pid", "PID", 7, false, false, 0},
    {"user", "USER", 8, true, false, 2},
    {"type", "T", 1, false, false, 4},
    {"gpu-memory", "GPU-MEM", 7, false, true, 1},
    {"use", "SM%", 4, false, true, 3},
    {"cpu", "CPU%", 5, true, true, 3},
    {"memory", "MEM", 6, true, true, 5},
    {"time", "TIME", 8, true, true, 6},
    {"command", "COMMAND", 0, true, false, 0},
}};
inline constexpr std::size_t kColumnCount = kColumns.size();
inline const ColumnFacts& factsOf(Column column) {
  return kColumns[static_cast<std::size_t>(column)];
}
std::optional<Column> columnOf(std::string_view name);

// A set of columns, a bit each.
using ColumnSet = std::uint16_t;
inline constexpr ColumnSet bitOf(Column column) {
  return static_cast<ColumnSet>(1U << static_cast<unsigned>(column));
}

struct TableOrder {
  Column sort = Column::gpu;
  bool reverse = false;
  std::string filter;                    // empty for none; in any text of the row, in any case
  std::optional<std::uint32_t> onlyGpu;  // an index
};

using TableRows = std::vector<const ProcessRow*>;

// Asks the host about every process where the order or the filter needs that, else about none.
TableRows tableRows(const std::vector<ProcessRow>& processes, const TableOrder& order,
                    HostProcesses& host);

// The text of a cell; `facts` is null for a process that is gone, and for a vGPU.
std::string cellText(Column column, const ProcessRow& row, const HostFacts* facts);

struct ColumnPlace {
  Column column;
  int x;
  int width;
};
// The columns that such a width has room for, in their order; never those in `hidden`.
std::vector<ColumnPlace> placeColumns(int width, ColumnSet hidden);

}  // namespace zanctl::live
