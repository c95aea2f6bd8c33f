// The requests that go to the PBX: private escapes (AMHOST, raw private
// octets, ACL2 applications, MAINT sessions) and the standard CSTA services.
// Each encoder gets a structure whose size the dispatcher has checked, and
// the line its request goes out on.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bridge/convert_util.h"
#include "bridge/request_util.h"
#include "csta3/private/amhost_ids.h"
#include "link/engine.h"
#include "link/request.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

// An escape request carrying an AMHOST of the given type and subtype (third
// value 1) under ACL2 application 2, action 196.
struct AmhostRequest {
  CSTAMsg msg;
  AMHOST *amhost;
  AmhostRequest(uint32_t type, uint32_t subtype) {
    amhost = BuildEscapeInvoke(msg, ACL_APP_AMHOST, ACL_ACT_AINFO)->SetAmhost(new AMHOST(type, subtype, 1));
  }
  int32_t Send(uint32_t line, uint8_t *block) { return Sent(SendBuilt(line, msg, block, 1)); }
  void AddText(uint32_t id, const std::string &text) { amhost->AddString(id, text.c_str()); }
};

DeviceID *NewDevice(const std::string &text) {
  auto d = std::make_unique<DeviceID>();
  d->deviceIdentifier = new DeviceIDChoice;
  d->deviceIdentifier->choiceId = DeviceIDChoice::dialingNumberCid;
  d->deviceIdentifier->dialingNumber = new NumberDigits;
  d->deviceIdentifier->dialingNumber->Set(text.data(), text.size());
  return d.release();
}

// Sends an invocation of a standard operation; argument is owned by the message.
int32_t SendInvoke(uint32_t line, uint8_t *block, int32_t operation, AsnType *argument) {
  CSTAMsg msg;
  BuildInvoke(msg, operation, argument);
  return Sent(SendBuilt(line, msg, block, 1));
}

// Element 230 (features): 16 switches the feature on. Element 231 (features2):
// bit 7 of the validity bits marks bit 7 of the value bits as meant.
void AddFeatures(AMHOST &a, uint8_t flag) { a.AddInt(AMHOST_ID_FEATURES, flag ? 16 : 0, AMHOST_KIND_BYTE); }
void AddFeatures2(AMHOST &a, uint8_t flag) { a.AddBitfields(AMHOST_ID_FEATURES2, flag ? 0x80 : 0x00, 0x80); }

int32_t SetStationText(uint32_t line, uint8_t *p, uint32_t textElement) {
  AmhostRequest r(1, 1);
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_DEVICE_NAME, szDevice));
  r.AddText(textElement, K3_TEXT(p, K3_DS_DEVICE_NAME, szName));
  return r.Send(line, p);
}

// The requests that name only a device (AMHOST 1/2, 6/2).
int32_t QueryDevice(uint32_t line, uint8_t *p, uint32_t type, uint32_t subtype, const std::string &device) {
  AmhostRequest r(type, subtype);
  r.AddText(AMHOST_ID_DEVICE, device);
  return r.Send(line, p);
}

}  // namespace

// ---------------------------------------------------------------------------
// AMHOST requests.

int32_t EncQueryTime(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(8, 2);
  return r.Send(line, p);
}

int32_t EncSetTime(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(8, 8);
  // The low byte of each 16-bit field.
  r.amhost->AddTriple(AMHOST_ID_TIME, uint8_t(K3_GET(p, K3_DS_AMHOST_8, wValue1)),
                      uint8_t(K3_GET(p, K3_DS_AMHOST_8, wValue2)), uint8_t(K3_GET(p, K3_DS_AMHOST_8, wValue3)));
  return r.Send(line, p);
}

int32_t EncSwitchServer(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t flag = K3_GET(p, K3_DS_FLAG, bFlag);
  AmhostRequest r(10, flag ? 8 : 7);
  r.amhost->AddBool(AMHOST_ID_SERVER_FLAG, flag != 0, AMHOST_KIND_BOOL);
  return r.Send(line, p);
}

int32_t EncQueryServer(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(10, 2);
  r.amhost->AddBool(AMHOST_ID_SERVER_FLAG, K3_GET(p, K3_DS_FLAG, bFlag) != 0, AMHOST_KIND_BOOL);
  return r.Send(line, p);
}

