#include "collector/wire.h"

#include "collector/fields.h"

#include <cstring>
#include <vector>

namespace zanctl::collector {
namespace {

template <typename Value>
concept Scalar = std::is_arithmetic_v<Value> || std::is_enum_v<Value>;

void visitAnswer(Is<SystemAnswer> auto& answer, auto&& visit) {
  visit("state", answer.state);
  visit("problem", answer.problem);
  visit("gpu_count", answer.gpuCount);
  visit("driver_version", answer.driverVersion);
  visit("library_version", answer.libraryVersion);
  visit("cuda_version", answer.cudaVersion);
}

void visitAnswer(Is<GpuAnswer> auto& answer, auto&& visit) {
  visit("index", answer.index);
  visit("answered", answer.answered);
  visit("reset_in_progress", answer.resetInProgress);
  forEachField(answer.readings, visit);
}

class Writer {
 public:
  template <typename Value>
  void operator()(const char* /*name*/, const Value& value) {
    put(value);
  }
  std::string& bytes() { return bytes_; }

 private:
  void put(Scalar auto value) {
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void putSize(std::size_t size) { put(static_cast<std::uint32_t>(size)); }

  void put(const std::string& text) {
    putSize(text.size());
    bytes_ += text;
  }

  template <typename Value>
  void put(const std::optional<Value>& value) {
    put(value.has_value());
    if (value) put(*value);
  }

  template <typename Value>
  void put(const std::vector<Value>& values) {
    putSize(values.size());
    for (const Value& value : values) put(value);
  }

  template <typename Record>
  requires std::is_class_v<Record>
  void put(const Record& record) { forEachField(record, *this); }

  std::string bytes_;
};

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  template <typename Value>
  void operator()(const char* /*name*/, Value& value) {
    take(value);
  }
  [[nodiscard]] bool isSoundEnd() const { return sound_ && bytes_.empty(); }

 private:
  std::string_view takeBytes(std::size_t size) {
    if (size > bytes_.size()) {
      sound_ = false;
      bytes_ = {};
      return {};
    }
    const std::string_view taken = bytes_.substr(0, size);
    bytes_.remove_prefix(size);
    return taken;
  }

  void take(Scalar auto& value) {
    const std::string_view taken = takeBytes(sizeof value);
    if (!taken.empty()) std::memcpy(&value, taken.data(), sizeof value);
  }

  // Other bytes than these are no truth value.
  void take(bool& value) {
    std::uint8_t byte = 0;
    take(byte);
    sound_ = sound_ && byte <= 1;
    value = byte == 1;
  }

  std::uint32_t takeSize() {
    std::uint32_t size = 0;
    take(size);
    return size;
  }

  void take(std::string& text) { text = takeBytes(takeSize()); }

  template <typename Value>
  void take(std::optional<Value>& value) {
    bool there = false;
    take(there);
    if (there && sound_) take(value.emplace());
  }

  template <typename Value>
  void take(std::vector<Value>& values) {
    const std::uint32_t size = takeSize();
    // An entry has a byte at least.
    sound_ = sound_ && size <= kMaxListed && size <= bytes_.size();
    for (std::uint32_t i = 0; sound_ && i < size; ++i) take(values.emplace_back());
  }

  template <typename Record>
  requires std::is_class_v<Record>
  void take(Record& record) { forEachField(record, *this); }

  std::string_view bytes_;
  bool sound_ = true;
};

template <typename Answer>
std::string framed(const Answer& answer) {
  Writer writer;
  writer("length", std::uint32_t{0});
  visitAnswer(answer, writer);
  std::string& bytes = writer.bytes();
  const auto length = static_cast<std::uint32_t>(bytes.size() - kFrameHead);
  std::memcpy(bytes.data(), &length, sizeof length);
  return std::move(bytes);
}

template <typename Answer>
std::optional<Answer> parsed(std::string_view payload) {
  Answer answer;
  Reader reader(payload);
  visitAnswer(answer, reader);
  return reader.isSoundEnd() ? std::optional(std::move(answer)) : std::nullopt;
}

}  // namespace

std::string frameOf(const SystemAnswer& answer) { return framed(answer); }
std::string frameOf(const GpuAnswer& answer) { return framed(answer); }

Frame firstFrame(std::string_view bytes) {
  if (bytes.size() < kFrameHead) return {};
  std::uint32_t length = 0;
  std::memcpy(&length, bytes.data(), sizeof length);
  if (length > kMaxFrame) return {.garbage = true, .payload = {}};
  if (bytes.size() - kFrameHead < length) return {};
  return {.payload = bytes.substr(kFrameHead, length)};
}

std::optional<SystemAnswer> systemAnswer(std::string_view payload) {
  auto answer = parsed<SystemAnswer>(payload);
  if (!answer || answer->state > LibraryState::noAnswer || answer->gpuCount > kMaxGpus) {
    return std::nullopt;
  }
  return answer;
}

std::optional<GpuAnswer> gpuAnswer(std::string_view payload) { return parsed<GpuAnswer>(payload); }

}  // namespace zanctl::collector
