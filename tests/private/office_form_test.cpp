// Office form: every element identifier at its minimum length and one octet
// short, the consumed counts, the list loop and writing elements back.
#include <gtest/gtest.h>

#include "csta3/private/private_data.h"
#include "tests/private/test_util.h"

using namespace CSTA3V6;
using namespace k3test;

namespace {

struct MinCase {
  Bytes in;          // the shortest input the identifier accepts
  uint32_t choiceId;
  size_t consumed;
};

size_t Parse(const Bytes &in, OfficePrivateDataElement &e) { return e.DecodeOctets(in.data(), in.size()); }

}  // namespace

TEST(OfficeElement, EveryIdentifierAtMinimumAndOneShort) {
  Bytes tracerStatus(24, 0);
  tracerStatus[0] = 176;
  tracerStatus[1] = 24;
  tracerStatus[2] = 162;
  const MinCase cases[] = {
      {B({0, 0}), 0, 2},
      {B({5, 0}), 22, 2},
      {B({9, 3, 7}), 1, 3},
      {B({175, 4, 0, 163}), 10, 4},
      {tracerStatus, 11, 24},
      {B({181, 3, 1}), 24, 3},
      {B({201, 3, 5}), 21, 3},
      {B({211, 0}), 5, 2},
      {B({220, 0}), 7, 2},
      {B({221, 0}), 9, 2},
      {B({224, 5, 6, 0, 255}), 3, 5},
      {B({225, 4, 1, 2}), 23, 4},
      {B({228, 3, 0}), 20, 3},
      {B({229, 0}), 19, 2},
      {B({230, 0}), 18, 2},
      {B({231, 5, 1, 0xAA, 0xBB}), 15, 5},
      {B({232, 3, 1}), 6, 3},
      {B({233, 6, 0x10, 0x20, 3, 4}), 8, 6},
      {B({235}), 14, 1},
      {B({236, 8, 1, 2, 3, 0}), 12, 6},
      {B({237, 1}), 13, 2},
      {B({238, 4, 3, 0}), 2, 4},
      {B({239, 4, 1, 0xAA}), 4, 4},
  };
  for (const MinCase &c : cases) {
    SCOPED_TRACE(int(c.in[0]));
    OfficePrivateDataElement e;
    EXPECT_EQ(Parse(c.in, e), c.consumed);
    EXPECT_EQ(e.choiceId, c.choiceId);
    EXPECT_TRUE(e.Present());
    EXPECT_EQ(OfficePrivateDataElement::IdentifierOf(c.choiceId), c.in[0]);

    Bytes shorter(c.in.begin(), c.in.end() - 1);
    OfficePrivateDataElement s;
    EXPECT_EQ(Parse(shorter, s), 0u);
    EXPECT_FALSE(s.Present());
    EXPECT_EQ(s.choiceId, 0u);  // an empty CHOICE: choiceId 0, no alternative
    EXPECT_EQ(s.value, nullptr);
  }
  OfficePrivateData none;
  none.Append();  // an empty element writes nothing and is not found as alternative 0
  EXPECT_EQ(none.Find(OfficePrivateDataElement::agentIDCid), nullptr);
  EXPECT_EQ(OctetsOf(none), Bytes());

  OfficePrivateDataElement e;
  EXPECT_EQ(Parse(B({0x01, 0x02, 0x03}), e), 0u);  // unknown identifier
  EXPECT_EQ(Parse(B({0, 3, 'A', 'B'}), e), 0u);    // length runs past the end
  EXPECT_EQ(Parse(B({237, 0, 1, 2}), e), 0u);      // 237 needs octet 1 not zero
  EXPECT_EQ(Parse(B({231, 6, 1, 0xAA, 0xBB}), e), 0u);  // total length past the end
  EXPECT_EQ(Parse(B({176, 23, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), e), 0u);
}

TEST(OfficeElement, ValuesAndConsumedCounts) {
  OfficePrivateDataElement e;

  // Length-prefixed strings keep a terminating zero after the data.
  ASSERT_EQ(Parse(B({211, 3, '1', '0', '1', 0xEE}), e), 5u);
  EXPECT_EQ(e.deviceID->Str(), "101");
  EXPECT_EQ(e.deviceID->octs[3], 0);

  ASSERT_EQ(Parse(B({224, 5, 6, 1, 255}), e), 5u);
  EXPECT_EQ(e.tds->tdsCse.value, 6);
  EXPECT_EQ(e.tds->inputCtrl.value, 1);
  EXPECT_EQ(e.tds->applSubId.value, 255);

  ASSERT_EQ(Parse(B({232, 3, 0x01}), e), 3u);  // bit 0 is the octet's bit of value 1
  EXPECT_TRUE(e.deviceIndication->bits.GetBit(0));
  EXPECT_FALSE(e.deviceIndication->bits.GetBit(7));

  ASSERT_EQ(Parse(B({175, 4, 0xFF, 163}), e), 4u);
  EXPECT_EQ(e.tracerAction->value.value, 163);
  EXPECT_EQ(PrivTracerAction().value.value, 162);

  ASSERT_EQ(Parse(B({233, 6, 0x10, 0x20, 3, 4}), e), 6u);
  EXPECT_EQ(OctsBytes(e.sdConnectionID->callID), B({0x10, 0x20}));
  EXPECT_EQ(e.sdConnectionID->state.value, 3);

  // 236 needs six, takes eight, or what is left when fewer remain.
  ASSERT_EQ(Parse(B({236, 8, 1, 2, 3, 9, 9, 9, 0xD3, 0}), e), 8u);
  EXPECT_EQ(OctsBytes(e.buttonInformation->info), B({1, 2, 3}));
  EXPECT_EQ(Parse(B({236, 8, 1, 2, 3, 9, 9}), e), 7u);

  // 235 and 237 take everything that is left.
  ASSERT_EQ(Parse(B({235, 3, 1, 0xD3, 0}), e), 5u);
  EXPECT_TRUE(bool(e.buttonPressEventInfo->pressed));
  ASSERT_EQ(Parse(B({235, 3, 2}), e), 3u);
  EXPECT_FALSE(bool(e.buttonPressEventInfo->pressed));
  ASSERT_EQ(Parse(B({237, 4, 7, 0x41, 0xD3, 0}), e), 6u);
  EXPECT_EQ(e.buttonInformationResult->value.value, 7);
  EXPECT_EQ(OctsBytes(e.buttonInformationResult->octet), B({0x41}));

  // Variable elements with a total length octet.
  ASSERT_EQ(Parse(B({228, 12, 2, 1, 2, 1, 30, 3, 'a', 'b', 'c', 0, 0xEE}), e), 12u);
  EXPECT_EQ(OctsBytes(e.cdrExtensions->firstTime), B({1, 2}));
  EXPECT_EQ(OctsBytes(e.cdrExtensions->secondTime), B({30}));
  EXPECT_EQ(e.cdrExtensions->firstText.Str(), "abc");
  EXPECT_EQ(e.cdrExtensions->secondText.octetLen, 0u);
  ASSERT_EQ(Parse(B({228, 5, 1, 0xAA, 3, 'x', 'y', 'z'}), e), 5u);  // a field past the length ends the fields
  EXPECT_EQ(e.cdrExtensions->secondTime.octetLen, 0u);
  ASSERT_EQ(Parse(B({231, 6, 2, 0xA1, 0xA2, 0xB1}), e), 6u);
  EXPECT_EQ(OctsBytes(e.callLinkage->gid.value), B({0xA1, 0xA2}));
  EXPECT_EQ(OctsBytes(e.callLinkage->tid.value), B({0xB1}));
  ASSERT_EQ(Parse(B({239, 7, 2, 0x01, 0x02, '2', '0'}), e), 7u);
  EXPECT_EQ(e.partnerConnection->deviceID.Str(), "20");
}

TEST(OfficeList, ParsesUntilAnElementTakesNothing) {
  OfficePrivateData list;
  Bytes in = B({224, 5, 6, 0, 255, 232, 3, 1, 0x77, 238, 4, 1, 0});
  EXPECT_EQ(list.DecodeOctets(in.data(), in.size()), 2u);
  ASSERT_EQ(list.Count(), 2u);
  ASSERT_NE(list.Find(OfficePrivateDataElement::tdsCid), nullptr);
  EXPECT_EQ(list.Find(3)->tds->tdsCse.value, 6);
  ASSERT_NE(list.Find(6), nullptr);
  EXPECT_EQ(list.Find(2), nullptr);  // after the unknown identifier

  OfficePrivateData empty;
  EXPECT_EQ(empty.DecodeOctets(in.data(), 0), 0u);
  EXPECT_EQ(empty.Count(), 0u);
}

// Every identifier read, written and read again: what the writer produces is
// what the reader takes, whole, as the same element; writing that again gives
// the same octets. Where the writer must fill an element up to the reader's
// minimum (231, 239), the filling is zeros in the last part.
TEST(OfficeElement, EveryIdentifierWritesWhatItReads) {
  struct Case {
    Bytes in;
    Bytes out;  // the element as written back
  };
  Bytes status(24, 0);
  status[0] = 176, status[1] = 24, status[2] = 163, status[23] = 9;
  const Case cases[] = {
      {B({0, 2, 'A', 'B'}), B({0, 2, 'A', 'B'})},
      {B({5, 1, '7'}), B({5, 1, '7'})},
      {B({9, 3, 7}), B({9, 3, 7})},
      {B({175, 4, 0xEE, 163}), B({175, 4, 0, 163})},  // octet 2 is not read
      {status, status},
      {B({181, 3, 2}), B({181, 3, 1})},
      {B({201, 3, 0x81}), B({201, 3, 0x81})},
      {B({211, 3, '1', '0', '1'}), B({211, 3, '1', '0', '1'})},
      {B({220, 1, 'M'}), B({220, 1, 'M'})},
      {B({221, 1, 'P'}), B({221, 1, 'P'})},
      {B({224, 5, 6, 1, 255}), B({224, 5, 6, 1, 255})},
      {B({225, 4, 1, 2}), B({225, 4, 1, 2})},
      {B({228, 10, 1, 5, 1, 6, 1, 'a', 1, 'b'}), B({228, 10, 1, 5, 1, 6, 1, 'a', 1, 'b'})},
      {B({229, 2, '4', '2'}), B({229, 2, '4', '2'})},
      {B({230, 1, 'T'}), B({230, 1, 'T'})},
      {B({231, 6, 1, 0xAA, 0xBB, 0xCC}), B({231, 6, 1, 0xAA, 0xBB, 0xCC})},
      {B({231, 4, 0, 0, 0x7E}), B({231, 5, 0, 0, 0})},  // four octets of element: filled up to five
      {B({232, 3, 0x41}), B({232, 3, 0x41})},
      {B({233, 6, 1, 2, 3, 4}), B({233, 6, 1, 2, 3, 4})},
      {B({235, 3, 1}), B({235, 3, 1})},
      {B({236, 8, 1, 2, 3, 0, 0, 0}), B({236, 8, 1, 2, 3, 0, 0, 0})},
      {B({237, 4, 7, 0x41}), B({237, 4, 7, 0x41})},
      {B({237, 1}), B({237, 3, 0})},
      {B({238, 4, 9, 0}), B({238, 4, 9, 0})},
      {B({239, 6, 1, 0xAA, '2', '0'}), B({239, 6, 1, 0xAA, '2', '0'})},
      {B({239, 3, 0, 0x7E}), B({239, 4, 0, 0})},  // three octets of element: filled up to four
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in));
    OfficePrivateDataElement first;
    ASSERT_GT(Parse(c.in, first), 0u);
    Bytes out = OctetsOf(first);
    EXPECT_EQ(out, c.out);
    OfficePrivateDataElement again;
    EXPECT_EQ(Parse(out, again), out.size());
    EXPECT_EQ(again.choiceId, first.choiceId);
    EXPECT_EQ(OctetsOf(again), out);
  }
}

