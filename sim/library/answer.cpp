#include "library/answer.h"

#include <cstring>

namespace zansim {

nvmlReturn_t writeText(std::string_view value, char* text, unsigned int length) {
  if (text == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  if (value.size() >= length) return NVML_ERROR_INSUFFICIENT_SIZE;
  std::memcpy(text, value.data(), value.size());
  text[value.size()] = '\0';
  return NVML_SUCCESS;
}

nvmlReturn_t writeText(const TextSource& source, char* text, unsigned int length) {
  if (text == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  if (source.code != NVML_SUCCESS) return source.code;
  if (!source.fillsBuffer) return writeText(std::string_view(source.text), text, length);
  std::memset(text, source.text.front(), length);
  return NVML_SUCCESS;
}

nvmlReturn_t writeSizedText(const TextSource& source, char* text, unsigned int* size) {
  if (size == nullptr) return NVML_ERROR_INVALID_ARGUMENT;
  if (source.code != NVML_SUCCESS) return source.code;
  const auto needed = static_cast<unsigned int>(source.text.size() + 1);
  if (text == nullptr && *size != 0) return NVML_ERROR_INVALID_ARGUMENT;
  if (source.fillsBuffer && text != nullptr) return writeText(source, text, *size);
  const nvmlReturn_t code =
      text == nullptr ? NVML_ERROR_INSUFFICIENT_SIZE : writeText(source, text, *size);
  *size = needed;
  return code;
}

nvmlReturn_t readSource(const NumberSource& source, unsigned owner, unsigned long long& value) {
  switch (source.kind) {
    case NumberSource::Kind::constant:
      value = source.value;
      return NVML_SUCCESS;
    case NumberSource::Kind::signal:
      value = source.at(wallNow(), owner, Session::ofProcess().state()->origin);
      return NVML_SUCCESS;
    default:
      return source.code;
  }
}

nvmlReturn_t readNumber(const Call& call, Number attribute, unsigned long long& value) {
  const bool perBoard = kNumberRows[attribute.row].perBoard;
  const unsigned owner = perBoard ? call.index / call.host().gpusPerBoard : call.index;
  return readSource((*call.gpu)[attribute], owner, value);
}

}  // namespace zansim
