// The matrices of pairs of GPUs: how they are connected, and their peer-to-peer access.
#pragma once

#include "zanml/zanml.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace zanctl {

struct Affinity {
  std::string cpus;   // "0-3,8"; empty when unavailable
  std::string nodes;  // likewise; "N/A" when unavailable
};

// Codes of pairs, a row and a column for each GPU.
using PairCodes = std::vector<std::vector<std::string_view>>;

struct ConnectionMatrix {
  PairCodes codes;
  std::vector<Affinity> affinities;  // by GPU
};

// Asks the library for each pair and each affinity once.
ConnectionMatrix collectConnections(std::uint32_t cpuCount, std::uint32_t numaNodeCount);
PairCodes collectP2pStates(nvmlGpuP2PCapsIndex_t capability);

void writeConnections(std::ostream& out, const ConnectionMatrix& matrix);
void writeP2pStates(std::ostream& out, const PairCodes& codes);

}  // namespace zanctl
