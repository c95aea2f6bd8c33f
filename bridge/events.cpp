#include "bridge/events.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "bridge/convert_util.h"
#include "kestrel3_structures.h"
#include "link/engine.h"
#include "link/inbound.h"
#include "link/request.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

// The 12-byte header of an event: type code, then per event.
struct Header {
  uint8_t bytes[12] = {};
  explicit Header(uint16_t type) { Out().U16(0, type); }
  OutBytes Out() { return OutBytes{bytes, sizeof bytes}; }
};

// Stores the record under its type and raises the header of a stored event
// (K3_EVENT_HEADER): the sequence number, the parameter and two text bytes.
void StoreAndRaise(uint32_t line, EventDataRecord &record, uint16_t recordType, uint16_t eventType, uint32_t param,
                   const uint8_t *text2 = nullptr) {
  if (!g_callbacks.event) return;
  record.SetU16(EventDataRecord::kType, recordType);
  uint32_t sequence = StoreEventData(line, record);
  Header h(eventType);
  h.Out().U32(K3_AT(K3_EVENT_HEADER, dwSequence), sequence);
  h.Out().U32(K3_AT(K3_EVENT_HEADER, dwParam), param);
  if (text2) {
    h.Out().Byte(K3_AT(K3_EVENT_HEADER, acText), text2[0]);
    h.Out().Byte(K3_AT(K3_EVENT_HEADER, acText) + 1, text2[0] ? text2[1] : 0);
  }
  RaiseEventHeader(line, h.bytes);
}

OutBytes Body(EventDataRecord &r) { return OutBytes{r.bytes, kEventRecordSize}; }

// ---------------------------------------------------------------------------
// Agent events.

struct AgentFields {
  std::string device, agentId, acdGroup;
  const CSTACommonArguments *extensions = nullptr;
};

template <class Event>
AgentFields FieldsOf(const Event *e) {
  AgentFields f;
  if (!e) return f;
  if (e->agentDevice && e->agentDevice->choiceId == SubjectDeviceID::deviceIdentifierCid)
    f.device = DeviceText(e->agentDevice->deviceIdentifier);
  if (e->agentID) f.agentId = CText(*e->agentID);
  f.acdGroup = DeviceText(e->acdGroup);
  f.extensions = e->extensions;
  return f;
}

// The fields of the six agent-state alternatives, and the kind each reports
// (1 logged on, 2 logged off, 3 not ready, 4 ready, 5 busy, 6 working after
// call); kind 0 for every other alternative.
uint32_t AgentKind(const LogicalDeviceFeatureEvents &ev, AgentFields &f) {
  using L = LogicalDeviceFeatureEvents;
  switch (ev.choiceId) {
    case L::agentBusyCid: f = FieldsOf(ev.agentBusy); return 5;
    case L::agentLoggedOnCid: f = FieldsOf(ev.agentLoggedOn); return 1;
    case L::agentLoggedOffCid: f = FieldsOf(ev.agentLoggedOff); return 2;
    case L::agentNotReadyCid: f = FieldsOf(ev.agentNotReady); return 3;
    case L::agentReadyCid: f = FieldsOf(ev.agentReady); return 4;
    case L::agentWorkingAfterCallCid: f = FieldsOf(ev.agentWorkingAfterCall); return 6;
    default: return 0;
  }
}

void RaiseAgentRecord(uint32_t line, const AgentFields &f, uint32_t kind, uint32_t privateState, uint32_t param) {
  using R = K3_EVENT_AGENT_RECORD;
  EventDataRecord record;
  OutBytes body = Body(record);
  body.Field(K3_FIELD(R, szDevice), f.device);
  body.Field(K3_FIELD(R, szAgentId), f.agentId);
  body.U32(K3_AT(R, dwKind), kind);
  body.U32(K3_AT(R, dwPrivateState), privateState);
  body.Field(K3_FIELD(R, szAcdGroup), f.acdGroup);
  StoreAndRaise(line, record, DS_EVENT_AGENT, DS_EVENT_AGENT, param, record.bytes + K3_AT(R, szAgentId));
}

}  // namespace

