// The parent's reading of what comes from the process that the library shares.
#include "collector/wire.h"

#include <gtest/gtest.h>

namespace zanctl::collector {
namespace {

std::string payloadOf(const std::string& frame) { return frame.substr(kFrameHead); }

GpuAnswer exampleAnswer() {
  GpuAnswer answer;
  answer.index = 7;
  answer.answered = true;
  answer.readings.identity.name = "Zanthe KV100";
  answer.readings.power.gpuVolts = 0.85;
  answer.readings.engines.jpuBusy = {1U, std::nullopt, 3U};
  answer.readings.processes = {{{.pid = 12, .memoryUsed = 5U, .name = "train"}}};
  answer.readings.vgpus = {
      {.id = 1, .vmName = "vm", .typeName = {}, .memoryUsed = {}, .utilization = {}}};
  answer.readings.links = {{.gpu = 1, .level = 20}};
  return answer;
}

TEST(Wire, carriesEverythingWhole) {
  const std::string frame = frameOf(exampleAnswer());
  EXPECT_FALSE(firstFrame(frame.substr(0, frame.size() - 1)).payload);
  const auto answer = gpuAnswer(firstFrame(frame + "more").payload.value());
  ASSERT_TRUE(answer);
  EXPECT_EQ(frameOf(*answer), frame);
  EXPECT_EQ(answer->readings.identity.name, "Zanthe KV100");
  EXPECT_EQ(answer->readings.engines.jpuBusy[2], 3U);
  EXPECT_EQ(answer->readings.processes.value()[0].name, "train");
  EXPECT_FALSE(answer->readings.uuid);
}

// Cut anywhere, and with any byte changed, it is refused or read, and never believed in its sizes.
TEST(Wire, survivesWhateverComes) {
  const std::string payload = payloadOf(frameOf(exampleAnswer()));
  for (std::size_t length = 0; length < payload.size(); ++length) {
    EXPECT_FALSE(gpuAnswer(payload.substr(0, length))) << length;
    for (const char byte : {'\0', '\1', '\x7f', '\xff'}) {
      std::string changed = payload;
      changed[length] = byte;
      const auto answer = gpuAnswer(changed);
      EXPECT_LE(answer ? frameOf(*answer).size() : 0, kFrameHead + changed.size());
    }
  }
  EXPECT_FALSE(gpuAnswer(payload + "x"));
  EXPECT_TRUE(firstFrame("\xff\xff\xff\xff").garbage);
}

TEST(Wire, refusesAStateOrACountThatCannotBe) {
  SystemAnswer answer;
  answer.state = LibraryState::running;
  answer.gpuCount = kMaxGpus;
  EXPECT_TRUE(systemAnswer(payloadOf(frameOf(answer))));
  ++answer.gpuCount;
  EXPECT_FALSE(systemAnswer(payloadOf(frameOf(answer))));
  answer.gpuCount = 1;
  answer.state = static_cast<LibraryState>(200);
  EXPECT_FALSE(systemAnswer(payloadOf(frameOf(answer))));
}

}  // namespace
}  // namespace zanctl::collector
