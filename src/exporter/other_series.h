// The series of families that are not one value of each GPU.
#pragma once

#include "exporter/families.h"

namespace zanctl::exporter {

void writeDriverInfo(const Scrape& scrape, Sink& sink);
void writeUp(const Scrape& scrape, Sink& sink);
void writeGpuInfo(const Scrape& scrape, Sink& sink);
void writeBoardPower(const Scrape& scrape, Sink& sink);
void writeBoardLimit(const Scrape& scrape, Sink& sink);
void writeJpu(const Scrape& scrape, Sink& sink);
void writeVpu(const Scrape& scrape, Sink& sink);
void writeProcesses(const Scrape& scrape, Sink& sink);
void writeVgpuUtilization(const Scrape& scrape, Sink& sink);
void writeVgpuMemory(const Scrape& scrape, Sink& sink);
void writeBuildInfo(const Scrape& scrape, Sink& sink);
void writeGpuCount(const Scrape& scrape, Sink& sink);
void writeResetMarker(const Scrape& scrape, Sink& sink);
void writeRoundDuration(const Scrape& scrape, Sink& sink);
void writeRoundTimeouts(const Scrape& scrape, Sink& sink);
void writeRestarts(const Scrape& scrape, Sink& sink);

}  // namespace zanctl::exporter
