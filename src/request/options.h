// The options of one run as the command line gave them. Only the parser writes this record.
#pragma once

#include <string>

namespace zanctl {

// What a text option holds until it is given; nobody would type it. An option given with an empty
// text counts as given.
inline constexpr const char* kUnset = "Hq3&Tn8wLk#VPa5z";

inline bool given(const std::string& text) { return text != kUnset; }

// What a runner returns that wants the help of its subcommand to be shown.
inline constexpr int kHelpAsked = 1;

struct DmonOptions {
  std::string id = kUnset;
  std::string delay = kUnset;
  std::string count = kUnset;
  std::string options = kUnset;
  std::string filename = kUnset;
};

struct PmonOptions {
  std::string id = kUnset;
  std::string delay = kUnset;
  std::string count = kUnset;
  std::string options = kUnset;
  std::string filename = kUnset;
};

struct TopoOptions {
  bool matrix = false;
  bool matrixPci = false;
  std::string id = kUnset;
  std::string cpu = kUnset;
  std::string nearestGpus = kUnset;
  bool gpuPath = false;
  std::string p2pStatus = kUnset;
};

struct VgpuOptions {
  std::string id = kUnset;
  bool query = false;
  bool utilization = false;
  bool pmon = false;
  bool supported = false;
  bool creatable = false;
  bool verbose = false;
  std::string loop = kUnset;
};

struct StatsOptions {
  std::string id = kUnset;
  std::string filename = kUnset;
  std::string display = kUnset;
  std::string count = kUnset;
};

struct DaemonOptions {
  std::string id = kUnset;
  std::string delay = kUnset;
  std::string path = kUnset;
  std::string join = kUnset;
  bool term = false;
};

struct ReplayOptions {
  std::string id = kUnset;
  std::string filename = kUnset;
  std::string begin = kUnset;
  std::string end = kUnset;
};

struct CommandOptions {
  std::string id = kUnset;
  bool listGpus = false;
  bool query = false;
  std::string filename = kUnset;
  bool xmlFormat = false;
  bool dtd = false;
  std::string display = kUnset;
  std::string loop = kUnset;
  std::string queryGpu = kUnset;
  bool helpQueryGpu = false;
  std::string queryComputeApps = kUnset;
  bool helpQueryComputeApps = false;
  std::string format = kUnset;
  bool gpuReset = false;
  std::string ceMask = kUnset;
  DmonOptions dmon;
  PmonOptions pmon;
  TopoOptions topo;
  VgpuOptions vgpu;
  StatsOptions stats;
  DaemonOptions daemon;
  ReplayOptions replay;
};

}  // namespace zanctl
