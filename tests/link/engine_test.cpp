#include "link/engine.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "link/platform.h"

namespace {

using k3::EventDataRecord;

using Reply = std::tuple<uint32_t, uint32_t, uint32_t>;  // line, request id, result
std::vector<Reply> g_replies;
std::vector<std::vector<uint32_t>> g_events;
uint32_t g_replyReturn = 1;

uint32_t K3_CALL OnReply(uint32_t line, uint32_t requestId, uint32_t result) {
  g_replies.emplace_back(line, requestId, result);
  return g_replyReturn;
}
uint32_t K3_CALL OnEvent(uint32_t line, uint32_t m, uint32_t p1, uint32_t p2, uint32_t p3) {
  g_events.push_back({line, m, p1, p2, p3});
  return 0;
}

class LinkEngine : public ::testing::Test {
 protected:
  void SetUp() override {
    k3::ResetAllForLoad();
    k3::g_callbacks = {};
    k3::g_callbacks.reply = OnReply;
    k3::g_callbacks.event = OnEvent;
    g_replies.clear();
    g_events.clear();
    g_replyReturn = 1;
    k3::Portable().Clear();
    k3::Portable().SetTick(1000);
  }
  uint8_t block_[8] = {0x41, 0x00};
};

TEST_F(LinkEngine, InvokeIdsStartAt32768AndWrapAfter65535) {
  EXPECT_EQ(k3::NextInvokeId(0), 32768u);
  EXPECT_EQ(k3::NextInvokeId(0), 32769u);
  k3::Line(0).invokeCounter = 65534;
  EXPECT_EQ(k3::NextInvokeId(0), 65535u);
  EXPECT_EQ(k3::NextInvokeId(0), 32768u);
  // A line reset leaves the counter alone.
  k3::LineReset(0);
  EXPECT_EQ(k3::NextInvokeId(0), 32769u);
}

TEST_F(LinkEngine, EncoderResultsMapToCompletions) {
  // Send refused: no PBX answer, with the debugger text.
  EXPECT_EQ(k3::CompleteRequest(0, 7, block_, 8, 0), 0u);
  // Everything else completes as success: 5..7, answered-at-once values, negatives, 32767.
  for (int32_t r : {5, 6, 7, static_cast<int32_t>(0xFFFF0001u), static_cast<int32_t>(0xFFFF0009u), -1, 32767})
    k3::CompleteRequest(0, 20, block_, 8, r);
  std::vector<Reply> want = {{0, 7, 0xC0000012}};
  for (int i = 0; i < 7; ++i) want.push_back({0, 20, 0});
  EXPECT_EQ(g_replies, want);
  EXPECT_TRUE(k3::Line(0).pending.empty());
  auto debug = k3::Portable().DebugLines();
  ASSERT_FALSE(debug.empty());
  EXPECT_EQ(debug[0], "LINEERR_MISSINGPBXANSWER, invokeid 0 \n");
  EXPECT_EQ(debug[1], "TAPIExtendedService-SendReply: 0x08x\n");
  // A reply callback that refuses makes the entry's own result 0xC0000001.
  g_replyReturn = 0;
  EXPECT_EQ(k3::CompleteRequest(0, 30, block_, 8, 2), 0xC0000001u);
}

TEST_F(LinkEngine, LifetimesHoldAcrossTheTickWrap) {
  // A request sent 64 s before the 32-bit tick wraps, and one sent at its
  // last value: neither fails early, each fails once its 90 s are over.
  k3::Portable().SetTick(0xFFFF0000u);
  k3::CompleteRequest(0, 1, block_, 8, 40000);
  k3::Portable().SetTick(0xFFFFFFFFu);
  k3::CompleteRequest(0, 2, block_, 8, 40001);
  k3::SweepTimeouts(0xFFFF0000u + 10000);  // past the wrap
  k3::SweepTimeouts(0xFFFF0000u + 90000);
  EXPECT_TRUE(g_replies.empty());
  k3::SweepTimeouts(0xFFFF0000u + 90001);
  EXPECT_EQ(g_replies, (std::vector<Reply>{{0, 1, 0xC0000012}}));
  k3::SweepTimeouts(89999);
  EXPECT_EQ(g_replies.size(), 1u);
  k3::SweepTimeouts(90000);  // 90001 ms after 0xFFFFFFFF
  EXPECT_EQ(g_replies, (std::vector<Reply>{{0, 1, 0xC0000012}, {0, 2, 0xC0000012}}));

  // A sweep whose tick was taken just before a request was listed.
  k3::Portable().SetTick(5000);
  k3::CompleteRequest(0, 3, block_, 8, 40002);
  k3::SweepTimeouts(4990);
  EXPECT_EQ(k3::Line(0).pending.size(), 1u);

  // Event data stored 256 ms before the wrap lives its 120 s across it.
  k3::Portable().SetTick(0xFFFFFF00u);
  uint32_t seq = k3::StoreEventData(0, EventDataRecord());
  k3::SweepTimeouts(0xFFFFFF00u + 10000);
  k3::SweepTimeouts(0xFFFFFF00u + 120000);
  EXPECT_EQ(k3::HasEventData(0, seq), 1u);
  k3::SweepTimeouts(0xFFFFFF00u + 120001);
  EXPECT_EQ(k3::HasEventData(0, seq), 0u);
  // And one stored at the wrap's other side, swept by a tick from before it.
  k3::Portable().SetTick(3);
  seq = k3::StoreEventData(0, EventDataRecord());
  k3::SweepTimeouts(0xFFFFFFF0u);
  EXPECT_EQ(k3::HasEventData(0, seq), 1u);
}

TEST_F(LinkEngine, LineResetDropsEverythingWithoutReplies) {
  k3::CompleteRequest(0, 1, block_, 8, 33000);
  k3::StoreEventData(0, EventDataRecord());
  k3::MonitorStartHandler(0, "100", CSTA3V6::AsnOcts("\x01\x02", 2));
  k3::Line(0).cdrSession = 5;
  k3::Line(0).listQueryHandle = 9;
  k3::Line(0).cdrCrossRefId = CSTA3V6::AsnOcts("ab", 2);
  k3::Line(0).maintSessions.push_back(3);
  k3::Line(0).dataPaths.push_back({"200", CSTA3V6::AsnOcts("\0\0\0\0", 4), 0});
  k3::Line(0).dataPathCounter = 1;

  k3::LineReset(0);
  const k3::LineState &s = k3::Line(0);
  EXPECT_TRUE(g_replies.empty());
  EXPECT_TRUE(s.pending.empty());
  EXPECT_TRUE(s.events.empty());
  EXPECT_TRUE(s.monitors.empty());
  EXPECT_EQ(s.cdrSession, 0u);
  EXPECT_EQ(s.listQueryHandle, 0u);
  EXPECT_EQ(s.cdrCrossRefId.octetLen, 0u);
  EXPECT_TRUE(s.maintSessions.empty());
  EXPECT_TRUE(s.dataPaths.empty());
  EXPECT_EQ(s.dataPathCounter, 1u);
  k3::SweepTimeouts(1000000);
  EXPECT_TRUE(g_replies.empty());
}

TEST_F(LinkEngine, MonitorRegistry) {
  EXPECT_EQ(k3::MonitorStopHandler(0, "100"), 0u);  // empty list
  k3::MonitorClearHandler(0);                        // harmless when empty

  k3::MonitorStartHandler(0, "100", CSTA3V6::AsnOcts("A", 1));
  k3::MonitorStartHandler(0, "100", CSTA3V6::AsnOcts("B", 1));
  k3::MonitorStartHandler(0, "200", CSTA3V6::AsnOcts());
  EXPECT_EQ(k3::FindMonitorByCrossRef(0, "", 0)->device, std::string("200"));
  EXPECT_EQ(k3::FindMonitorByCrossRef(0, "B", 1)->device, std::string("100"));
  EXPECT_EQ(k3::FindMonitorByCrossRef(0, "AB", 2), nullptr);

  // Two starts of one device: each stop removes the older entry.
  EXPECT_EQ(k3::MonitorStopHandler(0, "100"), 1u);
  EXPECT_EQ(k3::FindMonitorByCrossRef(0, "A", 1), nullptr);
  EXPECT_NE(k3::FindMonitorByCrossRef(0, "B", 1), nullptr);
  EXPECT_EQ(k3::MonitorStopHandler(0, "100"), 1u);
  EXPECT_EQ(k3::MonitorStopHandler(0, "100"), 0u);
  EXPECT_EQ(k3::MonitorStopHandler(0, "20"), 0u);   // no prefix match

  // A text longer than the field is cut to 15 characters, never written past it.
  k3::MonitorStartHandler(0, "0123456789abcdefghij", CSTA3V6::AsnOcts("C", 1));
  EXPECT_EQ(k3::FindMonitorByCrossRef(0, "C", 1)->device, std::string("0123456789abcde"));
}

}  // namespace
