// Unsolicited messages of the PBX: the headers raised, the records stored and
// the answers sent back.
#include "inbound_fixture.h"
#include "kestrel3_structures.h"

namespace inbound_test {
namespace {

TEST_F(Inbound, AgentEventsOfAKnownMonitor) {
  k3::MonitorStartHandler(0, "4711", AsnOcts(kXref.data(), kXref.size()));
  const Bytes bit0 = B({0xE8, 0x03, 0x01});  // private element 6, bit 0
  Dispatch(AgentReport<AgentBusyEvent>(L::agentBusyCid, "A1"));
  ASSERT_EQ(host.events.size(), 1u);
  Bytes rec = Record(1);
  ASSERT_EQ(rec.size(), 432u);
  EXPECT_EQ(Bytes(rec.begin(), rec.begin() + 52),
            Cat({B({1, 0, 0, 0, 0x81, 0, 0, 0, 1, 0, 0, 0, 0xE8, 3, 0, 0, 0xA8, 0xD8, 1, 0, 0, 0, 0, 0}),
                 S("4712"), Bytes(5, 0), S("A1"), Bytes(5, 0), B({5, 0, 0, 0, 0, 0, 0, 0}), S("300"), B({0})}));

  // Kind and private state; logged on/off of the monitor's own agent (the
  // agent id compared over its own length, at most 9) take private state 3.
  struct {
    CSTAMsg msg;
    uint32_t kind, state;
  } const cases[] = {
      {AgentReport<AgentWorkingAfterCallEvent>(L::agentWorkingAfterCallCid, "B"), 6, 0},
      {AgentReport<AgentLoggedOnEvent>(L::agentLoggedOnCid, "4711", PrivateData(bit0)), 1, 3},
      {AgentReport<AgentLoggedOffEvent>(L::agentLoggedOffCid, "471"), 2, 3},
      {AgentReport<AgentLoggedOffEvent>(L::agentLoggedOffCid, "4711000000", PrivateData(bit0)), 2, 2},
      {AgentReport<AgentLoggedOnEvent>(L::agentLoggedOnCid, nullptr), 1, 0},
      {AgentReport<AgentLoggedOnEvent>(L::agentLoggedOnCid, "4712"), 1, 0},  // another agent
  };
  uint32_t seq = 1;
  for (const auto &c : cases) {
    Dispatch(c.msg);
    ASSERT_EQ(host.events.size(), ++seq);
    EXPECT_EQ(U32(host.events.back(), 2), seq);
    EXPECT_EQ(U32(host.events.back(), 6), c.kind);
    EXPECT_EQ(U32(Record(seq), 40), c.kind);
    EXPECT_EQ(U32(Record(seq), 44), c.state) << "event " << seq;
  }
  EXPECT_EQ(host.events[1][11], 0);                 // a one-character agent id
  const Bytes longId = Record(5);                   // "4711000000" fills its 7-byte field,
  EXPECT_EQ(Bytes(&longId[33], &longId[40]), S("4711000"));  // the kind follows
  EXPECT_EQ(longId[40], 2);
}

// An event report of another family on the monitor's cross reference: its
// alternatives share the agent events' choice numbers (0 busy, 1 logged on ...).
template <class Family, class E>
CSTAMsg OtherReport(EventSpecificInfo::ChoiceIdEnum family, uint32_t which) {
  auto *arg = new CSTAEventReportArgument;
  arg->crossRefIdentifier.Set(kXref.data(), kXref.size());
  arg->eventSpecificInfo = new EventSpecificInfo;
  arg->eventSpecificInfo->choiceId = family;
  auto *events = new Family;
  events->choiceId = typename Family::ChoiceIdEnum(which);
  events->alternative = new E;
  arg->eventSpecificInfo->alternative = events;
  return Invoke(1, 21, arg);
}

TEST_F(Inbound, OtherEventFamiliesOfAKnownMonitorAreIgnored) {
  k3::MonitorStartHandler(0, "4711", AsnOcts(kXref.data(), kXref.size()));
  using I = EventSpecificInfo;
  const CSTAMsg reports[] = {
      OtherReport<CallControlEvents, BridgedEvent>(I::callControlEventsCid, 0),
      OtherReport<CallControlEvents, CallClearedEvent>(I::callControlEventsCid, 1),
      OtherReport<CallAssociatedEvents, CallInformationEvent>(I::callAssociatedEventsCid, 0),
      OtherReport<MediaAttachmentEvents, MediaAttachedEvent>(I::mediaAttachmentEventsCid, 0),
      OtherReport<PhysicalDeviceFeatureEvents, HookswitchEvent>(I::physicalDeviceFeatureEventsCid, 3),
      OtherReport<VendorSpecEvents, PrivateEvent>(I::vendorSpecEventsCid, 0),
  };
  for (const CSTAMsg &m : reports) Dispatch(m);
  EXPECT_TRUE(host.events.empty());
  EXPECT_TRUE(k3::Line(0).events.empty());
  Dispatch(AgentReport<AgentReadyEvent>(L::agentReadyCid, "A"));  // the monitor itself still works
  EXPECT_EQ(host.events.size(), 1u);
}

TEST_F(Inbound, DataPathsAreOpenedUsedAndClosed) {
  Dispatch(StartPath(700, "DP1", true));
  Dispatch(StartPath(701, "123456789", true));
  ASSERT_EQ(host.sent.size(), 2u);
  EXPECT_EQ(host.sent[0], std::make_pair(700u, Rors(700, 110, B({0x30, 8, 0xA1, 6, 0x04, 4, 0, 0, 0, 0}))));
  EXPECT_EQ(host.sent[1], std::make_pair(701u, Rors(701, 110, B({0x30, 8, 0xA1, 6, 0x04, 4, 1, 0, 0, 0}))));
  EXPECT_EQ(host.events.size(), 2u);
  EXPECT_TRUE(k3::Line(0).events.empty());

  // A failed answer: no event, but the path is open and the counter moved on.
  host.sendReturn = 0;
  Dispatch(StartPath(703, "DP4", true));
  host.sendReturn = 1;
  EXPECT_EQ(host.events.size(), 2u);
  EXPECT_EQ(k3::Line(0).dataPaths.size(), 3u);
  EXPECT_EQ(k3::Line(0).dataPathCounter, 3u);

  Dispatch(PathMessage(713, 111, std::string("\x01\x00\x00\x00", 4)));
  EXPECT_EQ(host.sent.size(), 3u);  // stopDataPath is never answered
  ASSERT_EQ(host.events.size(), 3u);
  EXPECT_EQ(host.events[2], Cat({B({0x96, 0}), S("123456789"), B({0})}));
  ASSERT_EQ(k3::Line(0).dataPaths.size(), 2u);
  EXPECT_EQ(k3::Line(0).dataPaths.back().device, "DP4");
}

template <class Party>
Party *PartyOf(const char *digits) {
  auto *p = new Party;
  p->deviceIdentifier = Device(digits);
  return p;
}

TEST_F(Inbound, CdrReportsBecomeRecords) {
  auto *arg = new CDRReportArgument;
  CDRInformationItem &item = *(arg->cdrInfo = new CDRInfo)->Append();
  item.recordCreationTime.Set("20261123081530Z");
  item.callingDevice = PartyOf<CallingDeviceID>("100");
  item.calledDevice = PartyOf<CalledDeviceID>("200");
  item.associatedCallingDevice = PartyOf<AssociatedCallingDeviceID>("300");
  item.associatedCalledDevice = PartyOf<AssociatedCalledDeviceID>("400");
  item.networkCallingDevice = PartyOf<NetworkCallingDeviceID>("500");
  item.networkCalledDevice = PartyOf<NetworkCalledDeviceID>("600");
  item.accessCode = new AsnOcts("0");
  (item.mediaCallCharacteristics = new MediaCallCharacteristics)->mediaClass = new MediaClass(8);
  item.mediaCallCharacteristics->mediaClass->SetBit(1);
  item.tariffTable = new AsnInt(4);
  item.connectionDuration = new AsnInt(125);
  item.carrier = new AsnInt(6);
  item.selectedRoute = new AsnInt(0x01020304);
  item.supplServiceInfo = new SupplServiceInfo(16);
  item.supplServiceInfo->SetBit(2), item.supplServiceInfo->SetBit(9);
  item.accountInfo = new AccountInfo("ACC");
  NumberUnits *units = (item.chargingInfo = new ChargingInfo)->numberUnits = new NumberUnits;
  units->choiceId = NumberUnits::numberOfCurrencyUnitsCid;
  auto *money = units->numberOfCurrencyUnits = new NumberOfCurrencyUnits;
  money->currencyType.Set("EUR"), money->currencyAmount.Set(250), money->currencyMultiplier.Set(3);
  // Private element 20: time parts 2 and 30, texts "ABC" and "XY".
  arg->extensions = PrivateData(B({0xE4, 0x0D, 0x01, 0x02, 0x01, 0x1E, 0x03, 'A', 'B', 'C', 0x02, 'X', 'Y'}));
  Dispatch(Invoke(900, 361, arg));

  ASSERT_EQ(host.events.size(), 1u);
  Bytes expect(432, 0);
  auto put = [&](size_t at, const Bytes &b) { std::copy(b.begin(), b.end(), expect.begin() + at); };
  put(0, B({1, 0, 0, 0, 0x32, 0, 0, 0, 1, 0, 0, 0, 0xE8, 0x03, 0, 0, 0xA8, 0xD8, 0x01, 0}));
  put(24, B({0xEA, 0x07, 11, 0, 23, 0, 8, 0, 15, 0, 30, 0}));  // 2026-11-23 08:15:30
  const char *devices[] = {"100", "200", "300", "400", "500", "600", "0"};
  for (int i = 0; i < 7; ++i) put(40 + 33 * i, S(devices[i]));
  put(271, B({1, 0, 0, 0, 4, 0, 0, 0, 125, 0, 0, 0, 6, 0, 0, 0, 4, 3, 2, 1, 18}));
  put(292, S("ACC"));
  put(325, B({1, 0, 0, 0}));
  put(329, S("EUR"));
  put(346, B({250, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 150, 0, 0, 0}));
  put(362, S("ABC"));
  put(395, S("XY"));
  put(428, B({0x84, 0x03, 0, 0}));  // invoke id 900
  EXPECT_EQ(Record(1), expect);

  // A report without items gives an empty record; without element 20 the minutes read 0xFFFFFFFF.
  Dispatch(Invoke(902, 361, new CDRReportArgument));
  Bytes empty = Record(2);
  EXPECT_EQ(U32(empty, 358), 0xFFFFFFFFu);
  EXPECT_EQ(U32(empty, 428), 902u);
  EXPECT_EQ(std::count(empty.begin() + 24, empty.begin() + 358, 0), 358 - 24);
}

// One CDR item with only the media class and supplementary bits given.
CSTAMsg CdrBits(uint32_t id, int mediaBit, int supplBit, const Bytes &priv = {}) {
  auto *arg = new CDRReportArgument;
  CDRInformationItem &item = *(arg->cdrInfo = new CDRInfo)->Append();
  if (mediaBit >= -1) {
    item.mediaCallCharacteristics = new MediaCallCharacteristics;
    if (mediaBit >= 0) (item.mediaCallCharacteristics->mediaClass = new MediaClass(16))->SetBit(mediaBit);
  }
  if (supplBit >= 0) (item.supplServiceInfo = new SupplServiceInfo(16))->SetBit(supplBit);
  if (!priv.empty()) arg->extensions = PrivateData(priv);
  return Invoke(id, 361, arg);
}

TEST_F(Inbound, CdrBitMappingsBitByBit) {
  // Byte 291: bits 0, 2, 4, 6, 9 give 1, 2, 4, 8, 16; every other bit nothing.
  const uint8_t suppl[16] = {1, 0, 2, 0, 4, 0, 8, 0, 0, 16, 0, 0, 0, 0, 0, 0};
  uint32_t seq = 0;
  for (int bit = 0; bit < 16; ++bit) {
    Dispatch(CdrBits(1000 + bit, bit, bit));
    Bytes r = Record(++seq);
    ASSERT_EQ(r.size(), 432u);
    EXPECT_EQ(r[291], suppl[bit]) << "bit " << bit;
    EXPECT_EQ(U32(r, 271), bit == 1 ? 1u : 0u) << "media bit " << bit;
  }
  // Media characteristics without a media class, and no characteristics at all.
  Dispatch(CdrBits(1100, -1, -1));
  Dispatch(CdrBits(1101, -2, -1));
  EXPECT_EQ(U32(Record(++seq), 271), 0u);
  EXPECT_EQ(U32(Record(++seq), 271), 0u);
  // Currency multipliers 0..6 are copied, anything else reads 0xFFFFFFFF.
  for (auto [multiplier, kind] : {std::pair{0, 0u}, {6, 6u}, {127, ~0u}, {128, ~0u}, {255, ~0u}}) {
    auto *arg = new CDRReportArgument;
    NumberUnits *units = ((arg->cdrInfo = new CDRInfo)->Append()->chargingInfo = new ChargingInfo)->numberUnits =
        new NumberUnits;
    units->choiceId = NumberUnits::numberOfCurrencyUnitsCid;
    (units->numberOfCurrencyUnits = new NumberOfCurrencyUnits)->currencyMultiplier.Set(multiplier);
    Dispatch(Invoke(1200, 361, arg));
    EXPECT_EQ(U32(Record(++seq), 350), kind) << multiplier;
  }
  // Minutes from time octets above 127: 255 * 60 + 128.
  Dispatch(CdrBits(1102, -2, -1, B({0xE4, 0x08, 0x01, 0xFF, 0x01, 0x80, 0x00, 0x00})));
  EXPECT_EQ(U32(Record(++seq), 358), 255u * 60 + 128);
}

TEST_F(Inbound, ReferenceEventsForListedReferences) {
  k3::Line(0).maintSessions = {3, 5};
  Dispatch(Roiv(802, 51, EscapeArg(Maint(2, 3, Date(1, 1, 1), 0xC5))));     // action 197
  Dispatch(Roiv(803, 51, EscapeArg(Maint(2, 3, Cat({Date(0x3F, 0x1F, 101), Time(0x41, 0x7F, 0xFF)})))));  // masked
  Dispatch(Roiv(804, 51, EscapeArg(Maint(1, 5, Date(1, 1, 1)))));           // a loop-back, not a reference
  ASSERT_EQ(host.events.size(), 1u);
  EXPECT_EQ(host.events[0], B({0x13, 0, 3, 0xFF, 0x01, 101, 0, 0xE1, 0x07, 0x3F, 0x00, 0}));
  EXPECT_TRUE(k3::Line(0).events.empty());
  EXPECT_TRUE(host.sent.empty());
}

TEST_F(Inbound, WhatThePbxMakesALineKeepIsBounded) {
  auto limitLogs = [] {
    size_t n = 0;
    for (const auto &e : k3::Portable().Events()) n += e.category == 4;
    return n;
  };
  // Data paths: the 65th open one is refused (no answer, no event, no path
  // number used) and logged once; a closed path makes room again.
  for (uint32_t i = 0; i < K3_MAX_DATA_PATHS; ++i) Dispatch(StartPath(1000 + i, "DP", true));
  EXPECT_EQ(host.sent.size(), size_t(K3_MAX_DATA_PATHS));
  EXPECT_EQ(limitLogs(), 0u);
  Dispatch(StartPath(2000, "DP", true));
  Dispatch(StartPath(2001, "DP", true));
  EXPECT_EQ(host.sent.size(), size_t(K3_MAX_DATA_PATHS));
  EXPECT_EQ(host.events.size(), size_t(K3_MAX_DATA_PATHS));
  EXPECT_EQ(k3::Line(0).dataPaths.size(), size_t(K3_MAX_DATA_PATHS));
  EXPECT_EQ(k3::Line(0).dataPathCounter, uint32_t(K3_MAX_DATA_PATHS));
  EXPECT_EQ(limitLogs(), 1u);
  Dispatch(PathMessage(2002, 111, std::string("\x05\x00\x00\x00", 4)));
  Dispatch(StartPath(2003, "DP", true));
  EXPECT_EQ(host.sent.back(), std::make_pair(2003u, Rors(2003, 110, B({0x30, 8, 0xA1, 6, 0x04, 4, 64, 0, 0, 0}))));

  // A list stops counting at the u16 count's end: the entries past it are
  // dropped and logged once; each entry is kept as the fetch hands it back.
  Block query(0x61, 21);
  Request(60, query);
  k3::EventDataRecord *list = k3::FindEventData(0, k3::Line(0).listQueryHandle);
  ASSERT_NE(list, nullptr);
  Dispatch(Roiv(3001, 51, EscapeArg(Cat({Amhost(7, 2, 6), Dev211("123456789")}))));
  EXPECT_EQ(list->texts, std::vector<std::string>{"12345678"});
  list->texts.resize(K3_MAX_LIST_ENTRIES - 1, "1");
  list->SetU16(k3::EventDataRecord::kListCount, uint16_t(K3_MAX_LIST_ENTRIES - 1));
  Dispatch(Roiv(3002, 51, EscapeArg(Cat({Amhost(7, 2, 6), Dev211("2"), Dev211("3"), Dev211("4")}))));
  Dispatch(Roiv(3003, 51, EscapeArg(Cat({Amhost(7, 2, 6), Dev211("5")}))));
  EXPECT_EQ(list->texts.size(), size_t(K3_MAX_LIST_ENTRIES));
  EXPECT_EQ(list->texts.back(), "2");
  EXPECT_EQ(list->U16(k3::EventDataRecord::kListCount), 0xFFFF);
  EXPECT_EQ(limitLogs(), 2u);

  // A line open starts the log afresh.
  k3::LineReset(0);
  for (uint32_t i = 0; i <= K3_MAX_DATA_PATHS; ++i) Dispatch(StartPath(4000 + i, "DP", true));
  EXPECT_EQ(limitLogs(), 3u);
}

}  // namespace
}  // namespace inbound_test
