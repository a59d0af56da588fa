// The whole machine at one moment, as a plain value. What the library did not supply is empty: no
// mark, no 0 in its place. Neither is anything that is garbage on its face: numbers of all ones,
// texts without an end, what the records of the device layer call unknown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zanctl::collector {

using Number = std::optional<std::uint32_t>;
using BigNumber = std::optional<std::uint64_t>;
using Text = std::optional<std::string>;

struct Identity {
  Text name;
  Text serial;
  Text partNumber;
  Text pciBusId;  // "DDDDDDDD:BB:DD.0"
  Number minorNumber;
  Text firmwareVersion;
};

// Which board the GPU is on. With the groups identity and power.
struct BoardPlace {
  Number id;        // never 0
  Number position;  // 0 for a board's first GPU
};

struct Temperatures {
  Number gpu;           // C
  Number board;         // C
  Number shutdown;      // C
  Number slowdown;      // C
  Number maxOperating;  // C
  Number fanSpeed;      // percent
};

struct Power {
  Number usage;            // W
  Number enforcedLimit;    // W
  Number managementLimit;  // W
  Number boardUsage;       // W, of the whole board
  Number boardLimit;       // W, of the whole board
  std::optional<double> gpuVolts;
  std::optional<double> memoryVolts;
  std::optional<double> vcc12Volts;
};

struct Clocks {
  Number sm;                   // MHz
  Number memory;               // MHz
  Number maxSm;                // MHz
  Number maxMemory;            // MHz
  Number performanceState;     // 0 to 15
  BigNumber throttleReasons;   // a set of bits, 0 for none
  BigNumber powerViolation;    // ns for which power held the clocks down; goes back with a reset
  BigNumber thermalViolation;  // ns for which heat did
};

struct Utilization {
  Number sm;       // percent
  Number memory;   // percent
  Number encoder;  // percent
  Number decoder;  // percent
};

// By engine; empty without engines, and when unavailable.
struct Engines {
  std::vector<BigNumber> jpuBusy;  // ns since the driver was loaded
  std::vector<Number> vpuBusy;     // parts of vpuTotal
  Number vpuTotal;                 // never 0
};

struct Memory {
  BigNumber total;           // bytes
  BigNumber used;            // bytes
  Number eccEnabled;         // 0 or 1
  Number eccPending;         // 0 or 1: from the next reset on
  BigNumber singleBitPages;  // pages retired for single-bit errors
  BigNumber doubleBitPages;  // pages retired for double-bit errors
};

struct Pcie {
  Number generation;     // never 0, as the others
  Number maxGeneration;  // of the link
  Number width;          // lanes
  Number maxWidth;       // lanes
};

struct PcieThroughput {
  Number transmit;  // KB/s, of 1,000 bytes
  Number receive;   // KB/s
};

// A compute process. One that the library lists twice is here once, with the sum of its memory; one
// that is gone is left out. With the group of holders it is any process, and without a name when it
// is gone.
struct Process {
  std::uint32_t pid;
  BigNumber memoryUsed;  // bytes
  // With the group of names: the last part of the program's path, at most 128 bytes of UTF-8; in
  // square brackets for a process without a command line, "vgpu" for one that serves a vGPU. Else
  // empty.
  std::string name;
};

// A vGPU of a GPU that is in one of the two vGPU modes.
struct Vgpu {
  std::uint32_t id;
  Text vmName;
  Text typeName;
  BigNumber memoryUsed;     // bytes
  Utilization utilization;  // from the last sample; empty without one
};

// How a GPU is connected to another one.
struct Link {
  std::uint32_t gpu;    // the other one's index
  std::uint32_t level;  // nvmlGpuTopologyLevel_t, or what else the library calls it
};

// What one GPU answered. A group that was not asked for is empty.
struct Readings {
  Text uuid;  // asked for in every round
  Identity identity;
  BoardPlace board;
  Temperatures temperature;
  Power power;
  Clocks clock;
  Utilization utilization;
  Engines engines;
  Memory memory;
  Pcie pcie;
  PcieThroughput pcieThroughput;
  Number processCount;  // the length of the library's list
  std::optional<std::vector<Process>> processes;
  Number vgpuCount;  // empty outside the vGPU modes
  std::vector<Vgpu> vgpus;
  std::vector<Link> links;  // to the GPUs whose link is known
};

enum class GpuState : std::uint8_t {
  pending,  // not asked yet in the round that runs
  up,       // answered something
  silent,   // answered nothing: lost, its handle refused, or listed in an earlier round only
  hung,     // did not answer in time or took the library down, in this round or a short while ago
  unasked,  // the round ended, or the library did, before it was this GPU's turn
};

struct Gpu {
  std::uint32_t index = 0;
  // False for one that the library does not count in this round, but an earlier round found.
  bool counted = true;
  GpuState state = GpuState::pending;
  // The UUID that it answers, else the one that it had in an earlier round; empty when unknown.
  std::string uuid;
  Readings readings;  // empty unless it is up
};

// Why there are GPUs, or none. Everything but `running` has no counted GPU.
enum class LibraryState : std::uint8_t {
  unknown,    // before the end of the first round's first answer
  running,    // open, and the GPUs are counted
  noLibrary,  // could not be loaded
  noDriver,   // loaded, but "/dev" has no node of the driver
  failing,    // did not start, or does not say how many GPUs there are
  noAnswer,   // hung or crashed before it said anything, or waits for its restart after that
};

struct Snapshot {
  LibraryState library = LibraryState::unknown;
  // For people: why the library is not running; empty when it is.
  std::string problem;
  std::uint32_t gpuCount = 0;  // counted by the library
  Text driverVersion;
  Text libraryVersion;
  Text cudaVersion;
  Number resetInProgress;  // the driver's marker: 0 or 1
  // By index; GPUs that are seen no more stand beside their successors at the same index.
  std::vector<Gpu> gpus;

  std::int64_t startedAt = 0;  // of the round, in ms since 1970
  double durationSeconds = 0;  // of the round; 0 while it runs
  // Since the collector was made.
  std::uint64_t roundTimeouts = 0;  // rounds in which something did not answer in time
  std::uint64_t restarts = 0;       // of the process that owns the library session
};

}  // namespace zanctl::collector
