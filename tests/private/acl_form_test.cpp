// ACL form: ACL2 header, AMHOST elements of every kind, MAINT, MR, CPSTREQ, SysTRACE.
#include <gtest/gtest.h>

#include "csta3/private/private_data.h"
#include "tests/private/test_util.h"

using namespace CSTA3V6;
using namespace k3test;

namespace {

// Parses one AMHOST element and returns it with the octets consumed.
AMHOST_Element ParseElement(const Bytes &in, size_t *used) {
  AMHOST_Element e;
  *used = e.DecodeOctets(in.data(), in.size());
  return e;
}

}  // namespace

TEST(AmhostElement, EveryKindBothDirections) {
  struct Case {
    Bytes in;
    uint32_t kind;
    Bytes out;  // what writing the parsed element gives back
  };
  const Case cases[] = {
      {B({0xA1, 4, 7, 0}), 1, B({0xA1, 4, 7, 0})},
      {B({0xA3, 7, 3, 'A', 'B', 'C', 0}), 2, B({0xA3, 7, 3, 'A', 'B', 'C', 0})},
      {B({0xE1, 4, 0x34, 0x12}), 3, B({0xE1, 4, 0x34, 0x12})},
      // Kind 4: the length octet counts the data only.
      {B({0xD3, 3, '1', '2', '3'}), 4, B({0xD3, 3, '1', '2', '3'})},
      // Kind 5: octet 2 is not read; it comes back as zero.
      {B({0xF8, 6, 0x77, 12, 5, 24}), 5, B({0xF8, 6, 0, 12, 5, 24})},
      {B({0xE7, 6, 0x81, 0x02, 0x80, 0x00}), 6, B({0xE7, 6, 0x81, 0x02, 0x80, 0x00})},
      {B({0xB0, 7, 5, 2, 'x', 'y', 'z'}), 7, B({0xB0, 7, 5, 2, 'x', 'y', 'z'})},
      // Kinds 0, 8 and 9 are read but never written back.
      {B({0x11, 4, 0xAA, 0xBB}), 0, Bytes()},
      {B({0x0A, 3, 0x55}), 8, Bytes()},
      {B({0xAF, 3, 1}), 9, Bytes()},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in));
    size_t used = 0;
    AMHOST_Element e = ParseElement(c.in, &used);
    EXPECT_EQ(used, c.in.size());
    EXPECT_EQ(e.kind, c.kind);
    EXPECT_EQ(OctetsOf(e), c.out);
  }

  size_t used = 0;
  EXPECT_EQ(ParseElement(B({0xA1, 4, 7, 0}), &used).intValue.value, 7);
  AMHOST_Element text = ParseElement(B({0xA3, 7, 3, 'A', 'B', 'C', 0}), &used);
  EXPECT_STREQ(text.Text(), "ABC");
  EXPECT_EQ(ParseElement(B({0xE1, 4, 0x34, 0x12}), &used).intValue.value, 0x1234);
  AMHOST_Element triple = ParseElement(B({0xF8, 6, 0x77, 12, 5, 24}), &used);
  EXPECT_EQ(triple.triple[0], 12);
  EXPECT_EQ(triple.triple[1], 5);
  EXPECT_EQ(triple.triple[2], 24);
  // Bit i of a field is the bit of value 2^i: 0x0281 sets bits 0, 7 and 9.
  AMHOST_Element bits = ParseElement(B({0xE7, 6, 0x81, 0x02, 0x80, 0x00}), &used);
  for (unsigned i = 0; i < 16; ++i) {
    EXPECT_EQ(bits.bits1.GetBit(i), i == 0 || i == 7 || i == 9) << i;
    EXPECT_EQ(bits.bits2.GetBit(i), i == 7) << i;
  }
  AMHOST_Element led = ParseElement(B({0xB0, 7, 5, 2, 'x', 'y', 'z'}), &used);
  EXPECT_EQ(OctsBytes(led.ledValue1), B({5}));
  EXPECT_EQ(OctsBytes(led.ledValue2), B({2}));
  EXPECT_EQ(led.ledData.Str(), "xyz");
  EXPECT_TRUE(bool(ParseElement(B({0xAF, 3, 1}), &used).boolValue));
  EXPECT_FALSE(bool(ParseElement(B({0xAF, 3, 0}), &used).boolValue));
}

