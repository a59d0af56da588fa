#include "exporter/json_format.h"

#include "collector/fields.h"
#include "output/version.h"

#include <nlohmann/json.hpp>

#include <array>
#include <optional>
#include <vector>

namespace zanctl::exporter {
namespace {

using namespace collector;
using Json = nlohmann::ordered_json;

constexpr std::array kGpuStates = {"pending", "up", "silent", "hung", "unasked"};
constexpr std::array kLibraryStates = {"unknown",   "running", "no_library",
                                       "no_driver", "failing", "no_answer"};

template <typename Value>
requires std::is_arithmetic_v<Value> Json jsonOf(Value value) { return value; }

Json jsonOf(const std::string& text) { return text; }

// The records below hold each other.
template <typename Value>
Json jsonOf(const std::optional<Value>& value);
template <typename Value>
Json jsonOf(const std::vector<Value>& values);

template <typename Record>
requires std::is_class_v<Record> Json jsonOf(const Record& record) {
  Json object = Json::object();
  forEachField(record, [&](const char* name, const auto& field) { object[name] = jsonOf(field); });
  return object;
}

template <typename Value>
Json jsonOf(const std::optional<Value>& value) {
  return value ? jsonOf(*value) : Json(nullptr);
}

template <typename Value>
Json jsonOf(const std::vector<Value>& values) {
  Json list = Json::array();
  for (const Value& value : values) list.push_back(jsonOf(value));
  return list;
}

Json gpuJson(const Gpu& gpu) {
  Json object = {{"index", gpu.index},
                 {"state", kGpuStates[static_cast<std::size_t>(gpu.state)]},
                 {"counted", gpu.counted}};
  object.update(jsonOf(gpu.readings));
  object["uuid"] = gpu.uuid.empty() ? Json(nullptr) : Json(gpu.uuid);
  return object;
}

}  // namespace

std::string writeJson(const Snapshot& snapshot) {
  Json object = {{"version", kVersion},
                 {"started_at_ms", snapshot.startedAt},
                 {"duration_seconds", snapshot.durationSeconds},
                 {"library", kLibraryStates[static_cast<std::size_t>(snapshot.library)]},
                 {"problem", snapshot.problem.empty() ? Json(nullptr) : Json(snapshot.problem)},
                 {"driver_version", jsonOf(snapshot.driverVersion)},
                 {"library_version", jsonOf(snapshot.libraryVersion)},
                 {"cuda_version", jsonOf(snapshot.cudaVersion)},
                 {"reset_in_progress", jsonOf(snapshot.resetInProgress)},
                 {"gpu_count", snapshot.gpuCount},
                 {"gpus", Json::array()}};
  for (const Gpu& gpu : snapshot.gpus) object["gpus"].push_back(gpuJson(gpu));
  return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace zanctl::exporter
