#include "topology/matrix.h"

#include "device/format.h"
#include "device/records.h"
#include "device/selection.h"
#include "device/topology_reader.h"
#include "output/log_file.h"
#include "output/text.h"
#include "topology/link_types.h"

#include <algorithm>
#include <ostream>

namespace zanctl {
namespace {

constexpr std::string_view kSelf = "X";
constexpr std::string_view kUnderline = "\033[4m";
constexpr std::string_view kReset = "\033[0m";
constexpr std::string_view kGap = "    ";

void writeGpuHeadings(std::string& text) {
  join(text, "        ");
  for (std::uint32_t gpu = 0; gpu < session().deviceCount; ++gpu) {
    join(text, kUnderline, "GPU", Decimal(gpu), kReset, kGap);
  }
}

// Asks each pair in its own direction, so that a GPU that cannot answer spoils no other row;
// `codeWith` gives the code of the current GPU with another, `affinities` what stands behind.
template <typename CodeWith, typename Affinities>
void printRows(Output& output, const CodeWith& codeWith, const Affinities& affinities) {
  forEachDevice({}, [&](std::uint32_t gpu) {
    MatrixRow row{gpu, {}, ""};
    for (std::uint32_t other = 0; other < session().deviceCount; ++other) {
      row.codes.push_back(other == gpu ? kSelf : codeWith(other));
    }
    row.affinities = affinities();
    writeMatrixRow(output.text(), row);
    output.flushIfLong();
  });
}

void writeLegendLine(std::string& text, std::string_view code, std::string_view description) {
  join(text, "  ", fmtText(code, 4), " = ", description, "\n");
}

void writeLegendHead(std::string& text) {
  join(text, "\nLegend:\n\n");
  writeLegendLine(text, kSelf, "Self");
}

}  // namespace

// Columns of two-digit GPUs are one character wider, as their headings are.
void writeMatrixRow(std::string& text, const MatrixRow& row) {
  join(text, "GPU", Decimal(row.gpu), row.gpu > 9 ? "   " : kGap);
  for (std::size_t column = 0; column < row.codes.size(); ++column) {
    const std::string_view code = row.codes[column];
    join(text, code, kGap.substr(std::min(code.size(), kGap.size())), column > 9 ? " " : "", kGap);
  }
  join(text, row.affinities, "\n");
}

void printConnections(std::uint32_t cpuCount, std::uint32_t numaNodeCount, std::ostream& out) {
  Output output("", out);
  std::string& text = output.text();
  writeGpuHeadings(text);
  join(text, kUnderline, "CPU Affinity", kReset, kGap, kUnderline, "NUMA Affinity", kReset, "\n");
  const auto codeWith = [](std::uint32_t other) {
    const LinkType* type = findLinkType(topology().readCommonAncestor(other));
    return type == nullptr ? "ERROR" : type->code;
  };
  const auto affinities = [cpuCount, numaNodeCount] {
    return topology().readCpuAffinity(cpuCount).value_or("") + std::string(kGap) +
           topology().readMemoryAffinity(numaNodeCount).value_or(kUnavailableText);
  };
  printRows(output, codeWith, affinities);
  writeLegendHead(text);
  for (auto type = kLinkTypes.rbegin(); type != kLinkTypes.rend(); ++type) {
    writeLegendLine(text, type->code, type->description);
  }
  output.flush();
}

void printP2pStates(nvmlGpuP2PCapsIndex_t capability, std::ostream& out) {
  Output output("", out);
  std::string& text = output.text();
  writeGpuHeadings(text);
  join(text, "\n");
  const auto codeWith = [capability](std::uint32_t other) {
    return findP2pState(topology().readP2pStatus(other, capability)).code;
  };
  printRows(output, codeWith, [] { return ""; });
  writeLegendHead(text);
  for (const P2pState& state : kP2pStates) writeLegendLine(text, state.code, state.description);
  output.flush();
}

}  // namespace zanctl