TEST(AmhostElement, KindOfEveryIdentifier) {
  // The 32 identifiers with a kind; every other identifier has kind 0.
  const std::pair<int, uint32_t> rows[] = {
      {10, 8},  {161, 1}, {162, 2}, {163, 2}, {165, 2}, {168, 1}, {169, 2}, {171, 1},
      {173, 1}, {175, 9}, {176, 7}, {211, 4}, {212, 4}, {213, 4}, {214, 4}, {215, 4},
      {216, 4}, {217, 4}, {225, 3}, {227, 3}, {228, 3}, {230, 1}, {231, 6}, {237, 2},
      {238, 2}, {241, 1}, {242, 3}, {243, 3}, {244, 3}, {245, 1}, {246, 1}, {248, 5}};
  uint32_t kinds[256] = {};
  for (auto [id, kind] : rows) kinds[id] = kind;
  // One well-formed element of each kind, its identifier octet left to fill in.
  const Bytes forms[10] = {B({0, 2}),          B({0, 4, 200, 0}),      B({0, 5, 1, 'x', 0}),
                           B({0, 4, 0x34, 0x12}), B({0, 1, 'x'}),       B({0, 6, 0, 1, 2, 3}),
                           B({0, 6, 1, 0, 0x80, 0}), B({0, 5, 1, 2, 'd'}), B({0, 2}),
                           B({0, 3, 1})};
  for (int id = 0; id < 256; ++id) {
    Bytes in = forms[kinds[id]];
    in[0] = uint8_t(id);
    in.insert(in.end(), {0xAD, 4, 60, 0});  // a cause element after it
    AMHOST a;
    a.DecodeOctets(in.data(), in.size());
    ASSERT_EQ(a.elements.Count(), 2u) << "id " << id;
    EXPECT_EQ(a.elements.first->elmt.kind, kinds[id]) << "id " << id;
    EXPECT_EQ(a.elements.last->elmt.id, 173u) << "id " << id;
    EXPECT_EQ(a.elements.last->elmt.intValue.value, 60) << "id " << id;
  }
}

TEST(AmhostElement, ShortOrOverlongElementsConsumeNothing) {
  const Bytes bad[] = {
      B({0xA1}),                        // no length octet
      B({0xA1, 4, 7}),                  // length past the end
      B({0xA1, 2, 7, 0}),               // too short for a value
      B({0xA3, 5, 9, 'A', 'B'}),        // text longer than its element
      B({0xA3, 4, 3, 'A', 'B', 'C', 0}), // the same, though inside the octets
      B({0xD3, 2, '1'}),                // kind 4 data one octet past the end
      B({0xF8, 5, 0, 1, 2}),            // kind 5 needs six
      B({0x11, 1}),                     // total length below two
  };
  for (const Bytes &in : bad) {
    size_t used = 99;
    ParseElement(in, &used);
    EXPECT_EQ(used, 0u) << testing::PrintToString(in);
  }
}

TEST(Amhost, SevenOctetsAreNoHeader) {
  // Seven octets are too few for a header: 0x1E is then an element that does not fit.
  AMHOST s;
  Bytes seven = B({0x1E, 0x08, 0x01, 0x02, 0x00, 0x00, 0x06});
  s.DecodeOctets(seven.data(), seven.size());
  EXPECT_EQ(s.nounNr, 0u);
  EXPECT_EQ(s.elements.Count(), 0u);
}