int32_t EncQueryStation(uint32_t line, uint8_t *p, uint32_t) {
  return QueryDevice(line, p, 1, 2, K3_TEXT(p, K3_DS_AMHOST_1_2, szDevice));
}

int32_t EncSetStationName(uint32_t line, uint8_t *p, uint32_t) { return SetStationText(line, p, AMHOST_ID_NAME); }

int32_t EncSetStationPin(uint32_t line, uint8_t *p, uint32_t) { return SetStationText(line, p, AMHOST_ID_PIN); }

int32_t EncSetSwitchMode(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(2, 4);
  r.AddText(AMHOST_ID_SWITCH_TYPE, "*");
  r.AddText(AMHOST_ID_SUBSCRIBER_NUMBER, K3_TEXT(p, K3_DS_AMHOST_2_4_A, szName));
  r.amhost->AddInt(AMHOST_ID_SWITCH_MODE, K3_GET(p, K3_DS_AMHOST_2_4_A, dwSwitch) != 0 ? 2 : 1);
  return r.Send(line, p);
}

int32_t EncSetSwitchModeAndCos(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(2, 4);
  r.AddText(AMHOST_ID_SWITCH_TYPE, "*");
  r.AddText(AMHOST_ID_SUBSCRIBER_NUMBER, K3_TEXT(p, K3_DS_AMHOST_2_4_B, szName));
  r.amhost->AddInt(AMHOST_ID_SWITCH_MODE, K3_GET(p, K3_DS_AMHOST_2_4_B, dwSwitch) == 1 ? 1 : 2);
  r.amhost->AddInt(AMHOST_ID_COS_DAY_NIGHT, K3_GET(p, K3_DS_AMHOST_2_4_B, bValue));
  return r.Send(line, p);
}

// The list query: sent without tracking; the answers are collected in a list
// record (type 98) whose sequence number becomes the line's list handle.
int32_t EncListQuery(uint32_t line, uint8_t *p, uint32_t) {
  LineState &state = Line(line);
  if (state.listQueryHandle != 0) return kEncListBusy;
  AmhostRequest r(7, 2);
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_AMHOST_7_2, szDevice));
  // A refused query collects nothing: no record, and the handle stays free.
  WritePrivateOctets(r.msg);
  if (!SendUntracked(line, r.msg, p)) return kEncNotSent;
  EventDataRecord list;
  list.SetU16(EventDataRecord::kType, kListRecordType);
  list.SetU32(EventDataRecord::kListInvokeId, InvokeIdOf(r.msg));
  state.listQueryHandle = StoreEventData(line, list);
  return kEncNotSent;
}

int32_t EncDevicePair(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(7, 5);
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_AMHOST_7_5, szDevice1));
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_AMHOST_7_5, szDevice2));
  return r.Send(line, p);
}

int32_t EncQueryGroupName(uint32_t line, uint8_t *p, uint32_t) {
  return QueryDevice(line, p, 6, 2, K3_TEXT(p, K3_DS_DEVICE_NAME, szDevice));
}

int32_t EncQueryFeatures(uint32_t line, uint8_t *p, uint32_t) {
  return QueryDevice(line, p, 6, 2, K3_TEXT(p, K3_DS_AMHOST_6, szDevice));
}

int32_t EncSetFeatures(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(6, 1);
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_AMHOST_6, szDevice));
  AddFeatures(*r.amhost, K3_GET(p, K3_DS_AMHOST_6, bFlag));
  return r.Send(line, p);
}

int32_t EncSetFeatures2(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(6, 1);
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_AMHOST_6, szDevice));
  AddFeatures2(*r.amhost, K3_GET(p, K3_DS_AMHOST_6, bFlag));
  return r.Send(line, p);
}

int32_t EncSetBothFeatures(uint32_t line, uint8_t *p, uint32_t) {
  AmhostRequest r(6, 1);
  r.AddText(AMHOST_ID_DEVICE, K3_TEXT(p, K3_DS_AMHOST_6_1_C, szDevice));
  AddFeatures(*r.amhost, K3_GET(p, K3_DS_AMHOST_6_1_C, bFlagA));
  AddFeatures2(*r.amhost, K3_GET(p, K3_DS_AMHOST_6_1_C, bFlagB));
  return r.Send(line, p);
}

// ---------------------------------------------------------------------------
// Other private escapes.