void OnAgentEvent(uint32_t line, const LogicalDeviceFeatureEvents &ev, const AsnOcts &) {
  AgentFields f;
  uint32_t kind = AgentKind(ev, f);
  if (kind == 0) return;
  // Private element 6: 2 with its bit 0 set, 1 with it clear, 0 when absent.
  uint32_t privateState = 0;
  if (const OfficePrivateDataElement *e = OfficeElement(f.extensions, OfficePrivateDataElement::deviceIndicationCid))
    privateState = e->deviceIndication->bits.GetBit(0) ? 2 : 1;
  RaiseAgentRecord(line, f, kind, privateState, kind);
}

// The agent of the monitor itself logged on or off: private state 3, the
// private data is not read.
void OnMonitoredAgentEvent(uint32_t line, const LogicalDeviceFeatureEvents &ev, const AsnOcts &) {
  AgentFields f;
  uint32_t kind = AgentKind(ev, f);
  if (kind != 1 && kind != 2) return;
  RaiseAgentRecord(line, f, kind, 3, uint32_t(ev.choiceId));
}

// ---------------------------------------------------------------------------
// Data paths.

namespace {

std::list<DataPath>::iterator FindPath(uint32_t line, const IOCrossRefID *id) {
  auto &paths = Line(line).dataPaths;
  if (!id || !id->alternative) return paths.end();
  const AsnOcts &x = *static_cast<const AsnOcts *>(id->alternative);  // both alternatives are octet strings
  return std::find_if(paths.begin(), paths.end(), [&](const DataPath &d) {
    return d.crossRefId.Len() == x.Len() && (x.Len() == 0 || std::memcmp(d.crossRefId.Octs(), x.Octs(), x.Len()) == 0);
  });
}

uint32_t SendAnswer(uint32_t line, int32_t operation, AsnType *result, const ROIVapdu &invoke) {
  CSTAMsg msg;
  BuildResult(msg, operation, result);
  return SendWithInvokeId(line, msg, nullptr, static_cast<uint32_t>(invoke.invokeID.value));
}

}  // namespace

void OnStartDataPath(uint32_t line, const ROIVapdu &invoke) {
  const auto *arg = dynamic_cast<const StartDataPathArgument *>(invoke.argument);
  if (!arg || !arg->extensions || !arg->extensions->privateData || arg->extensions->privateData->Count() == 0) return;
  uint8_t value = 0;
  if (const OfficePrivateDataElement *e = OfficeElement(arg->extensions, OfficePrivateDataElement::tdsCid))
    value = uint8_t(e->tds->tdsCse.value);
  std::string device;
  if (arg->object && arg->object->choiceId == CSTAObject::deviceObjectCid) device = DeviceText(arg->object->deviceObject);

  LineState &state = Line(line);
  if (state.dataPaths.size() >= K3_MAX_DATA_PATHS) {
    ReportLimitOnce(line, kLimitDataPaths, "startDataPath refused: the line has the most data paths it keeps open");
    return;
  }
  uint32_t number = state.dataPathCounter;
  char xref[4] = {char(number), char(number >> 8), char(number >> 16), char(number >> 24)};
  DataPath &path = state.dataPaths.emplace_back();
  path.device = device;
  path.crossRefId.Set(xref, 4);
  path.number = number;
  ++state.dataPathCounter;

  auto result = std::make_unique<StartDataPathResult>();
  IOCrossRefID *id = result->ioCrossRefID = new IOCrossRefID;
  id->choiceId = IOCrossRefID::computerProvidedCid;
  id->computerProvided = new AsnOcts(xref, 4);
  if (!SendAnswer(line, kOpStartDataPath, result.release(), invoke)) return;

  Header h(DS_EVENT_DATA_PATH_STARTED);
  h.Out().Byte(K3_AT(K3_EVENT_PATH_STARTED, bValue), value);
  if (device.size() < K3_WIDTH(K3_EVENT_PATH_STARTED, szDevice))
    h.Out().Field(K3_FIELD(K3_EVENT_PATH_STARTED, szDevice), device.data(), device.size());
  RaiseEventHeader(line, h.bytes);
}

