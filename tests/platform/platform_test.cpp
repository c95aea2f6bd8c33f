// The portable platform seam: reports and debugger texts as the library
// formats them.
#include "link/platform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class PortableSeam : public ::testing::Test {
 protected:
  void SetUp() override {
    k3::SetPlatform(nullptr);
    k3::Portable().Clear();
  }
  void TearDown() override {
    k3::Portable().UseRealClock();
    k3::SetPlatform(nullptr);
  }
};

TEST_F(PortableSeam, ReportsKeepCategoryTypeAndTheFormattedText) {
  k3::ReportLog(1, "ThreadMessage: PostThreadMessage failed. Msg: 0x%08lx, GetLastError: 0x%08lx", 0x402ul, 0x5a4ul);
  EXPECT_EQ(1u, k3::ReportInfo(4, "'MONITORCLEAR'  dwVortaID=%d", 3));
  auto events = k3::Portable().Events();
  ASSERT_EQ(2u, events.size());
  EXPECT_EQ(1, events[0].category);
  EXPECT_EQ(k3::kEventError, events[0].type);
  EXPECT_EQ("ThreadMessage: PostThreadMessage failed. Msg: 0x00000402, GetLastError: 0x000005a4", events[0].text);
  EXPECT_EQ(4, events[1].category);
  EXPECT_EQ(k3::kEventInformation, events[1].type);
  EXPECT_EQ("'MONITORCLEAR'  dwVortaID=3", events[1].text);
}

TEST_F(PortableSeam, ReportTextsAreCutAt1024Characters) {
  const std::string exact(1024, 'a');
  const std::string longer = std::string(1500, 'b');
  k3::ReportLog(3, "%s", exact.c_str());
  k3::ReportLog(3, "%s", longer.c_str());
  k3::ReportLog(3, "x%s", exact.c_str());
  auto events = k3::Portable().Events();
  ASSERT_EQ(3u, events.size());
  EXPECT_EQ(exact, events[0].text);
  EXPECT_EQ(std::string(1024, 'b'), events[1].text);
  EXPECT_EQ("x" + std::string(1023, 'a'), events[2].text);
}

// The completion texts themselves are read back by the link engine's tests;
// here the invoke id in hexadecimal.
TEST_F(PortableSeam, MissingAnswerTextNamesTheInvokeIdInHex) {
  k3::DebugMissingPbxAnswer(0x8001);
  EXPECT_EQ(k3::Portable().DebugLines(), std::vector<std::string>{"LINEERR_MISSINGPBXANSWER, invokeid 8001 \n"});
}

}  // namespace