// Raw private list: 20 entries (tag, format, 9-byte text), sent as octets
// after a fixed ACL/AMHOST prefix.
int32_t EncPrivateList(uint32_t line, uint8_t *p, uint32_t) {
  OctetVec octets = {0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x0B, 0x08, 0x00, 0x00, 0x01, 0x00};
  constexpr size_t kEntries = K3_WIDTH(K3_DS_PRIVATE_TLV_LIST, aEntry) / sizeof(K3_DS_TLV_ENTRY);
  for (size_t i = 0; i < kEntries; ++i) {
    const uint8_t *e = p + K3_AT(K3_DS_PRIVATE_TLV_LIST, aEntry) + i * sizeof(K3_DS_TLV_ENTRY);
    const uint8_t tag = K3_GET(e, K3_DS_TLV_ENTRY, bTag);
    if (tag == 0) continue;
    uint8_t format;
    switch (K3_GET(e, K3_DS_TLV_ENTRY, bFormat)) {
      case 0x02: format = 2; break;
      case 0x04: format = 3; break;
      case 0x08: format = 4; break;
      case 0x20: format = 1; break;
      case 0x40: format = 0; break;
      default: return kEncBadValue;
    }
    std::string text = K3_TEXT(e, K3_DS_TLV_ENTRY, szValue);
    octets.insert(octets.end(), {0xB0, static_cast<unsigned char>(text.size() + 4), tag, format});
    octets.insert(octets.end(), text.begin(), text.end());
  }
  CSTAMsg msg;
  BuildEscapeInvokeRaw(msg)->SetRaw(octets.data(), octets.size());
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncTracer(uint32_t line, uint8_t *p, uint32_t) {
  CSTAMsg msg;
  BuildEscapeInvoke(msg, ACL_APP_ACL, K3_GET(p, K3_DS_FLAG, bFlag) == 1 ? ACL_ACT_TRACER_START : ACL_ACT_TRACER_STOP);
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncStartTds(uint32_t line, uint8_t *p, uint32_t) {
  if (Line(line).stateFlag) return kEncAlreadyActive;
  CSTAMsg msg;
  BuildEscapeInvoke(msg, ACL_APP_TDS, ACL_ACT_START);
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncReserved(uint32_t, uint8_t *, uint32_t) { return kEncNotSent; }

// ---------------------------------------------------------------------------
// Maintenance sessions (MAINT under application 6, action 196).

namespace {

int32_t SendMaint(uint32_t line, uint8_t *p, MAINT *maint) {
  CSTAMsg msg;
  std::unique_ptr<MAINT> owned(maint);
  BuildEscapeInvoke(msg, ACL_APP_MAINT, ACL_ACT_AINFO)->SetMaint(owned.release());
  return Sent(SendBuilt(line, msg, p, 1));
}

}  // namespace

int32_t EncMaintLoopback(uint32_t line, uint8_t *p, uint32_t) {
  // The data must not stay in the caller's memory: from the data on, 54
  // bytes are cleared on every path from here, refusal included, the last two
  // of them past the structure (the caller's buffer has room for them). They
  // are cleared before the send, so that an answer the host hands in from
  // inside its send callback stays in the structure.
  constexpr size_t kData = K3_AT(K3_DS_MAINT_KIND1, abData);
  constexpr size_t kWiped = sizeof(K3_DS_MAINT_KIND1) + 2 - kData;
  struct Wipe {
    uint8_t *p;
    ~Wipe() { std::memset(p + kData, 0, kWiped); }
  };
  uint8_t length = K3_GET(p, K3_DS_MAINT_KIND1, bDataLength);
  MAINT *maint;
  {
    Wipe wipe{p};
    // The data may run to the last byte the buffer holds.
    if (length > kWiped) return kEncBadValue;
    maint = new MAINT(MAINT_LOOPBACK, 0, nullptr, length ? p + kData : nullptr, length);
  }
  return SendMaint(line, p, maint);
}

int32_t EncMaintReference(uint32_t line, uint8_t *p, uint32_t) {
  int32_t value = K3_GET(p, K3_DS_MAINT_KIND3, wValue);
  return SendMaint(line, p, new MAINT(MAINT_SWITCH_HEARTBEAT_ON, 0, &value));
}

int32_t EncMaintClose(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t session = K3_GET(p, K3_DS_MAINT_KIND4, bSession);
  int32_t r = SendMaint(line, p, new MAINT(MAINT_SWITCH_HEARTBEAT_OFF, session));
  auto &sessions = Line(line).maintSessions;
  auto it = std::find(sessions.begin(), sessions.end(), session);
  if (it != sessions.end()) sessions.erase(it);
  return r;
}

// ---------------------------------------------------------------------------
// Standard CSTA requests.

int32_t EncPhysicalDeviceInfo(uint32_t line, uint8_t *p, uint32_t) {
  auto arg = std::make_unique<GetPhysicalDeviceInformationArgument>();
  arg->device = NewDevice(K3_TEXT(p, K3_DS_PHYSICAL_DEVICE_INFO, szDevice));
  return SendInvoke(line, p, kOpGetPhysicalDeviceInformation, arg.release());
}

int32_t EncGetAgentState(uint32_t line, uint8_t *p, uint32_t) {
  auto arg = std::make_unique<GetAgentStateArgument>();
  arg->device = NewDevice(K3_TEXT(p, K3_DS_AGENT_STATE, szDevice));
  return SendInvoke(line, p, kOpGetAgentState, arg.release());
}

int32_t EncSetAgentState(uint32_t line, uint8_t *p, uint32_t) {
  auto arg = std::make_unique<SetAgentStateArgument>();
  arg->device = NewDevice(K3_TEXT(p, K3_DS_AGENT_STATE, szDevice));
  uint32_t state = K3_GET(p, K3_DS_AGENT_STATE, dwState);
  // 0..4: loggedOn, loggedOff, notReady, ready, workingAfterCall. Any other
  // value leaves the requested state at its initial value.
  if (state <= 4) {
    arg->requestedAgentState.Set(static_cast<int32_t>(state));
    if (state == 0) {
      std::string agent = K3_TEXT(p, K3_DS_AGENT_STATE, szAgentId);
      arg->agentID = new AgentID;
      arg->agentID->Set(agent.data(), agent.size());
    }
  }
  return SendInvoke(line, p, kOpSetAgentState, arg.release());
}

// Any size: the session number is read whatever the size says.
int32_t EncStartCdr(uint32_t line, uint8_t *p, uint32_t) {
  Line(line).cdrSession = K3_GET(p, K3_DS_CDR_TRANSMISSION, dwSession);
  auto arg = std::make_unique<StartCDRTransmissionArgument>();
  arg->transferMode.Set(0);
  return SendInvoke(line, p, kOpStartCDRTransmission, arg.release());
}

int32_t EncStopCdr(uint32_t line, uint8_t *p, uint32_t) {
  LineState &state = Line(line);
  if (K3_GET(p, K3_DS_CDR_TRANSMISSION, dwSession) != state.cdrSession) return kEncSessionMismatch;
  auto arg = std::make_unique<StopCDRTransmissionArgument>();
  arg->cdrCrossRefID.Set(state.cdrCrossRefId.octs, state.cdrCrossRefId.octetLen);
  return SendInvoke(line, p, kOpStopCDRTransmission, arg.release());
}

int32_t EncSendData(uint32_t line, uint8_t *p, uint32_t) {
  std::string name = K3_TEXT(p, K3_DS_SEND_DATA, szName);
  uint32_t x = K3_GET(p, K3_DS_SEND_DATA, dwValueX), y = K3_GET(p, K3_DS_SEND_DATA, dwValueY);
  const auto &paths = Line(line).dataPaths;
  auto path = std::find_if(paths.begin(), paths.end(), [&](const DataPath &d) { return d.device == name; });
  if (path == paths.end()) return kEncNoDataSession;

  auto arg = std::make_unique<SendDataArgument>();
  arg->ioCrossRefID = new IOCrossRefID;
  arg->ioCrossRefID->choiceId = IOCrossRefID::computerProvidedCid;
  arg->ioCrossRefID->computerProvided = new AsnOcts(path->crossRefId);
  arg->extensions = new CSTACommonArguments;
  arg->extensions->privateData = new AsnList<CSTAPrivateData>;
  PrivateDataChoiceSeq *item = NewPbxPrivateItem(*arg->extensions->privateData->Append());
  PrivTDS *tds = item->NewOffice()->Append()->Set_tds();
  tds->tdsCse.Set(static_cast<int32_t>(y));
  tds->inputCtrl.Set(static_cast<int32_t>(x));
  tds->applSubId.Set(255);
  return SendInvoke(line, p, kOpSendData, arg.release());
}

}  // namespace k3
