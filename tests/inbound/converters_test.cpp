// Answers to pending requests: the reply fields written into the caller's
// structure and the status each request completes with.
#include "inbound_fixture.h"

namespace inbound_test {
namespace {

TEST_F(Inbound, AmhostAnswersFillTheReplyFields) {
  struct Case {
    uint16_t type;
    uint32_t size;
    Bytes priv;       // private octets of the escape result
    uint32_t status;
    size_t at;        // reply field checked
    Bytes before, after;
  };
  const Case cases[] = {
      {0x41, 8, Cat({Amhost(8, 2, 2), B({0xF8, 6, 0, 127, 128, 255})}), 0, 2, {}, B({127, 0, 128, 0, 255, 0})},
      {0x52, 143, Cat({Amhost(1, 2, 2), Dev211("4712"), Text(0xA3, "Al"), Text(0xA5, "12")}), 0, 2,
       Cat({S("4711"), Bytes(71, 0), S("keep"), Bytes(29, 0), S("x")}),
       Cat({S("4712"), Bytes(5, 0), S("Al"), Bytes(31, 0), S("12"), Bytes(31, 0), S("keep"), Bytes(29, 0), B({0})})},
      {0x71, 44, Amhost(6, 2, 2), 0, 11, S("n"), S("n")},
      // Texts keep every character their field holds; the terminator goes
      // when there is no room, and nothing spills into the next field.
      {0x71, 44, Cat({Amhost(6, 2, 2), Text(0xA3, std::string(33, 'N'))}), 0, 11, {}, S(std::string(33, 'N'))},
      {0x52, 143, Cat({Amhost(1, 2, 2), Dev211("123456789012"), Text(0xA5, std::string(34, 'P'))}), 0, 2,
       Cat({Bytes(9, 0), S("keep"), Bytes(29, 0), Bytes(33, 0), S("x")}),
       Cat({S("123456789"), S("keep"), Bytes(29, 0), S(std::string(33, 'P')), S("x")})},
      {0x74, 12, Cat({Amhost(6, 2, 2), B({0xE7, 6, 0x80, 0, 0x7F, 0xFF})}), 0xC0000011, 11, B({9}), B({9})},
      {0x74, 12, Amhost(6, 2, 2), 0xC0000011, 11, B({9}), B({9})},
      // Refusals (third value 3) by cause, whatever the type.
      {0x54, 44, Cat({Amhost(1, 1, 3), B({0xAD, 4, 49, 0})}), 0xC0000015, 2, {}, B({0})},
      {0x61, 21, Cat({Amhost(7, 2, 3), B({0xAD, 4, 84, 0})}), 0xC0000015, 2, {}, B({0})},
      {0x47, 2, Amhost(1, 1, 3), 0xC0000003, 0, {}, B({0x47, 0})},
  };
  uint32_t id = 40000;
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << "case " << id - 39999);
    Block b(c.type, c.size);
    std::copy(c.before.begin(), c.before.end(), &b.p[c.at]);
    Pend(++id, b);
    Dispatch(Rors(id, 51, EscapeRes(Item(c.priv))));
    EXPECT_EQ(ResultFor(id), c.status);
    EXPECT_EQ(b.Range(c.at, c.at + c.after.size()), c.after);
  }
  EXPECT_EQ(PendingCount(), 0u);
}

TEST_F(Inbound, EveryBitOfTheFlagAnswers) {
  // 0x73: only the bit of value 16 of element 230; 0x74: bit 7 (value 0x80 of
  // the low octet) of each 16-bit field of element 231; 0x44: bit 0 of octet 14.
  uint32_t id = 40500;
  auto answer = [&](uint16_t type, uint32_t size, const Bytes &priv, size_t at) {
    Block b(type, size);
    b.p[at] = 9;
    Pend(++id, b);
    Dispatch(Rors(id, 51, EscapeRes(Item(priv))));
    return std::make_pair(ResultFor(id), b.p[at]);
  };
  for (int bit = 0; bit < 8; ++bit) {
    SCOPED_TRACE(bit);
    EXPECT_EQ(answer(0x73, 12, Cat({Amhost(6, 2, 2), B({0xE6, 4, 1 << bit, 0})}), 11),
              std::make_pair(0u, uint8_t(bit == 4)));
    Bytes server = Cat({Amhost(10, 2, 2), B({0x0A, 4, 0, 0})});
    server[14] = uint8_t(1 << bit);
    EXPECT_EQ(answer(0x44, 3, server, 2), std::make_pair(0u, uint8_t(bit == 0)));
  }
  for (int bit = 0; bit < 16; ++bit) {
    SCOPED_TRACE(bit);
    const int lo = bit < 8 ? 1 << bit : 0, hi = bit < 8 ? 0 : 1 << (bit - 8);
    // The bit as the value with bit 7 valid, then as the only validity bit under all value bits.
    EXPECT_EQ(answer(0x74, 12, Cat({Amhost(6, 2, 2), B({0xE7, 6, lo, hi, 0x80, 0})}), 11),
              std::make_pair(0u, uint8_t(bit == 7)));
    EXPECT_EQ(answer(0x74, 12, Cat({Amhost(6, 2, 2), B({0xE7, 6, 0xFF, 0xFF, lo, hi})}), 11),
              bit == 7 ? std::make_pair(0u, uint8_t(1)) : std::make_pair(0xC0000011u, uint8_t(9)));
  }
}

