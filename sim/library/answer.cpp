#include "library/answer.h"

#include <cstring>

namespace zansim {

void writeText(std::string_view value, char* text, unsigned int length) {
  required(text);
  if (value.size() >= length) throw NVML_ERROR_INSUFFICIENT_SIZE;
  std::memcpy(text, value.data(), value.size());
  text[value.size()] = '\0';
}

void writeText(const TextSource& source, char* text, unsigned int length) {
  required(text);
  expectSuccess(source.code);
  if (!source.fillsBuffer) return writeText(std::string_view(source.text), text, length);
  std::memset(text, source.text.front(), length);
}

void writeSizedText(const TextSource& source, char* text, unsigned int* size) {
  const unsigned int room = required(size);
  expectSuccess(source.code);
  if (text == nullptr && room != 0) throw NVML_ERROR_INVALID_ARGUMENT;
  if (source.fillsBuffer && text != nullptr) return writeText(source, text, room);
  *size = static_cast<unsigned int>(source.text.size() + 1);
  if (text == nullptr) throw NVML_ERROR_INSUFFICIENT_SIZE;
  writeText(std::string_view(source.text), text, room);
}

std::uint64_t valueOf(const NumberSource& source, unsigned owner) {
  if (source.kind == NumberSource::Kind::fails) throw source.code;
  if (source.kind == NumberSource::Kind::constant) return source.value;
  return source.at(wallNow(), owner, Session::ofProcess().state()->origin);
}

std::uint64_t valueOf(const Call& call, Number attribute) {
  const bool perBoard = kNumberRows[attribute.row].perBoard;
  const unsigned owner = perBoard ? call.index / call.host().gpusPerBoard : call.index;
  return valueOf((*call.gpu)[attribute], owner);
}

}  // namespace zansim
