#include "device/host.h"

#include "device/descriptor.h"

#include <fmt/format.h>

#include <array>
#include <iterator>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace zanctl {
namespace {

constexpr std::size_t kBitsPerWord = 64;

}  // namespace

std::int32_t onlineCpuCount() { return static_cast<std::int32_t>(sysconf(_SC_NPROCESSORS_ONLN)); }

std::optional<std::uint32_t> numaNodeCount() {
  const Descriptor file(open(kNumaNodesFile, O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return std::nullopt;
  std::array<char, 257> text{};
  const ssize_t got = read(file.number(), text.data(), text.size() - 1);
  if (got < 0) return std::nullopt;
  // The highest node is the last number of "0", "0-3" or "0,2-3".
  const std::string nodes(text.data());
  const std::size_t separator = nodes.find_last_of("-,");
  const std::size_t last = separator == std::string::npos ? 0 : separator + 1;
  return static_cast<std::uint32_t>(strtoul(nodes.c_str() + last, nullptr, 10)) + 1;
}

std::string formatCpuSet(std::span<const std::uint64_t> words) {
  const std::size_t bitCount = words.size() * kBitsPerWord;
  const auto isSet = [words, bitCount](std::size_t bit) {
    return bit < bitCount && (words[bit / kBitsPerWord] >> (bit % kBitsPerWord) & 1U) != 0;
  };
  std::string text;
  for (std::size_t bit = 0; bit < bitCount; ++bit) {
    if (!isSet(bit)) continue;
    std::size_t last = bit;
    while (isSet(last + 1)) ++last;
    text += fmt::format("{}{}", text.empty() ? "" : ",", bit);
    if (last - bit > 1) {
      text += fmt::format("-{}", last);
      bit = last;
    }
  }
  return text;
}

}  // namespace zanctl