TEST_F(Inbound, MaintenanceAnswersAndTheStateFlag) {
  uint32_t id = 41000;
  for (auto [octet, year] : {std::pair{79, 2079}, {80, 1980}, {99, 1999}, {100, 100}, {255, 255}}) {
    Block b(0x11, 17);
    Pend(++id, b);
    Dispatch(Rors(id, 51, EscapeRes(Item(Maint(2, 5, Cat({Date(24, 12, octet), Time(23, 59, 58)}))))));
    EXPECT_EQ(ResultFor(id), 0u);
    EXPECT_EQ(b.Range(4, 17), B({5, 24, 0, 12, 0, year & 0xFF, year >> 8, 23, 0, 59, 0, 58, 0}));
  }
  Block high(0x11, 17);  // octets above 127 are widened, not sign-extended
  Pend(++id, high);
  Dispatch(Rors(id, 51, EscapeRes(Item(Maint(2, 200, Cat({Date(127, 128, 80), Time(128, 255, 127)}))))));
  EXPECT_EQ(high.Range(4, 17), B({200, 127, 0, 128, 0, 0xBC, 0x07, 128, 0, 255, 0, 127, 0}));
  Block bare(0x11, 17), nack(0x91, 6);
  Pend(++id, bare);
  Dispatch(Rors(id, 51, EscapeRes(Item(Maint(2, 6)))));
  EXPECT_EQ(bare.Range(4, 17), Cat({B({6}), Bytes(12, 0)}));
  EXPECT_EQ(k3::Line(0).maintSessions, (std::vector<uint8_t>{5, 200, 6}));  // a repeated reference is listed once

  // An acknowledgement answers only the TDS start: to another request it
  // completes nothing and leaves the state flag; a refusal clears it.
  Block other(0x41, 8);
  Pend(++id, other);
  Dispatch(Rors(id, 51, EscapeRes(Item(B({0x1A, 0x04, 0x01, 0xC2})))));
  EXPECT_EQ(ResultFor(id), ~0u);
  EXPECT_EQ(other.Range(0, 8), B({0x41, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(k3::Line(0).stateFlag, 0);
  k3::Line(0).stateFlag = 1;
  Pend(++id, nack);
  Dispatch(Rors(id, 51, EscapeRes(Item(B({0x1A, 0x04, 0x01, 0xC3})))));  // STARTNACK
  EXPECT_EQ(ResultFor(id), 0u);
  EXPECT_EQ(nack.U32(2), 0u);
  EXPECT_EQ(k3::Line(0).stateFlag, 0);
}

TEST_F(Inbound, AgentStateAndDeviceCategory) {
  auto agentResult = [](const char *agent, int state) {
    auto *r = new GetAgentStateResult;
    r->agentStateList = new AgentStateList;
    AgentStateEntry *e = r->agentStateList->Append();
    if (agent) e->agentID = new AgentID(agent);
    if (state >= 0) (e->agentInfo = new AsnList<AgentInfo>)->Append()->agentState.Set(state);
    r->agentStateList->Append()->agentID = new AgentID("other");
    return r;
  };
  Block b(0x82, 19), c(0x82, 19), d(0x82, 19);
  for (Block *x : {&b, &c, &d}) std::memcpy(&x->p[11], "\xAA\xAA\xAA\xAA" "ABC", 8);
  Pend(42002, b), Pend(42003, c), Pend(42004, d);
  Dispatch(Result(42002, 304, agentResult(nullptr, 7)));
  Dispatch(Result(42003, 304, agentResult("1234", -1)));
  Dispatch(Result(42004, 304, new GetAgentStateResult));  // no list
  for (uint32_t id = 42002; id <= 42004; ++id) EXPECT_EQ(ResultFor(id), 0u);
  EXPECT_EQ(b.Range(11, 16), B({0xFF, 0xFF, 0xFF, 0xFF, 0}));
  EXPECT_EQ(c.Range(11, 19), B({0xAA, 0xAA, 0xAA, 0xAA, '1', '2', '3', '4'}));  // fills the 4-byte field
  EXPECT_EQ(d.Range(11, 19), B({0xAA, 0xAA, 0xAA, 0xAA, 'A', 'B', 'C', 0}));
  uint32_t sid = 42010;
  for (auto [state, reply] : {std::pair{0, 0u}, {4, 4u}, {5, ~0u}, {127, ~0u}, {128, ~0u}, {255, ~0u}}) {
    Block s(0x82, 19);
    Pend(++sid, s);
    Dispatch(Result(sid, 304, agentResult("1", state)));
    EXPECT_EQ(s.U32(11), reply) << "state " << state;
  }

  uint32_t id = 42100;
  for (auto [category, reply] :
       {std::pair{-1, 0u}, {1, 2u}, {2, 1u}, {5, 0u}, {3, 3u}, {0, 3u}, {127, 3u}, {128, 3u}, {255, 3u}}) {
    Block info(0xA1, 19);
    std::memset(&info.p[11], 0xAA, 4);
    Pend(++id, info);
    auto *r = new GetPhysicalDeviceInformationResult;
    if (category >= 0) r->deviceCategory = new DeviceCategory(category);
    Dispatch(Result(id, 202, r));
    EXPECT_EQ(ResultFor(id), 0u);
    EXPECT_EQ(info.U32(11), reply) << "category " << category;
  }
}

TEST_F(Inbound, AListArrivesInThreeParts) {
  Block query(0x61, 21);
  EXPECT_EQ(Request(5, query), 0u);
  ASSERT_EQ(host.sent.size(), 1u);
  const uint32_t listSeq = k3::Line(0).listQueryHandle, queryId = host.sent[0].first;
  // The collecting record names the query's invoke id; tracked under that
  // id, the query receives the list's size with the last part.
  Pend(queryId, query);
  Dispatch(Roiv(500, 51, EscapeArg(Cat({Amhost(7, 2, 6), Dev211("101"), Dev211("102")}))));
  Dispatch(Roiv(501, 51, EscapeArg(Cat({Amhost(7, 2, 6), Text(0xA3, "not a device")}))));
  ASSERT_EQ(host.sent.size(), 3u);  // each earlier part asks for the next
  EXPECT_EQ(ResultFor(queryId), ~0u);
  Dispatch(Roiv(502, 51, EscapeArg(Cat({Amhost(7, 2, 2), Dev211("103"), Dev211("104"), Dev211("105")}))));
  EXPECT_EQ(host.sent.size(), 3u);
  EXPECT_EQ(ResultFor(queryId), 0u);
  EXPECT_EQ(query.U32(11), listSeq);
  EXPECT_EQ(query.Range(15, 21), B({5, 0, 53, 0, 0, 0}));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);
  EXPECT_EQ(PendingCount(), 0u);

  // A part that came as a result asks with a new, untracked invocation.
  Block q2(0x61, 21), other(0x43, 3);
  Request(7, q2);
  Pend(39000, other);
  Dispatch(Rors(39000, 51, EscapeRes(Item(Cat({Amhost(7, 2, 6), Dev211("7")})))));
  ASSERT_EQ(host.sent.size(), 5u);
  EXPECT_EQ(host.sent[4], std::make_pair(queryId + 2, Roiv(queryId + 2, 51, EscapeArg(Amhost(7, 2, 7)))));
  EXPECT_EQ(ResultFor(39000), ~0u);  // removed without a reply
  EXPECT_EQ(k3::FindEventData(0, k3::Line(0).listQueryHandle)->texts, std::vector<std::string>{"7"});
}

TEST_F(Inbound, AListQueryThatFailsDoesNotBlockTheNext) {
  Block query(0x61, 21);
  auto sendsNext = [&](uint32_t requestId) {
    size_t before = host.sent.size();
    Request(requestId, query);
    return host.sent.size() == before + 1 && k3::Line(0).listQueryHandle != 0;
  };
  // Refused by the host: nothing to collect, nothing held.
  host.sendReturn = 0;
  Request(1, query);
  host.sendReturn = 1;
  EXPECT_EQ(host.replies.back(), std::make_pair(1u, 0xC0000012u));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);
  EXPECT_TRUE(k3::Line(0).events.empty());

  // Answered by an error, then by a reject: the record goes with the handle.
  ASSERT_TRUE(sendsNext(2));
  Dispatch(Roer(host.sent.back().first));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);
  EXPECT_TRUE(k3::Line(0).events.empty());
  ASSERT_TRUE(sendsNext(3));
  Dispatch(Rorj(host.sent.back().first + 1));  // another id: the query goes on
  EXPECT_NE(k3::Line(0).listQueryHandle, 0u);
  Dispatch(Rorj(host.sent.back().first));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);

  // Never answered: the handle goes when its record expires.
  ASSERT_TRUE(sendsNext(4));
  k3::SweepTimeouts(kNow + 120000);
  EXPECT_NE(k3::Line(0).listQueryHandle, 0u);
  k3::SweepTimeouts(kNow + 120001);
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);

  // The last part of an untracked query frees the handle; its list stays
  // for the fetch.
  ASSERT_TRUE(sendsNext(5));
  const uint32_t listSeq = k3::Line(0).listQueryHandle;
  Dispatch(Roiv(800, 51, EscapeArg(Cat({Amhost(7, 2, 2), Dev211("101")}))));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);
  EXPECT_EQ(k3::FindEventData(0, listSeq)->texts, std::vector<std::string>{"101"});
  // A list fetched while its query still collects ends that query too.
  ASSERT_TRUE(sendsNext(6));
  Block fetch(0x62, 17);
  Request(7, fetch.U32(2, k3::Line(0).listQueryHandle));
  EXPECT_EQ(k3::Line(0).listQueryHandle, 0u);
  EXPECT_TRUE(sendsNext(8));
}

}  // namespace
}  // namespace inbound_test
