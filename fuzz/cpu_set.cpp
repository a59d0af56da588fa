// The text of a CPU set, read back.
#include "device/host.h"
#include "target.h"

#include <string>
#include <vector>

namespace {

using fuzz::expect;

unsigned long numberOf(std::string_view digits) {
  expect(!digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos,
         "a number is made of digits");
  return std::stoul(std::string(digits));
}

}  // namespace

void fuzz::examine(std::string_view input) {
  std::vector<std::uint64_t> words;
  while (!input.empty()) words.push_back(take<std::uint64_t>(input));
  const std::string text = zanctl::formatCpuSet(words);

  std::vector<std::uint64_t> read(words.size());
  unsigned long next = 0;  // the lowest that may come
  unsigned inARow = 0;     // single numbers
  const auto add = [&](unsigned long bit) {
    expect(bit < read.size() * 64, "a bit is one of the words");
    read[bit / 64] |= std::uint64_t{1} << bit % 64;
  };
  if (!text.empty()) {
    forEachPiece(text, ',', [&](std::string_view piece) {
      const std::size_t dash = piece.find('-');
      const unsigned long first = numberOf(piece.substr(0, dash));
      const unsigned long last =
          dash == std::string_view::npos ? first : numberOf(piece.substr(dash + 1));
      expect(first >= next, "numbers ascend");
      expect(dash == std::string_view::npos || last >= first + 2, "a range holds three or more");
      inARow = first == next && inARow > 0 ? inARow + 1 : 1;
      expect(inARow < 3 && (dash == std::string_view::npos || inARow == 1),
             "three or more in a row make a range");
      for (unsigned long bit = first; bit <= last; ++bit) add(bit);
      next = last + 1;
      // Whatever follows a range directly belongs to it.
      if (last > first) inARow = 2;
    });
  }
  expect(read == words, "the text holds the bits that are set");
}
