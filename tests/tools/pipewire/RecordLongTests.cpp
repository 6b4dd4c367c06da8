#include "tests/tools/pipewire/RecordFixture.h"

namespace {

using Tool_Record = tool_test::ToolRecord;

constexpr std::size_t tenMinutes = 28'800'000;

TEST_F(Tool_Record, LosslessFilesHoldTenMinutesFrameForFrame) { expectLosslessRecordings(tenMinutes); }

TEST_F(Tool_Record, LossyFilesHaveLengthLevelAndPitchOfTenMinutes) { expectLossyRecordings(tenMinutes); }

} // namespace
