#include "topology/matrix.h"

#include "device/records.h"
#include "device/session.h"
#include "device/topology_reader.h"
#include "topology/link_types.h"

#include <fmt/ostream.h>

#include <ostream>

namespace zanctl {
namespace {

constexpr std::string_view kSelf = "X";
constexpr std::string_view kUnderline = "\033[4m";
constexpr std::string_view kReset = "\033[0m";
constexpr std::string_view kGap = "    ";

// Asks each cell's pair in its own direction, so that a GPU that cannot answer spoils no other
// row; `codeWith` gives the code of the current GPU with another.
template <typename CodeWith>
PairCodes collectPairs(const CodeWith& codeWith) {
  const std::uint32_t count = session().deviceCount;
  PairCodes codes(count, std::vector<std::string_view>(count, kSelf));
  for (std::uint32_t row = 0; row < count; ++row) {
    session().currentDevice = row;
    for (std::uint32_t column = 0; column < count; ++column) {
      if (column != row) codes[row][column] = codeWith(column);
    }
  }
  return codes;
}

void writeHeading(std::ostream& out, std::string_view text) { out << kUnderline << text << kReset; }

void writeGpuHeadings(std::ostream& out, std::size_t count) {
  out << "        ";
  for (std::size_t gpu = 0; gpu < count; ++gpu) {
    writeHeading(out, fmt::format("GPU{}", gpu));
    out << kGap;
  }
}

// Columns of two-digit GPUs are one character wider, as their headings are.
void writeCells(std::ostream& out, std::size_t gpu, const std::vector<std::string_view>& cells) {
  fmt::print(out, "GPU{}{}", gpu, gpu > 9 ? "   " : kGap);
  for (std::size_t column = 0; column < cells.size(); ++column) {
    fmt::print(out, "{:<4}{}{}", cells[column], column > 9 ? " " : "", kGap);
  }
}

void writeLegendLine(std::ostream& out, std::string_view code, std::string_view description) {
  fmt::print(out, "  {:<4} = {}\n", code, description);
}

void writeLegendHead(std::ostream& out) {
  out << "\nLegend:\n\n";
  writeLegendLine(out, kSelf, "Self");
}

}  // namespace

ConnectionMatrix collectConnections(std::uint32_t cpuCount, std::uint32_t numaNodeCount) {
  ConnectionMatrix matrix;
  matrix.codes = collectPairs([](std::uint32_t other) {
    const LinkType* type = findLinkType(topology().readCommonAncestor(other));
    return type == nullptr ? "ERROR" : type->code;
  });
  for (std::uint32_t gpu = 0; gpu < session().deviceCount; ++gpu) {
    session().currentDevice = gpu;
    matrix.affinities.push_back(
        {topology().readCpuAffinity(cpuCount).value_or(""),
         topology().readMemoryAffinity(numaNodeCount).value_or(kUnavailableText)});
  }
  return matrix;
}

PairCodes collectP2pStates(nvmlGpuP2PCapsIndex_t capability) {
  return collectPairs([capability](std::uint32_t other) {
    return findP2pState(topology().readP2pStatus(other, capability)).code;
  });
}

void writeConnections(std::ostream& out, const ConnectionMatrix& matrix) {
  writeGpuHeadings(out, matrix.codes.size());
  writeHeading(out, "CPU Affinity");
  out << kGap;
  writeHeading(out, "NUMA Affinity");
  out << "\n";
  for (std::size_t gpu = 0; gpu < matrix.codes.size(); ++gpu) {
    writeCells(out, gpu, matrix.codes[gpu]);
    out << matrix.affinities[gpu].cpus << kGap << matrix.affinities[gpu].nodes << "\n";
  }
  writeLegendHead(out);
  for (auto type = kLinkTypes.rbegin(); type != kLinkTypes.rend(); ++type) {
    writeLegendLine(out, type->code, type->description);
  }
}

void writeP2pStates(std::ostream& out, const PairCodes& codes) {
  writeGpuHeadings(out, codes.size());
  out << "\n";
  for (std::size_t gpu = 0; gpu < codes.size(); ++gpu) {
    writeCells(out, gpu, codes[gpu]);
    out << "\n";
  }
  writeLegendHead(out);
  for (const P2pState& state : kP2pStates) writeLegendLine(out, state.code, state.description);
}

}  // namespace zanctl