void OnSendData(uint32_t line, const ROIVapdu &invoke) {
  const auto *arg = dynamic_cast<const SendDataArgument *>(invoke.argument);
  if (!arg) return;
  auto path = FindPath(line, arg->ioCrossRefID);
  if (path == Line(line).dataPaths.end()) return;
  // The send callback may reset the line, which frees the entry.
  const std::string device = path->device;
  auto result = std::make_unique<SendDataResult>();
  result->choiceId = SendDataResult::noDataCid;
  result->noData = new AsnNull;
  SendAnswer(line, kOpSendData, result.release(), invoke);

  EventDataRecord record;
  OutBytes body = Body(record);
  body.Field(K3_FIELD(K3_EVENT_DATA_RECORD, szDevice), device);
  body.Field(K3_FIELD(K3_EVENT_DATA_RECORD, szData), arg->ioData.Octs(), arg->ioData.Len());
  // The received data travels in a record of the CDR record's type.
  StoreAndRaise(line, record, DS_EVENT_CDR_RECORD, DS_EVENT_DATA_RECEIVED, 0);
}

void OnStopDataPath(uint32_t line, const ROIVapdu &invoke) {
  const auto *arg = dynamic_cast<const StopDataPathArgument *>(invoke.argument);
  if (!arg) return;
  auto &paths = Line(line).dataPaths;
  auto path = FindPath(line, arg->ioCrossRefID);
  if (path == paths.end()) return;
  Header h(DS_EVENT_DATA_PATH_STOPPED);
  h.Out().Field(K3_FIELD(K3_EVENT_PATH_STOPPED, szDevice), path->device.data(), path->device.size());
  paths.erase(path);
  RaiseEventHeader(line, h.bytes);
}

// ---------------------------------------------------------------------------
// CDR reports.

namespace {

// recordCreationTime as six u16: year, month, day, hour, minute, second.
void PutTimeStamp(const OutBytes &body, const AsnOcts &time) {
  const char *s = time.Octs();
  size_t n = time.Len();
  static const size_t kWidths[6] = {4, 2, 2, 2, 2, 2};
  size_t at = 0;
  for (size_t i = 0; i < 6; ++i) {
    if (at + kWidths[i] > n) return;
    uint32_t v = 0;
    for (size_t k = 0; k < kWidths[i]; ++k) {
      char c = s[at + k];
      if (c < '0' || c > '9') return;
      v = v * 10 + uint32_t(c - '0');
    }
    body.U16(K3_AT(K3_EVENT_CDR_RECORD, awTimeStamp) + 2 * i, uint16_t(v));
    at += kWidths[i];
  }
}

template <class Party>
std::string PartyText(const Party *p) {
  if (!p || p->choiceId != Party::deviceIdentifierCid) return std::string();
  return DeviceText(p->deviceIdentifier);
}

uint32_t IntOr0(const AsnInt *v) { return v ? uint32_t(v->value) : 0; }

// Supplementary services: bits 0, 2, 4, 6 and 9 become 1, 2, 4, 8 and 16.
uint8_t SupplServiceBits(const AsnBits *b) {
  if (!b) return 0;
  static const size_t kBits[5] = {0, 2, 4, 6, 9};
  uint8_t v = 0;
  for (size_t i = 0; i < 5; ++i)
    if (b->GetBit(kBits[i])) v |= uint8_t(1u << i);
  return v;
}

using Cdr = K3_EVENT_CDR_RECORD;

void PutCharging(const OutBytes &body, const ChargingInfo *info) {
  if (!info) return;
  body.U32(K3_AT(Cdr, dwChargingPresent), 1);
  const NumberUnits *units = info->numberUnits;
  if (!units || !units->alternative) return;
  if (units->choiceId == NumberUnits::numberOfCurrencyUnitsCid) {
    const NumberOfCurrencyUnits &c = *units->numberOfCurrencyUnits;
    body.Field(K3_FIELD(Cdr, szChargingText), c.currencyType.Octs(), c.currencyType.Len());
    body.U32(K3_AT(Cdr, dwChargingValue), uint32_t(c.currencyAmount.value));
    int32_t m = c.currencyMultiplier.value;
    body.U32(K3_AT(Cdr, dwChargingKind), (m >= 0 && m <= 6) ? uint32_t(m) : 0xFFFFFFFFu);
  } else if (units->numberOfChargeUnits->First()) {
    const NumberOfChargingUnitsSeq &e = units->numberOfChargeUnits->First()->elmt;
    if (e.typeOfUnits) body.Field(K3_FIELD(Cdr, szChargingText), e.typeOfUnits->Octs(), e.typeOfUnits->Len());
    body.U32(K3_AT(Cdr, dwChargingValue), uint32_t(e.chargingUnits.value));
  }
}

void PutItem(const OutBytes &body, const CDRInformationItem &item) {
  if (item.recordCreationTime.Len()) PutTimeStamp(body, item.recordCreationTime);
  const std::string devices[7] = {
      PartyText(item.callingDevice),        PartyText(item.calledDevice),
      PartyText(item.associatedCallingDevice), PartyText(item.associatedCalledDevice),
      PartyText(item.networkCallingDevice), PartyText(item.networkCalledDevice),
      item.accessCode ? CText(*item.accessCode) : std::string(),
  };
  constexpr size_t kWidth = K3_WIDTH(Cdr, aszDevice[0]);
  for (size_t i = 0; i < 7; ++i) body.Field(K3_AT(Cdr, aszDevice) + i * kWidth, kWidth, devices[i]);
  const MediaCallCharacteristics *media = item.mediaCallCharacteristics;
  body.U32(K3_AT(Cdr, dwMediaClass), (media && media->mediaClass && media->mediaClass->GetBit(1)) ? 1 : 0);
  body.U32(K3_AT(Cdr, dwTariffTable), IntOr0(item.tariffTable));
  body.U32(K3_AT(Cdr, dwDuration), IntOr0(item.connectionDuration));
  body.U32(K3_AT(Cdr, dwCarrier), IntOr0(item.carrier));
  body.U32(K3_AT(Cdr, dwSelectedRoute), IntOr0(item.selectedRoute));
  body.Byte(K3_AT(Cdr, bSupplService), SupplServiceBits(item.supplServiceInfo));
  if (item.accountInfo) body.Field(K3_FIELD(Cdr, szAccountInfo), CText(*item.accountInfo));
  PutCharging(body, item.chargingInfo);
}

uint8_t FirstOctet(const AsnOcts &o) { return (o.Len() && o.Octs()) ? uint8_t(o.Octs()[0]) : 0; }

}  // namespace

