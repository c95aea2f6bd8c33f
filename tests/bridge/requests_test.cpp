// Device-specific requests: the message each type hands to the host, checked
// by its BER octets, and the completion each request gets.
#include <new>

#include "tests/inbound/inbound_fixture.h"

namespace {

using namespace CSTA3V6;
using Bytes = std::vector<unsigned char>;

// ---- Expected octets, written out by hand ----------------------------------------

using inbound_test::B;
using inbound_test::Cat;
using inbound_test::Dev211;
using inbound_test::S;
using inbound_test::Text;
using inbound_test::TLV;
using inbound_test::Roiv;
Bytes EscapeInvoke(uint32_t id, const Bytes &priv) { return Roiv(id, 51, inbound_test::EscapeArg(priv)); }
Bytes DeviceId(const std::string &digits) { return TLV(0x30, TLV(0x80, S(digits))); }
Bytes Amhost(int type, int subtype) { return inbound_test::Amhost(type, subtype, 1); }

using inbound_test::Block;
constexpr uint32_t kNow = inbound_test::kNow;
constexpr uint32_t kPending = ~0u;

class Requests : public inbound_test::Inbound {
 protected:
  // The result the request was completed with now, or kPending.
  uint32_t Run(Block &b, uint32_t line = 0) {
    size_t before = host.replies.size();
    EXPECT_EQ(Request(77, b, line), 0u);
    if (host.replies.size() == before) return kPending;
    EXPECT_EQ(host.replies.back().first, 77u);
    return host.replies.back().second;
  }
  // The i-th message sent: its BER and its line.
  const Bytes &Ber(size_t i) const { return host.sent.at(i).second; }
  uint32_t LineOf(size_t i) const { return host.sentLines.at(i); }
};

TEST_F(Requests, WrongSizesAndUnknownTypesAreRefusedBeforeAnythingIsRead) {
  const std::pair<uint16_t, uint32_t> exact[] = {
      {0x11, 17}, {0x14, 3},  {0x21, 54}, {0x34, 6},  {0x41, 8},  {0x42, 8},  {0x43, 3},  {0x44, 3},
      {0x45, 222}, {0x46, 3}, {0x52, 143}, {0x54, 44}, {0x55, 44}, {0x56, 15}, {0x58, 16}, {0x61, 21},
      {0x62, 17}, {0x63, 20}, {0x64, 20}, {0x65, 20}, {0x71, 44}, {0x72, 12}, {0x73, 12}, {0x74, 12},
      {0x75, 12}, {0x76, 13}, {0x82, 19}, {0x83, 19}, {0x91, 6},  {0x93, 52}, {0xA1, 19}};
  for (auto [type, size] : exact) {
    for (uint32_t n : {size - 1, size + 1}) {
      Block b(type, n);
      std::fill(b.p.begin() + 2, b.p.end(), 0xEE);
      Bytes before = b.p;
      EXPECT_EQ(Run(b), 0xC0000002u) << std::hex << type << " size " << std::dec << n;
      EXPECT_EQ(b.p, before);
    }
  }
  Block none(0x41, 0), high(0x0141, 8);
  for (Block *b : {&none, &high}) EXPECT_EQ(Run(*b), 0xC0000002u);
  EXPECT_TRUE(host.sent.empty());
  EXPECT_TRUE(k3::Line(0).pending.empty());
}

TEST_F(Requests, AmhostRequestsCarryTheirElementsOnTheirLine) {
  struct Case {
    Block block;
    uint32_t sendLine;  // the caller's line is 3 throughout
    Bytes priv;
  };
  Case cases[] = {
      {Block(0x42, 8).U32(2, 0x0102, 2).U32(4, 0x0304, 2).U32(6, 0x0506, 2), 3,
       Cat({Amhost(8, 8), B({0xF8, 0x06, 0x00, 0x02, 0x04, 0x06})})},
      {Block(0x43, 3), 3, Amhost(10, 7)},
      {Block(0x42, 8).U32(2, 0x017F, 2).U32(4, 0x0280, 2).U32(6, 0x03FF, 2), 3,
       Cat({Amhost(8, 8), B({0xF8, 0x06, 0x00, 0x7F, 0x80, 0xFF})})},
      {Block(0x43, 3).U8(2, 5), 3, Amhost(10, 8)},
      {Block(0x44, 3).U8(2, 1), 3, Amhost(10, 2)},
      {Block(0x56, 15).Str(2, "555"), 0, Cat({Amhost(2, 4), Text(0xA9, "*"), Text(0xA2, "555"), B({0xA8, 4, 1, 0})})},
      {Block(0x56, 15).Str(2, "555").U32(11, 0x01000000), 0,
       Cat({Amhost(2, 4), Text(0xA9, "*"), Text(0xA2, "555"), B({0xA8, 4, 2, 0})})},
      {Block(0x58, 16).Str(2, "555").U8(11, 127), 0,
       Cat({Amhost(2, 4), Text(0xA9, "*"), Text(0xA2, "555"), B({0xA8, 4, 2, 0, 0xA1, 4, 127, 0})})},
      {Block(0x58, 16).Str(2, "555").U8(11, 128).U32(12, 2), 0,
       Cat({Amhost(2, 4), Text(0xA9, "*"), Text(0xA2, "555"), B({0xA8, 4, 2, 0, 0xA1, 4, 128, 0})})},
      {Block(0x72, 12).Str(2, "100"), 3, Cat({Amhost(6, 1), Dev211("100"), B({0xE6, 4, 0, 0})})},
      {Block(0x72, 12).Str(2, "100").U8(11, 128), 3, Cat({Amhost(6, 1), Dev211("100"), B({0xE6, 4, 0x10, 0})})},
      {Block(0x73, 12).Str(2, "100").U8(11, 1), 3, Cat({Amhost(6, 2), Dev211("100")})},
      {Block(0x74, 12).Str(2, "100").U8(11, 1), 3, Cat({Amhost(6, 2), Dev211("100")})},
      {Block(0x75, 12).Str(2, "100"), 3, Cat({Amhost(6, 1), Dev211("100"), B({0xE7, 6, 0, 0, 0x80, 0})})},
      {Block(0x76, 13).Str(2, "100").U8(12, 255), 3,
       Cat({Amhost(6, 1), Dev211("100"), B({0xE6, 4, 0, 0, 0xE7, 6, 0x80, 0, 0x80, 0})})},
      {Block(0x63, 20).Str(2, "1").Str(11, "2"), 0, Cat({Amhost(7, 5), Dev211("1"), Dev211("2")})},
      {Block(0x64, 20).Str(2, "1").Str(11, "2"), 0, Cat({Amhost(7, 5), Dev211("1"), Dev211("2")})},
      // A device field without a terminator gives its nine bytes and no more.
      {Block(0x71, 44).Str(2, "123456789").Str(11, "zz"), 0, Cat({Amhost(6, 2), Dev211("123456789")})},
  };
  for (Case &c : cases) {
    SetUp();
    SCOPED_TRACE(::testing::Message() << std::hex << int(c.block.p[0]));
    EXPECT_EQ(Run(c.block, 3), kPending);
    ASSERT_EQ(host.sent.size(), 1u);
    EXPECT_EQ(LineOf(0), c.sendLine);
    EXPECT_EQ(Ber(0), EscapeInvoke(32768, c.priv));
    EXPECT_EQ(host.sentPn[0], c.priv);  // in the component itself, not only in its encoding
    ASSERT_EQ(k3::Line(0).pending.size(), 1u);
    const k3::PendingRequest &p = k3::Line(0).pending.front();
    EXPECT_EQ(p.invokeId, 32768u);
    EXPECT_EQ(p.structType, c.block.p[0]);
    EXPECT_EQ(p.block, c.block.p.data());
    EXPECT_EQ(p.line, 3u);
    EXPECT_EQ(p.deadlineTick, kNow + 90000);
  }
}

TEST_F(Requests, PrivateListMapsFormatsAndRefusesUnknownOnes) {
  const Bytes prefix = B({0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x0B, 0x08, 0x00, 0x00, 0x01, 0x00});
  Block list(0x45, 222), bad(0x45, 222);
  const uint8_t formats[] = {0x02, 0x04, 0x08, 0x20, 0x40};
  for (int i = 0; i < 5; ++i) list.U8(2 + 22 * i, uint8_t(0x10 + i)).U8(3 + 22 * i, formats[i]);
  list.Str(4, "AB").Str(26, "12345678").Str(92, "123456789");  // the last one unterminated
  list.U8(14, 0x10);  // an empty entry's format is not looked at
  bad.U8(2, 1).U8(3, 0x02).U8(2 + 11 * 19, 1).U8(3 + 11 * 19, 0x10);
  EXPECT_EQ(Run(list), kPending);
  EXPECT_EQ(Run(bad), 0xC0000003u);
  ASSERT_EQ(host.sent.size(), 1u);
  EXPECT_EQ(Ber(0), EscapeInvoke(32768, Cat({prefix, B({0xB0, 6, 0x10, 2, 'A', 'B', 0xB0, 12, 0x11, 3}),
                                                  S("12345678"), B({0xB0, 4, 0x12, 4, 0xB0, 4, 0x13, 1}),
                                                  B({0xB0, 13, 0x14, 0}), S("123456789")})));
}

TEST_F(Requests, TracerStateFlagAndMaintenanceEscapes) {
  Block stop(0x46, 3), req(0x11, 17), close(0x14, 3);
  stop.U8(2, 255);  // any selector but 1 stops
  req.U32(2, 0x1234, 2);
  close.U8(2, 9);
  k3::Line(0).maintSessions = {9, 4, 9};
  for (Block *b : {&stop, &req, &close}) EXPECT_EQ(Run(*b, 3), kPending);
  ASSERT_EQ(host.sent.size(), 3u);
  EXPECT_EQ(Ber(0), EscapeInvoke(32768, B({0x1A, 0x04, 0xF0, 0xA3})));
  EXPECT_EQ(Ber(1), EscapeInvoke(32769, B({0x1A, 0x04, 0x06, 0xC4, 0x22, 0x04, 0x03, 0x00, 0x23, 0x04, 0x34, 0x12})));
  EXPECT_EQ(Ber(2), EscapeInvoke(32770, B({0x1A, 0x04, 0x06, 0xC4, 0x22, 0x04, 0x04, 0x09})));
  EXPECT_EQ(LineOf(2), 3u);
  EXPECT_EQ(host.sentPn[1], B({0x1A, 0x04, 0x06, 0xC4, 0x22, 0x04, 0x03, 0x00, 0x23, 0x04, 0x34, 0x12}));
  EXPECT_EQ(k3::Line(0).maintSessions, (std::vector<uint8_t>{4, 9}));  // only the first 9 closed
}

TEST_F(Requests, MaintenanceOpenSendsItsDataAndWipesIt) {
  Block open(0x21, 54, 56);  // room for the two bytes the wipe reaches past the structure
  open.Str(2, "AB").U8(50, 0x77).U8(53, 2).U8(54, 0x55).U8(55, 0x66);
  EXPECT_EQ(Run(open, 3), kPending);
  ASSERT_EQ(host.sent.size(), 1u);
  EXPECT_EQ(Ber(0), EscapeInvoke(32768, B({0x1A, 0x04, 0x06, 0xC4, 0x22, 0x04, 0x01, 0x00, 'A', 'B'})));
  EXPECT_EQ(open.p, Cat({B({0x21, 0}), Bytes(54, 0)}));

  // Lengths up to 54 stay within the 56 bytes the buffer has: sent (the
  // length byte and the two bytes past the structure are data then). A
  // longer one is refused; both are wiped.
  Block longest(0x21, 54, 56), tooLong(0x21, 54, 56);
  for (int i = 2; i < 56; ++i) longest.U8(i, uint8_t(i == 53 ? 54 : i));
  const Bytes data(longest.p.begin() + 2, longest.p.end());
  EXPECT_EQ(Run(longest), kPending);
  EXPECT_EQ(host.sent.back().second, EscapeInvoke(32769, Cat({B({0x1A, 0x04, 0x06, 0xC4, 0x22, 0x04, 0x01, 0x00}), data})));
  tooLong.Str(2, "secret").U8(53, 55);
  EXPECT_EQ(Run(tooLong), 0xC0000003u);
  EXPECT_EQ(host.sent.size(), 2u);
  for (Block *b : {&longest, &tooLong}) EXPECT_EQ(b->p, Cat({B({0x21, 0}), Bytes(54, 0)}));

  host.sendReturn = 0;  // a refused send wipes too, and so does a failing one
  Block refused(0x21, 54, 56), thrown(0x21, 54, 56);
  refused.Str(2, "XY").U8(53, 2);
  thrown.Str(2, "XY").U8(53, 2);
  EXPECT_EQ(Run(refused), 0xC0000012u);
  host.onSend = [](uint32_t) { throw std::bad_alloc(); };
  EXPECT_THROW(Request(77, thrown), std::bad_alloc);
  for (Block *b : {&refused, &thrown}) EXPECT_EQ(b->p, Cat({B({0x21, 0}), Bytes(54, 0)}));
  EXPECT_EQ(k3::Line(0).pending.size(), 2u);  // only the first two requests wait
}

TEST_F(Requests, StandardRequests) {
  Block info(0xA1, 19), get(0x82, 19), logOn(0x83, 19), ready(0x83, 19), other(0x83, 19), after(0x83, 19),
      past(0x83, 19), start(0x31, 6);
  info.Str(2, "4711");
  get.Str(2, "4711").Str(15, "A1");
  logOn.Str(2, "4711").U32(11, 0).Str(15, "A12");
  ready.Str(2, "4711").U32(11, 3).Str(15, "A12");
  other.Str(2, "4711").U32(11, 7).Str(15, "A12");
  after.Str(2, "4711").U32(11, 4).Str(15, "A12");
  past.Str(2, "4711").U32(11, 5).Str(15, "A12");
  start.U32(2, 0x11223344);
  for (Block *b : {&info, &get, &logOn, &ready, &other, &after, &past, &start}) EXPECT_EQ(Run(*b, 3), kPending);
  ASSERT_EQ(host.sent.size(), 8u);
  auto set = [&](int state) { return TLV(0x30, Cat({DeviceId("4711"), B({0x0A, 1, state})})); };
  EXPECT_EQ(Ber(0), Roiv(32768, 202, TLV(0x30, DeviceId("4711"))));
  EXPECT_EQ(Ber(1), Roiv(32769, 304, TLV(0x30, DeviceId("4711"))));
  EXPECT_EQ(Ber(2), Roiv(32770, 312, TLV(0x30, Cat({DeviceId("4711"), B({0x0A, 1, 0, 0x82, 3}), S("A12")}))));
  EXPECT_EQ(Ber(3), Roiv(32771, 312, set(3)));
  // States 7 and 5 set nothing: the enumeration keeps its initial value, no agent id.
  EXPECT_EQ(Ber(4), Roiv(32772, 312, set(0)));
  EXPECT_EQ(Ber(5), Roiv(32773, 312, set(4)));
  EXPECT_EQ(Ber(6), Roiv(32774, 312, set(0)));
  EXPECT_EQ(Ber(7), Roiv(32775, 363, B({0x30, 0x03, 0x0A, 0x01, 0x00})));
  for (int i = 0; i < 7; ++i) EXPECT_EQ(LineOf(i), 0u) << i;
  EXPECT_EQ(LineOf(7), 3u);
  EXPECT_EQ(k3::Line(0).cdrSession, 0x11223344u);

  // The CDR start takes any size of 2 or more; its session is read at 2
  // whatever the size says.
  Block shortStart(0x31, 2, 6);
  EXPECT_EQ(Run(shortStart.U32(2, 0x44)), kPending);
  EXPECT_EQ(k3::Line(0).cdrSession, 0x44u);

  // The stop needs the stored session and carries the PBX's cross reference.
  k3::Line(0).cdrCrossRefId.Set("\x01\x02", 2);
  Block right(0x34, 6);
  EXPECT_EQ(Run(right.U32(2, 0x44)), kPending);
  EXPECT_EQ(host.sent.back().second, Roiv(32777, 364, B({0x30, 0x04, 0x04, 0x02, 0x01, 0x02})));
}

TEST_F(Requests, SendDataNeedsAnOpenDataPath) {
  k3::DataPath path;
  path.device = "DP1";
  path.crossRefId.Set("\x01\x00\x00\x00", 4);
  k3::Line(0).dataPaths.push_back(path);
  Block known(0x93, 52);
  known.Str(2, "DP1").U32(44, 1).U32(48, 2);
  EXPECT_EQ(Run(known, 3), kPending);
  ASSERT_EQ(host.sent.size(), 1u);
  EXPECT_EQ(LineOf(0), 3u);
  const Bytes tds = B({0xE0, 0x05, 0x02, 0x01, 0xFF});  // Y, X, 255
  EXPECT_EQ(Ber(0), Roiv(32768, 112, TLV(0x30, Cat({B({0xA1, 0x06, 0x04, 0x04, 0x01, 0x00, 0x00, 0x00, 0x04, 0x00}),
                                                     inbound_test::EscapeRes(inbound_test::Item(tds))}))));
}

k3::EventDataRecord CdrRecord() {
  k3::EventDataRecord r;
  r.SetU16(k3::EventDataRecord::kType, 0x32);
  for (int i = 0; i < 12; ++i) r.bytes[24 + i] = uint8_t(i + 1);
  for (int d = 0; d < 7; ++d) std::memcpy(r.bytes + 40 + 33 * d, std::to_string(1001 * (d + 1)).c_str(), 4);
  for (int i = 0; i < 5; ++i) r.SetU32(271 + 4 * i, 10 + i);
  r.bytes[291] = 18;
  std::strcpy(reinterpret_cast<char *>(r.bytes + 292), "ACC");
  r.SetU32(325, 1);
  std::strcpy(reinterpret_cast<char *>(r.bytes + 329), "EUR");
  r.SetU32(346, 250);
  r.SetU32(350, 2);
  r.SetU32(358, 90);
  std::strcpy(reinterpret_cast<char *>(r.bytes + 362), "T1");
  std::memcpy(r.bytes + 395, "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345", 32);
  r.SetU32(428, 0x8005);
  return r;
}
const Bytes kCdrAnswer = inbound_test::Rors(0x8005, 361, B({0x05, 0x00}));

TEST_F(Requests, CdrResultsCopyTheRecordAndAnswerTheReport) {
  k3::Line(0).cdrSession = 5;
  uint32_t s1 = k3::StoreEventData(0, CdrRecord()), s2 = k3::StoreEventData(0, CdrRecord()),
           s3 = k3::StoreEventData(0, CdrRecord());
  // Any size: the session and record number are read, and the record
  // written, whatever dwSize says (the buffers hold exactly the room the
  // types need; ASan guards their ends).
  Block packed(0x33, 344), shortPacked(0x33, 2, 344), raw(0x35, 2, 442);
  packed.U32(2, 5).U32(6, s1);
  shortPacked.U32(2, 5).U32(6, s2);
  raw.U32(2, 5).U32(6, s3);
  for (Block *b : {&packed, &shortPacked, &raw}) EXPECT_EQ(Run(*b, 3), 0u);
  ASSERT_EQ(host.sent.size(), 3u);
  for (const auto &m : host.sent) EXPECT_EQ(m.second, kCdrAnswer);
  EXPECT_TRUE(k3::Line(0).events.empty());

  EXPECT_EQ(Bytes(&packed.p[10], &packed.p[22]), B({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
  EXPECT_EQ(packed.Str(22) + packed.Str(47) + packed.Str(172), "100120027007");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(packed.U32(197 + 4 * i), 10u + i);
  EXPECT_EQ(packed.p[217], 18);
  EXPECT_EQ(packed.Str(218) + packed.Str(255), "ACCEUR");
  EXPECT_EQ(packed.U32(251) + packed.U32(272) + packed.U32(276) + packed.U32(280), 1u + 250 + 2 + 90);
  EXPECT_EQ(packed.Str(284), "T1");
  // A text longer than its 30-byte field fills it, without the terminator.
  EXPECT_EQ(Bytes(packed.p.begin() + 314, packed.p.end()), S("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123"));
  EXPECT_EQ(Bytes(shortPacked.p.begin() + 10, shortPacked.p.end()), Bytes(packed.p.begin() + 10, packed.p.end()));

  k3::EventDataRecord expected = CdrRecord();
  expected.SetU32(0, s3);
  expected.SetU32(8, 1);
  expected.SetU32(12, kNow);
  expected.SetU32(16, kNow + 120000);
  EXPECT_EQ(Bytes(raw.p.begin() + 10, raw.p.end()), Bytes(expected.bytes, expected.bytes + 432));

  // A refused answer: unanswered, but the record is used up.
  uint32_t s4 = k3::StoreEventData(0, CdrRecord());
  Block refused(0x35, 10, 442);
  refused.U32(2, 5).U32(6, s4);
  host.sendReturn = 0;
  EXPECT_EQ(Run(refused), 0xC0000012u);
  EXPECT_FALSE(k3::HasEventData(0, s4));
}

TEST_F(Requests, ListQueryCollectsIntoARecordThatTheFetchHandsBack) {
  Block query(0x61, 21), again(0x61, 21);
  EXPECT_EQ(Run(query.Str(2, "300"), 3), 0xC0000012u);
  ASSERT_EQ(host.sent.size(), 1u);
  EXPECT_EQ(LineOf(0), 0u);
  EXPECT_TRUE(k3::Line(0).pending.empty());
  uint32_t handle = k3::Line(0).listQueryHandle;
  k3::EventDataRecord *list = k3::FindEventData(0, handle);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->Type(), 98);
  EXPECT_EQ(list->U32(28), 32768u);
  // While the list collects, another query completes at once, unsent.
  EXPECT_EQ(Run(again), 0u);
  EXPECT_EQ(host.sent.size(), 1u);

  list->texts = {"100", "200", "123456789", "extra"};  // the last one not yet counted
  list->SetU16(24, 3);
  Block fetch(0x62, 17, 9 * 3 + 8);
  EXPECT_EQ(Run(fetch.U32(2, handle)), 0xC0000012u);
  EXPECT_EQ(fetch.p[6] | fetch.p[7] << 8, 3);
  // A nine-character text fills its field, without the terminator.
  EXPECT_EQ(fetch.Str(8) + "," + fetch.Str(17), "100,200");
  EXPECT_EQ(Bytes(fetch.p.begin() + 26, fetch.p.end()), S("123456789"));
}

TEST_F(Requests, StoredRecordsAreAnsweredOnceWhateverTheSize) {
  k3::EventDataRecord agent, data;
  std::strcpy(reinterpret_cast<char *>(agent.bytes + 24), "4711");
  std::memcpy(agent.bytes + 33, "AG12345", 7);
  agent.SetU32(40, 4);
  agent.SetU32(44, 2);
  std::strcpy(reinterpret_cast<char *>(agent.bytes + 48), "G1");
  std::strcpy(reinterpret_cast<char *>(data.bytes + 24), "DP1");
  std::strcpy(reinterpret_cast<char *>(data.bytes + 33), "hello world");
  uint32_t a1 = k3::StoreEventData(0, agent), a2 = k3::StoreEventData(0, agent);
  uint32_t d1 = k3::StoreEventData(0, data), d2 = k3::StoreEventData(0, data);
  // The buffers hold exactly the 36 and 24 bytes the types write (ASan
  // guards their ends); dwSize plays no part beyond its first 2 bytes.
  Block full(0x84, 36), again(0x84, 36), tiny(0x84, 2, 36), small(0x95, 24), tiny2(0x95, 2, 24);
  EXPECT_EQ(Run(full.U32(2, a1)), 0u);
  EXPECT_EQ(Run(again.U32(2, a1)), 0xC0000004u);
  EXPECT_EQ(Run(tiny.U32(2, a2)), 0u);
  EXPECT_EQ(Run(small.U32(2, d1)), 0u);
  EXPECT_EQ(Run(tiny2.U32(2, d2)), 0u);
  // The agent id fills its 4-byte field: "AG12" runs into the text at 19.
  EXPECT_EQ(Bytes(full.p.begin() + 6, full.p.begin() + 28),
            Cat({S("4711"), Bytes(5, 0), S("AG12"), S("G1"), Bytes(7, 0)}));
  EXPECT_EQ(Bytes(tiny.p.begin() + 6, tiny.p.end()), Bytes(full.p.begin() + 6, full.p.end()));
  EXPECT_EQ(Bytes(small.p.begin() + 6, small.p.end()), Cat({S("DP1"), Bytes(6, 0), S("hello wor")}));
  EXPECT_EQ(Bytes(tiny2.p.begin() + 6, tiny2.p.end()), Bytes(small.p.begin() + 6, small.p.end()));
  EXPECT_TRUE(host.sent.empty());
  EXPECT_TRUE(k3::Line(0).events.empty());
}

}  // namespace
