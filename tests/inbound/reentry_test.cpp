// Host callbacks that call back into the library while it is inside one of
// them: a line close, a new request, an inbound answer, monitor changes. The
// library must come out of every such call with its lists intact; under
// AddressSanitizer a loop that keeps a handle into a list across the call
// fails here with a use after free.
#include "inbound_fixture.h"
#include "kestrel3_structures.h"

namespace inbound_test {
namespace {

using Replies = std::vector<std::pair<uint32_t, uint32_t>>;

using Reentry = Inbound;

TEST_F(Reentry, SweepRepliesThatCloseAnswerOrRequest) {
  Block a(0x43, 3), b(0x43, 3), c(0x43, 3), young(0x43, 3);
  Pend(40000, a);
  Pend(40010, b);
  Pend(40020, c);
  k3::AddPending(0, {40030, 0x43, young.p.data(), 3, 40031, 0, kNow + 50000, kNow + 140000});
  // The first expired request's reply closes the line: the others are
  // dropped unanswered, like every request a close finds.
  host.onReply = [](uint32_t requestId, uint32_t) {
    if (requestId == 40001) k3::LineReset(0);
  };
  k3::SweepTimeouts(kNow + 90001);
  EXPECT_EQ(host.replies, (Replies{{40001, 0xC0000012}}));
  EXPECT_EQ(PendingCount(), 0u);

  // A reply that hands in a late answer to the next expired request, and
  // starts a new request: the late answer finds nothing, every expired
  // request is completed once, and the new one stays pending.
  host.replies.clear();
  Pend(40000, a);
  Pend(40010, b);
  Block fresh(0x41, 8);
  host.onReply = [&](uint32_t requestId, uint32_t) {
    if (requestId != 40001) return;
    Dispatch(Roer(40010));
    Dispatch(Rors(40010, 51, EscapeRes(Item(Amhost(8, 2, 2)))));
    Request(77, fresh);
  };
  k3::SweepTimeouts(kNow + 90001);
  EXPECT_EQ(host.replies, (Replies{{40001, 0xC0000012}, {40011, 0xC0000012}}));
  ASSERT_EQ(PendingCount(), 1u);
  EXPECT_EQ(k3::Line(0).pending.front().requestId, 77u);
}

TEST_F(Reentry, ErrorRepliesThatCloseAndRequestAgain) {
  // The reply to an error closes the line and starts a request at once; the
  // new request must stay pending, whatever memory its entry reuses.
  Block a(0x43, 3), fresh(0x41, 8);
  Pend(40000, a);
  host.onReply = [&](uint32_t requestId, uint32_t) {
    if (requestId != 40001) return;
    k3::LineReset(0);
    Request(77, fresh);
  };
  Dispatch(Roer(40000));
  EXPECT_EQ(ResultFor(40000), 0xC0000014);
  ASSERT_EQ(PendingCount(), 1u);
  EXPECT_EQ(k3::Line(0).pending.front().requestId, 77u);

  // The same through a result whose converter replies.
  const uint32_t freshId = k3::Line(0).pending.front().invokeId;
  Block again(0x41, 8);
  host.onReply = [&](uint32_t requestId, uint32_t) {
    if (requestId != 77) return;
    k3::LineReset(0);
    Request(78, again);
  };
  Dispatch(Rors(freshId, 51, EscapeRes(Item(Amhost(8, 2, 2)))));  // element 248 missing
  ASSERT_EQ(host.replies.size(), 2u);
  EXPECT_EQ(host.replies[1], std::make_pair(77u, 0xC0000011u));
  ASSERT_EQ(PendingCount(), 1u);
  EXPECT_EQ(k3::Line(0).pending.front().requestId, 78u);
}

TEST_F(Reentry, ListCompletionWhoseReplyClosesOrQueriesAgain) {
  Block query(0x61, 21), second(0x61, 21), third(0x61, 21);
  Request(5, query);
  ASSERT_EQ(host.sent.size(), 1u);
  const uint32_t queryId = host.sent[0].first;
  Pend(queryId, query);
  // The query's completion closes the line and queries again from the reply.
  host.onReply = [&](uint32_t requestId, uint32_t) {
    if (requestId != queryId + 1) return;
    k3::LineReset(0);
    Request(6, second);
  };
  Dispatch(Roiv(502, 51, EscapeArg(Cat({Amhost(7, 2, 2), Dev211("103")}))));
  EXPECT_EQ(ResultFor(queryId), 0u);
  EXPECT_EQ(query.Range(15, 17), B({1, 0}));
  EXPECT_EQ(PendingCount(), 0u);
  // The second query went out and collects into a record of its own.
  ASSERT_EQ(host.sent.size(), 2u);
  const uint32_t handle = k3::Line(0).listQueryHandle;
  ASSERT_NE(handle, 0u);
  ASSERT_NE(k3::FindEventData(0, handle), nullptr);

  // Without a close: the reply of a completed query may start the next one.
  const uint32_t secondId = host.sent[1].first;
  Pend(secondId, second);
  host.onReply = [&](uint32_t requestId, uint32_t) {
    if (requestId == secondId + 1) Request(7, third);
  };
  Dispatch(Roiv(503, 51, EscapeArg(Cat({Amhost(7, 2, 2), Dev211("104"), Dev211("105")}))));
  EXPECT_EQ(ResultFor(secondId), 0u);
  EXPECT_EQ(second.Range(15, 17), B({2, 0}));
  ASSERT_EQ(host.sent.size(), 3u);  // the third query was sent, not refused as busy
  EXPECT_NE(k3::Line(0).listQueryHandle, 0u);
  EXPECT_NE(k3::Line(0).listQueryHandle, handle);
}

TEST_F(Reentry, SendCallbacksThatHandInMessagesOrClose) {
  // The answer to the PBX's sendData: its send callback hands in the PBX's
  // stopDataPath for the same path, which frees the path's entry.
  Dispatch(StartPath(1, "DP1", true));
  ASSERT_EQ(k3::Line(0).dataPaths.size(), 1u);
  const std::string xref(4, '\0');
  host.onSend = [&](uint32_t invokeId) {
    if (invokeId == 710) Dispatch(PathMessage(711, 111, xref));
  };
  Dispatch(PathMessage(710, 112, xref, "hello"));
  EXPECT_TRUE(k3::Line(0).dataPaths.empty());
  ASSERT_EQ(host.events.size(), 3u);
  EXPECT_EQ(host.events[1][0], 0x96);
  EXPECT_EQ(host.events[2][0], 0x94);
  EXPECT_EQ(Str(Record(U32(host.events[2], 2)), 24), "DP1");

  // The same answer's send callback closes the line.
  Dispatch(StartPath(2, "DP2", true));
  ASSERT_EQ(k3::Line(0).dataPaths.size(), 1u);
  const std::string xref2("\x01\x00\x00\x00", 4);
  host.onSend = [&](uint32_t invokeId) {
    if (invokeId == 720) k3::LineReset(0);
  };
  Dispatch(PathMessage(720, 112, xref2, "x"));
  EXPECT_TRUE(k3::Line(0).dataPaths.empty());

  // A list part whose request for the next part closes the line: the part
  // is kept nowhere, and nothing is left half done.
  Block query(0x61, 21);
  Request(5, query);
  host.onSend = [&](uint32_t invokeId) {
    if (invokeId == 0) k3::LineReset(0);
  };
  Dispatch(Roiv(600, 51, EscapeArg(Cat({Amhost(7, 2, 6), Dev211("101")}))));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);
  EXPECT_TRUE(k3::Line(0).events.empty());
}

TEST_F(Reentry, AnswersHandedInFromTheSendCallback) {
  // The host hands in the PBX's answer before its send callback returns: the
  // request is completed by that answer, once, and nothing stays pending.
  Block time(0x41, 8);
  host.onSend = [&](uint32_t invokeId) {
    Dispatch(Rors(invokeId, 51, EscapeRes(Item(Cat({Amhost(8, 2, 2), B({0xF8, 6, 0, 12, 30, 45})})))));
  };
  EXPECT_EQ(Request(10, time), 0u);
  EXPECT_EQ(host.replies, (Replies{{10, 0}}));
  EXPECT_EQ(time.Range(2, 8), B({12, 0, 30, 0, 45, 0}));
  EXPECT_EQ(PendingCount(), 0u);

  // The loop test's answer handed in at once stays in the structure.
  Block loop(0x21, 54, 56);
  loop.U8(2, 'x').U8(53, 1);
  host.replies.clear();
  host.onSend = [&](uint32_t invokeId) { Dispatch(Rors(invokeId, 51, EscapeRes(Item(Maint(1, 0, B({1, 2, 3})))))); };
  Request(16, loop);
  EXPECT_EQ(host.replies, (Replies{{16, 0}}));
  EXPECT_EQ(loop.Range(2, 5), B({1, 2, 3}));
  EXPECT_EQ(loop.p[53], 3);
  EXPECT_EQ(PendingCount(), 0u);

  // An error handed in, then the send refused: one completion, the error's.
  host.replies.clear();
  host.sendReturn = 0;
  host.onSend = [&](uint32_t invokeId) { Dispatch(Roer(invokeId)); };
  Request(11, time);
  EXPECT_EQ(host.replies, (Replies{{11, 0xC0000014}}));
  EXPECT_EQ(PendingCount(), 0u);

  // Refused without an answer: no answer found, the refusal completes it.
  host.replies.clear();
  host.onSend = nullptr;
  Request(12, time);
  EXPECT_EQ(host.replies, (Replies{{12, 0xC0000012}}));
  EXPECT_EQ(PendingCount(), 0u);

  // Accepted, and the line closed from the send callback: the request is
  // dropped like every request the close finds; a late answer finds nothing.
  host.replies.clear();
  host.sendReturn = 1;
  uint32_t sentId = 0;
  host.onSend = [&](uint32_t invokeId) {
    sentId = invokeId;
    k3::LineReset(0);
  };
  Request(13, time);
  host.onSend = nullptr;
  Dispatch(Roer(sentId));
  EXPECT_TRUE(host.replies.empty());
  EXPECT_EQ(PendingCount(), 0u);

  // A request made from inside another request's send callback: both go out
  // and both wait for their own answers.
  Block other(0x41, 8);
  host.onSend = [&](uint32_t) {
    host.onSend = nullptr;
    Request(15, other);
  };
  Request(14, time);
  ASSERT_EQ(PendingCount(), 2u);
  EXPECT_EQ(k3::Line(0).pending.front().requestId, 14u);
  EXPECT_EQ(k3::Line(0).pending.back().requestId, 15u);
  EXPECT_TRUE(host.replies.empty());
}

TEST_F(Reentry, EventCallbacksThatRequestAndChangeMonitors) {
  // An agent event whose event callback fetches its record at once (a new
  // request, answered locally) and stops the monitor: the record is consumed
  // and the monitor's next event is dropped.
  k3::MonitorStartHandler(0, "4711", AsnOcts(kXref.data(), kXref.size()));
  Block fetch(DS_GET_STORED_RECORD, 36);
  host.onEvent = [&](const Bytes &header) {
    std::memcpy(&fetch.p[2], &header[2], 4);
    Request(90, fetch);
    k3::MonitorStopHandler(0, "4711");
    k3::MonitorStartHandler(0, "4712", AsnOcts("\x09", 1));
  };
  Dispatch(AgentReport<AgentBusyEvent>(L::agentBusyCid, "A1"));
  ASSERT_EQ(host.events.size(), 1u);
  EXPECT_EQ(host.replies, (Replies{{90, 0}}));
  EXPECT_EQ(fetch.Str(15), "A1");
  EXPECT_TRUE(k3::Line(0).events.empty());
  Dispatch(AgentReport<AgentBusyEvent>(L::agentBusyCid, "A2"));
  EXPECT_EQ(host.events.size(), 1u);

  // An event callback that closes the line while a CDR report is raised.
  host.onEvent = [](const Bytes &) { k3::LineReset(0); };
  Dispatch(Invoke(3, 361, new CDRReportArgument));
  EXPECT_EQ(host.events.size(), 2u);
  EXPECT_TRUE(k3::Line(0).events.empty());
  EXPECT_TRUE(k3::Line(0).monitors.empty());
}

}  // namespace
}  // namespace inbound_test