void OnCdrReport(uint32_t line, const ROIVapdu &invoke) {
  const auto *arg = dynamic_cast<const CDRReportArgument *>(invoke.argument);
  if (!arg) return;
  EventDataRecord record;
  OutBytes body = Body(record);
  if (arg->cdrInfo && arg->cdrInfo->First()) PutItem(body, arg->cdrInfo->First()->elmt);
  // Minutes from private element 20: first octet of the first time part
  // times 60 plus first octet of the second; 0xFFFFFFFF without the element.
  uint32_t minutes = 0xFFFFFFFFu;
  if (const OfficePrivateDataElement *e = OfficeElement(arg->extensions, OfficePrivateDataElement::cdrExtensionsCid)) {
    const PrivCdrExtensions &x = *e->cdrExtensions;
    minutes = FirstOctet(x.firstTime) * 60u + FirstOctet(x.secondTime);
    body.Field(K3_FIELD(Cdr, szText1), x.firstText.Octs(), x.firstText.Len());
    body.Field(K3_FIELD(Cdr, szText2), x.secondText.Octs(), x.secondText.Len());
  }
  body.U32(K3_AT(Cdr, dwMinutes), minutes);
  body.U32(K3_AT(Cdr, dwInvokeId), uint32_t(invoke.invokeID.value));
  StoreAndRaise(line, record, DS_EVENT_CDR_RECORD, DS_EVENT_CDR_RECORD, 0);
}

// ---------------------------------------------------------------------------
// Reference events.

void RaiseReferenceEvent(uint32_t line, const MAINT &maint) {
  uint8_t reference = uint8_t(maint.CrossRef());
  const auto &sessions = Line(line).maintSessions;
  if (std::find(sessions.begin(), sessions.end(), reference) == sessions.end()) return;
  Header h(DS_EVENT_REFERENCE);
  OutBytes out = h.Out();
  using E = K3_EVENT_REFERENCE;
  out.Byte(K3_AT(E, bReference), reference);
  if (maint.hasDate) {
    out.U16(K3_AT(E, wDate), uint16_t((maint.date[0] & 31) | ((maint.date[1] & 15) << 5)));
    out.U16(K3_AT(E, wYear), WidenYear(maint.date[2]));
  }
  if (maint.hasTime) {
    out.U16(K3_AT(E, wTime), uint16_t((maint.time[0] & 31) | ((maint.time[1] & 63) << 5)));
    out.U16(K3_AT(E, wSecond), uint16_t(maint.time[2] & 63));
  }
  RaiseEventHeader(line, h.bytes);
}

}  // namespace k3
