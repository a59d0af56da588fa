// The matrices of pairs of GPUs: how they are connected, and their peer-to-peer access.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

// One GPU's row: the codes of its pairs with every GPU, and what stands behind them.
struct MatrixRow {
  std::uint32_t gpu;
  std::vector<std::string_view> codes;
  std::string affinities;
};

// "GPU<n>" and the cells under the headings, newline included.
void writeMatrixRow(std::string& text, const MatrixRow& row);

// Both print row by row. The library is asked for each pair and each affinity once.
void printConnections(std::uint32_t cpuCount, std::uint32_t numaNodeCount, std::ostream& out);
void printP2pStates(nvmlGpuP2PCapsIndex_t capability, std::ostream& out);

}  // namespace zanctl