// The length-prefixed texts keep their terminating zero in the list and in
// every copy of it, so they read as C strings (AddressSanitizer watches the
// byte after the data).
TEST(OfficeList, TextsStayTerminatedInEveryCopy) {
  Bytes in = B({0, 2, 'A', 'G', 5, 1, '9', 211, 3, '1', '0', '1', 220, 1, 'M', 221, 1, 'P', 229, 2, '4', '2', 230,
                1, 'T', 228, 10, 1, 5, 1, 6, 1, 'a', 1, 'b'});
  PrivateDataChoiceSeq seq;
  seq.SetRaw(in.data(), in.size());
  seq.DecodeData();
  ASSERT_NE(seq.Office(), nullptr);
  ASSERT_EQ(seq.Office()->Count(), 8u);
  PrivateDataChoiceSeq copy(seq);
  for (const PrivateDataChoiceSeq *s : {&seq, &copy}) {
    const OfficePrivateData &l = *s->Office();
    using E = OfficePrivateDataElement;
    EXPECT_STREQ(l.Find(E::agentIDCid)->agentID->octs, "AG");
    EXPECT_STREQ(l.Find(E::parkPositionCid)->parkPosition->octs, "9");
    EXPECT_STREQ(l.Find(E::deviceIDCid)->deviceID->octs, "101");
    EXPECT_STREQ(l.Find(E::newMasterDeviceIDCid)->newMasterDeviceID->octs, "M");
    EXPECT_STREQ(l.Find(E::partnerDeviceIDCid)->partnerDeviceID->octs, "P");
    EXPECT_STREQ(l.Find(E::involvedGroupCid)->involvedGroup->group.octs, "42");
    EXPECT_STREQ(l.Find(E::trunkInterfaceCid)->trunkInterface->octs, "T");
    EXPECT_STREQ(l.Find(E::cdrExtensionsCid)->cdrExtensions->firstText.octs, "a");
    EXPECT_STREQ(l.Find(E::cdrExtensionsCid)->cdrExtensions->secondText.octs, "b");
  }
}
