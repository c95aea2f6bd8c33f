// The dispatcher's bookkeeping: which answers reach a pending request, which
// complete it, and which leave it in the list.
#include "inbound_fixture.h"

namespace inbound_test {
namespace {

const Bytes kPlain = EscapeRes(Item(Amhost(10, 8, 2)));  // an AMHOST answer with nothing to convert

TEST_F(Inbound, OnlyInvokeIdsOfTheRangeReachARequest) {
  Block out1(0x43, 3), in1(0x43, 3), in2(0x43, 3), out2(0x43, 3);
  Pend(32767, out1), Pend(32768, in1), Pend(65535, in2), Pend(65536, out2);
  for (uint32_t id : {32767u, 65536u}) Dispatch(Rors(id, 51, kPlain)), Dispatch(Roer(id)), Dispatch(Rorj(id));
  Dispatch(Roer(40005));                          // not pending
  Dispatch(TLV(0xA4, B({0x05, 0x00, 0x80, 0x01, 0x00})));  // reject without an invoke id
  EXPECT_TRUE(host.replies.empty());
  Dispatch(Rors(32768, 51, kPlain));
  Dispatch(Rors(65535, 51, kPlain));
  Dispatch(Rors(32768, 51, kPlain));  // answered already: nothing
  EXPECT_EQ(ResultFor(32768), 0u);
  EXPECT_EQ(ResultFor(65535), 0u);
  EXPECT_EQ(PendingCount(), 2u);  // 32767 and 65536
}

TEST_F(Inbound, EscapeResultsThatDoNotFitLeaveTheRequestPending) {
  Block time(0x41, 8), loop(0x21, 54), r47(0x47, 2), r48(0x48, 2), other(0x43, 3);
  Pend(34000, time), Pend(34001, loop);
  const Bytes amhost = Cat({Amhost(8, 2, 2), B({0xF8, 0x06, 0x00, 1, 2, 3})});
  for (const Bytes &ber : {
           Rors(34000, 51, EscapeRes(Cat({Item(amhost), Item(amhost)}))),  // two items
           Rors(34000, 51, EscapeRes(Item(Amhost(8, 2, 2, 0xC3)))),   // action 195
           Rors(34000, 51, EscapeRes(Item(Dev211("12")))),            // office form
           Rors(34000, 51, B({0x05, 0x00})),                          // noData
           Rors(34001, 51, EscapeRes(Item(Maint(2, 7)))),             // reference answer to 0x21
           Rors(34001, 51, EscapeRes(Item(Maint(1, 7, {}, 0xC5)))),   // MAINT, action 197
       })
    Dispatch(ber);
  EXPECT_TRUE(host.replies.empty());
  EXPECT_EQ(PendingCount(), 2u);
  EXPECT_EQ(time.Range(2, 8), Bytes(6, 0));

  // The reserved types and operations without handling are dropped silently.
  k3::Line(0).pending.clear();
  Pend(35000, r47), Pend(35001, r48), Pend(35002, other);
  Dispatch(Rors(35000, 51, kPlain));
  Dispatch(Rors(35001, 51, kPlain));
  Dispatch(Result(35002, 73, nullptr));  // an operation the dispatcher has no handling for
  EXPECT_TRUE(host.replies.empty());
  EXPECT_EQ(PendingCount(), 0u);
  EXPECT_EQ(k3::DispatchInbound(0, nullptr), 1);
}

TEST_F(Inbound, CdrStartAndStopResultsKeepTheCdrState) {
  Block stop(0x34, 6), start(0x31, 6);
  Pend(36002, stop), Pend(36003, start);
  k3::Line(0).cdrSession = 9;
  Dispatch(Rors(36002, 364, B({0x05, 0x00})));
  Dispatch(Rors(36003, 363, TLV(0x30, TLV(0x04, B({0xCA, 0xFE})))));
  for (uint32_t id = 36002; id <= 36003; ++id) EXPECT_EQ(ResultFor(id), 0u);
  EXPECT_EQ(k3::Line(0).cdrSession, 0u);
  EXPECT_EQ(k3::Line(0).cdrCrossRefId.Str(), "\xCA\xFE");
  EXPECT_EQ(PendingCount(), 0u);
}

}  // namespace
}  // namespace inbound_test