TEST(Maint, LoopBackKeepsTheRestAsLoopData) {
  ACL2 acl;
  Bytes in = B({0x1A, 0x00, 0x06, 0x01, 0x22, 0x00, 0x01, 0x05, 0x09, 0xB8, 0x06});
  ASSERT_TRUE(acl.DecodeOctets(in.data(), in.size()));
  ASSERT_NE(acl.maint, nullptr);
  EXPECT_EQ(acl.maint->Alternative(), 1u);
  EXPECT_EQ(acl.maint->CrossRef(), 5u);
  ASSERT_NE(acl.maint->loopData, nullptr);
  EXPECT_EQ(OctsBytes(*acl.maint->loopData), B({0x09, 0xB8, 0x06}));
  EXPECT_FALSE(acl.maint->hasDate);

  // Built as the maintenance-open request builds it.
  ACL2 req(6, 196);
  req.SetMaint(new MAINT(1, 0, nullptr, "hi", 2));
  EXPECT_EQ(OctetsOf(req), B({0x1A, 0x04, 0x06, 0xC4, 0x22, 0x04, 0x01, 0x00, 'h', 'i'}));
}

TEST(Maint, HeartbeatDateTimeAndRepetitionTime) {
  // Time before date: the loop takes the date on its second pass.
  Bytes in = B({0x22, 0x04, 0x02, 0x07, 0xB9, 0x06, 0x00, 23, 59, 8, 0xB8, 0x06, 0x00, 1, 12, 24,
                0x23, 0x04, 0x2C, 0x01});
  MAINT m;
  m.DecodeOctets(in.data(), in.size());
  EXPECT_EQ(m.messageType, 2u);
  EXPECT_EQ(m.crossRef, 7u);
  ASSERT_TRUE(m.hasDate);
  ASSERT_TRUE(m.hasTime);
  EXPECT_EQ(m.date[0], 1);
  EXPECT_EQ(m.date[2], 24);
  EXPECT_EQ(m.time[0], 23);
  ASSERT_NE(m.repetitionTime, nullptr);
  EXPECT_EQ(m.repetitionTime->value, 300);
  EXPECT_EQ(m.loopData, nullptr);

  // Written back in the fixed order header, date, time, repetition time.
  EXPECT_EQ(OctetsOf(m), B({0x22, 0x04, 0x02, 0x07, 0xB8, 0x06, 0x00, 1, 12, 24, 0xB9, 0x06, 0x00, 23, 59, 8,
                            0x23, 0x04, 0x2C, 0x01}));

  // A new MAINT is a heartbeat; a truncated date item is not taken.
  MAINT fresh;
  EXPECT_EQ(fresh.messageType, 2u);
  Bytes cut = B({0x22, 0x04, 0x03, 0x00, 0x23, 0x04, 0x10, 0x0E, 0xB8, 0x06, 0x00, 1});
  fresh.DecodeOctets(cut.data(), cut.size());
  EXPECT_EQ(fresh.messageType, 3u);
  EXPECT_EQ(fresh.repetitionTime->value, 0x0E10);
  EXPECT_FALSE(fresh.hasDate);

  // The session-request builder: alternative 3 with a second integer.
  int32_t rep = 600;
  MAINT req(3, 0, &rep);
  EXPECT_EQ(OctetsOf(req), B({0x22, 0x04, 0x03, 0x00, 0x23, 0x04, 0x58, 0x02}));
  MAINT copy(req);
  req.SetRepetitionTime(1);
  EXPECT_EQ(copy.repetitionTime->value, 600);
}

TEST(AclApplications, MrCpstreqSysTraceAndUnknown) {
  // MR: message type 6, calling party "123", cause 2.
  Bytes mrIn = B({0x1A, 0x04, 0x03, 0xC4, 0x06, 0x01, 0x03, '1', '2', '3', 0x10, 0x01, 0x02});
  ACL2 mr;
  ASSERT_TRUE(mr.DecodeOctets(mrIn.data(), mrIn.size()));
  ASSERT_NE(mr.mr, nullptr);
  EXPECT_EQ(mr.mr->messageType, 6u);
  EXPECT_EQ(mr.mr->Find(MR_CALLING_PARTY_NUMBER)->value.Str(), "123");
  EXPECT_EQ(OctetsOf(mr), mrIn);

  // CPSTREQ report: device "201", forwarding and do-not-disturb, talking internal.
  Bytes cpIn = B({0x1A, 0x04, 0x07, 0xC4, 0x03, '2', '0', '1', 0x03, 0x05});
  ACL2 cp;
  ASSERT_TRUE(cp.DecodeOctets(cpIn.data(), cpIn.size()));
  ASSERT_NE(cp.cpstreq, nullptr);
  EXPECT_EQ(cp.cpstreq->device.Str(), "201");
  EXPECT_EQ(cp.cpstreq->actFeat * 100 + cp.cpstreq->cpState, 305u);
  EXPECT_EQ(OctetsOf(cp), cpIn);

  // SysTRACE reads the whole string, header included; writes only its own part.
  Bytes trIn = B({0x1A, 0x04, 0xF0, 0xA4});
  ACL2 tr;
  ASSERT_TRUE(tr.DecodeOctets(trIn.data(), trIn.size()));
  ASSERT_NE(tr.sysTrace, nullptr);
  EXPECT_EQ(tr.sysTrace->action, 164u);
  EXPECT_EQ(OctetsOf(tr), trIn);

  // Application 1 has no object; octet 1 is not interpreted.
  Bytes tdsIn = B({0x1A, 0x99, 0x01, 0xC0, 0x55});
  ACL2 tds;
  ASSERT_TRUE(tds.DecodeOctets(tdsIn.data(), tdsIn.size()));
  EXPECT_EQ(tds.application, 1u);
  EXPECT_EQ(tds.action, 192u);
  EXPECT_TRUE(!tds.amhost && !tds.mr && !tds.maint && !tds.cpstreq && !tds.sysTrace);
  EXPECT_EQ(OctetsOf(tds), B({0x1A, 0x04, 0x01, 0xC0}));
  EXPECT_NE(PrintOf(tds).find("Application = 1 (TDS)"), std::string::npos) << PrintOf(tds);

  // The application code picks the object: one held under another code is
  // neither written nor printed.
  ACL2 other(3, 196);
  other.SetAmhost(new AMHOST(1, 2, 6));
  EXPECT_EQ(OctetsOf(other), B({0x1A, 0x04, 0x03, 0xC4}));
  std::string s = PrintOf(other);
  EXPECT_NE(s.find("Application = 3 (MR)"), std::string::npos) << s;
  EXPECT_EQ(s.find("AMHOST"), std::string::npos) << s;

  // Not the ACL form: the object is left as it was.
  ACL2 none;
  Bytes notAcl = B({0x1A, 0x04, 0x02});
  EXPECT_FALSE(none.DecodeOctets(notAcl.data(), notAcl.size()));
  EXPECT_EQ(none.application, 255u);
  EXPECT_EQ(none.action, 196u);
}

// Texts of kinds 2 and 4 read as C strings in the parsed list and in every
// copy of it (AddressSanitizer watches the byte after the data); an assigned
// ACL2 drops the object it held before.
TEST(Amhost, ElementTextsStayTerminatedInEveryCopy) {
  const Bytes in = B({0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x06, 0x02, 0x00, 0x00, 0x02, 0x00, 0xD3, 0x04, '4',
                      '7', '1', '1', 0xA3, 0x07, 0x03, 'G', 'r', 'p', 0x00});
  ACL2 acl;
  acl.DecodeOctets(in.data(), in.size());
  ASSERT_NE(acl.amhost, nullptr);
  ACL2 copy(acl);
  ACL2 held(6, 196);
  held.SetMaint(new MAINT);
  held = acl;
  EXPECT_EQ(held.maint, nullptr);
  AMHOST assigned;
  assigned = *acl.amhost;
  for (const AMHOST *a : {acl.amhost, copy.amhost, held.amhost, &assigned}) {
    ASSERT_NE(a->Find(211), nullptr);
    EXPECT_STREQ(a->Find(211)->Text(), "4711");
    EXPECT_STREQ(a->Find(163)->Text(), "Grp");
  }
}
