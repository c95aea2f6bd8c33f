#include "bridge/requests.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bridge/convert_util.h"
#include "kestrel3_structures.h"
#include "link/engine.h"
#include "link/request.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

// ---------------------------------------------------------------------------
// Reading and writing the packed little-endian structure.

uint16_t U16(const uint8_t *p, uint32_t at) { return static_cast<uint16_t>(p[at] | (p[at + 1] << 8)); }

uint32_t U32(const uint8_t *p, uint32_t at) {
  return uint32_t(p[at]) | (uint32_t(p[at + 1]) << 8) | (uint32_t(p[at + 2]) << 16) | (uint32_t(p[at + 3]) << 24);
}

void PutU16(uint8_t *p, uint32_t at, uint16_t v) {
  p[at] = static_cast<uint8_t>(v);
  p[at + 1] = static_cast<uint8_t>(v >> 8);
}

void PutU32(uint8_t *p, uint32_t at, uint32_t v) {
  for (uint32_t i = 0; i < 4; ++i) p[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// The text of a NUL-terminated field, terminator excluded. A field without a
// terminator yields all of its bytes; nothing past the field is read.
std::string FieldText(const uint8_t *p, uint32_t at, uint32_t width) {
  const char *s = reinterpret_cast<const char *>(p + at);
  return std::string(s, strnlen(s, width));
}

// Copies a text of at most srcWidth bytes (up to its terminator) into a field
// of width bytes at `at`: as many characters as the field holds, then a NUL
// when there is room for one.
void PutText(uint8_t *p, uint32_t at, uint32_t width, const uint8_t *src, size_t srcWidth) {
  size_t n = std::min<size_t>(strnlen(reinterpret_cast<const char *>(src), srcWidth), width);
  std::memcpy(p + at, src, n);
  if (n < width) p[at + n] = 0;
}

// ---------------------------------------------------------------------------
// Message helpers.

int32_t Sent(uint32_t invokeId) { return static_cast<int32_t>(invokeId); }

// Every request goes out with its private content already in octets.
uint32_t SendBuilt(uint32_t line, CSTAMsg &msg, void *block, uint32_t wantInvokeId) {
  WritePrivateOctets(msg);
  return SendRequest(line, msg, block, wantInvokeId);
}

// An escape request carrying an AMHOST of the given type and subtype (third
// value 1) under ACL2 application 2, action 196.
struct AmhostRequest {
  CSTAMsg msg;
  AMHOST *amhost;
  AmhostRequest(uint32_t type, uint32_t subtype) {
    amhost = BuildEscapeInvoke(msg, ACL_APP_AMHOST, ACL_ACT_AINFO)->SetAmhost(new AMHOST(type, subtype, 1));
  }
  int32_t Send(uint32_t line, uint8_t *block) { return Sent(SendBuilt(line, msg, block, 1)); }
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

// The device field at offset 2 that most bodies start with.
std::string Device(const uint8_t *p) { return FieldText(p, 2, K3_DEVICE_LEN); }

// ---------------------------------------------------------------------------
// AMHOST requests.

int32_t EncAmhost82(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_8) return kEncWrongSize;
  AmhostRequest r(8, 2);
  return r.Send(line, p);
}

int32_t EncAmhost88(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_8) return kEncWrongSize;
  AmhostRequest r(8, 8);
  r.amhost->AddTriple(248, p[2], p[4], p[6]);  // the low byte of each 16-bit field
  return r.Send(line, p);
}

int32_t EncAmhostServerFlag(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_10) return kEncWrongSize;
  uint8_t flag = p[2];
  AmhostRequest r(10, flag ? 8 : 7);
  r.amhost->AddBool(10, flag != 0, AMHOST_KIND_BOOL);
  return r.Send(line, p);
}

int32_t EncAmhost102(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_10) return kEncWrongSize;
  AmhostRequest r(10, 2);
  r.amhost->AddBool(10, p[2] != 0, AMHOST_KIND_BOOL);
  return r.Send(line, p);
}

int32_t EncAmhost12(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_1_2) return kEncWrongSize;
  AmhostRequest r(1, 2);
  r.amhost->AddString(211, Device(p).c_str());
  return r.Send(0, p);
}

int32_t EncAmhost11(uint8_t *p, uint32_t size, uint32_t nameElement) {
  if (size != K3_SIZE_AMHOST_1_1) return kEncWrongSize;
  AmhostRequest r(1, 1);
  r.amhost->AddString(211, Device(p).c_str());
  r.amhost->AddString(nameElement, FieldText(p, 11, K3_NAME_LEN).c_str());
  return r.Send(0, p);
}

int32_t EncAmhost24A(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_2_4_A) return kEncWrongSize;
  AmhostRequest r(2, 4);
  r.amhost->AddString(169, "*");
  r.amhost->AddString(162, FieldText(p, 2, K3_DEVICE_LEN).c_str());
  r.amhost->AddInt(168, U32(p, 11) != 0 ? 2 : 1);
  return r.Send(0, p);
}

int32_t EncAmhost24B(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_2_4_B) return kEncWrongSize;
  AmhostRequest r(2, 4);
  r.amhost->AddString(169, "*");
  r.amhost->AddString(162, FieldText(p, 2, K3_DEVICE_LEN).c_str());
  r.amhost->AddInt(168, U32(p, 12) == 1 ? 1 : 2);
  r.amhost->AddInt(161, p[11]);
  return r.Send(0, p);
}

// The list query: sent without tracking; the answers are collected in a list
// record (type 98) whose sequence number becomes the line's list handle.
int32_t EncListQuery(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_7_2) return kEncWrongSize;
  LineState &state = Line(0);
  if (state.listQueryHandle != 0) return kEncListBusy;
  AmhostRequest r(7, 2);
  r.amhost->AddString(211, Device(p).c_str());
  // A refused query collects nothing: no record, and the handle stays free.
  WritePrivateOctets(r.msg);
  if (!SendUntracked(0, r.msg, p)) return kEncNotSent;
  EventDataRecord list;
  list.SetU16(EventDataRecord::kType, kListRecordType);
  list.SetU32(EventDataRecord::kListInvokeId, InvokeIdOf(r.msg));
  state.listQueryHandle = StoreEventData(0, list);
  return kEncNotSent;
}

int32_t EncAmhost75(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_7_5) return kEncWrongSize;
  AmhostRequest r(7, 5);
  r.amhost->AddString(211, Device(p).c_str());
  r.amhost->AddString(211, FieldText(p, 11, K3_DEVICE_LEN).c_str());
  return r.Send(0, p);
}

int32_t EncAmhost62A(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_6_2_A) return kEncWrongSize;
  AmhostRequest r(6, 2);
  r.amhost->AddString(211, Device(p).c_str());
  return r.Send(0, p);
}

int32_t EncAmhost62(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_6_SHORT) return kEncWrongSize;
  AmhostRequest r(6, 2);
  r.amhost->AddString(211, Device(p).c_str());
  return r.Send(line, p);
}

// Element 230 (features): 16 switches the feature on. Element 231 (features2):
// bit 7 of the validity bits marks bit 7 of the value bits as meant.
void AddFeatures(AMHOST &a, uint8_t flag) { a.AddInt(230, flag ? 16 : 0, AMHOST_KIND_BYTE); }
void AddFeatures2(AMHOST &a, uint8_t flag) { a.AddBitfields(231, flag ? 0x80 : 0x00, 0x80); }

int32_t EncAmhost61A(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_6_SHORT) return kEncWrongSize;
  AmhostRequest r(6, 1);
  r.amhost->AddString(211, Device(p).c_str());
  AddFeatures(*r.amhost, p[11]);
  return r.Send(line, p);
}

int32_t EncAmhost61B(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_6_SHORT) return kEncWrongSize;
  AmhostRequest r(6, 1);
  r.amhost->AddString(211, Device(p).c_str());
  AddFeatures2(*r.amhost, p[11]);
  return r.Send(line, p);
}

int32_t EncAmhost61C(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AMHOST_6_1_C) return kEncWrongSize;
  AmhostRequest r(6, 1);
  r.amhost->AddString(211, Device(p).c_str());
  AddFeatures(*r.amhost, p[11]);
  AddFeatures2(*r.amhost, p[12]);
  return r.Send(line, p);
}

// ---------------------------------------------------------------------------
// Other private escapes.

// Raw private list: 20 entries of 11 bytes (tag, format, 9-byte text), sent
// as octets after a fixed ACL/AMHOST prefix.
int32_t EncPrivateList(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_PRIVATE_TLV_LIST) return kEncWrongSize;
  OctetVec octets = {0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x0B, 0x08, 0x00, 0x00, 0x01, 0x00};
  for (uint32_t i = 0; i < 20; ++i) {
    const uint8_t *e = p + 2 + 11 * i;
    if (e[0] == 0) continue;
    uint8_t format;
    switch (e[1]) {
      case 0x02: format = 2; break;
      case 0x04: format = 3; break;
      case 0x08: format = 4; break;
      case 0x20: format = 1; break;
      case 0x40: format = 0; break;
      default: return kEncBadValue;
    }
    size_t n = strnlen(reinterpret_cast<const char *>(e + 2), 9);
    octets.insert(octets.end(), {0xB0, static_cast<unsigned char>(n + 4), e[0], format});
    octets.insert(octets.end(), e + 2, e + 2 + n);
  }
  CSTAMsg msg;
  BuildEscapeInvokeRaw(msg)->SetRaw(octets.data(), octets.size());
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncTracer(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_ACL2_240) return kEncWrongSize;
  CSTAMsg msg;
  BuildEscapeInvoke(msg, ACL_APP_ACL, p[2] == 1 ? ACL_ACT_TRACER_START : ACL_ACT_TRACER_STOP);
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncTdsStart(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_ACL2_1_192) return kEncWrongSize;
  if (Line(line).stateFlag) return kEncAlreadyActive;
  CSTAMsg msg;
  BuildEscapeInvoke(msg, ACL_APP_TDS, ACL_ACT_START);
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncReserved(uint32_t, uint8_t *, uint32_t) { return kEncNotSent; }

// ---------------------------------------------------------------------------
// Maintenance sessions (MAINT under application 6, action 196).

int32_t SendMaint(uint32_t line, uint8_t *p, MAINT *maint) {
  CSTAMsg msg;
  std::unique_ptr<MAINT> owned(maint);
  BuildEscapeInvoke(msg, ACL_APP_MAINT, ACL_ACT_AINFO)->SetMaint(owned.release());
  return Sent(SendBuilt(line, msg, p, 1));
}

int32_t EncMaintOpen(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_MAINT_KIND1) return kEncWrongSize;
  // The data must not stay in the caller's memory: bytes 2..55 are cleared on
  // every path from here, refusal included, the last two of them past the
  // 54-byte structure (the caller's buffer has room for them). They are
  // cleared before the send, so that an answer the host hands in from inside
  // its send callback stays in the structure.
  struct Wipe {
    uint8_t *p;
    ~Wipe() { std::memset(p + 2, 0, 54); }
  };
  uint8_t length = p[53];
  MAINT *maint;
  {
    Wipe wipe{p};
    // The data starts at 2 and may run to byte 55, the last the buffer holds.
    if (length > 54) return kEncBadValue;
    maint = new MAINT(MAINT_LOOPBACK, 0, nullptr, length ? p + 2 : nullptr, length);
  }
  return SendMaint(line, p, maint);
}

int32_t EncMaintRequest(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_MAINT_KIND3) return kEncWrongSize;
  int32_t value = U16(p, 2);
  return SendMaint(line, p, new MAINT(MAINT_SWITCH_HEARTBEAT_ON, 0, &value));
}

int32_t EncMaintClose(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_MAINT_KIND4) return kEncWrongSize;
  uint8_t session = p[2];
  int32_t r = SendMaint(line, p, new MAINT(MAINT_SWITCH_HEARTBEAT_OFF, session));
  auto &sessions = Line(line).maintSessions;
  auto it = std::find(sessions.begin(), sessions.end(), session);
  if (it != sessions.end()) sessions.erase(it);
  return r;
}

// ---------------------------------------------------------------------------
// Standard CSTA requests.

int32_t EncPhysicalDeviceInfo(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_PHYSICAL_DEVICE_INFO) return kEncWrongSize;
  auto arg = std::make_unique<GetPhysicalDeviceInformationArgument>();
  arg->device = NewDevice(Device(p));
  return SendInvoke(0, p, kOpGetPhysicalDeviceInformation, arg.release());
}

int32_t EncGetAgentState(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AGENT_STATE) return kEncWrongSize;
  auto arg = std::make_unique<GetAgentStateArgument>();
  arg->device = NewDevice(Device(p));
  return SendInvoke(0, p, kOpGetAgentState, arg.release());
}

int32_t EncSetAgentState(uint32_t, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_AGENT_STATE) return kEncWrongSize;
  auto arg = std::make_unique<SetAgentStateArgument>();
  arg->device = NewDevice(Device(p));
  uint32_t state = U32(p, 11);
  // 0..4: loggedOn, loggedOff, notReady, ready, workingAfterCall. Any other
  // value leaves the requested state at its initial value.
  if (state <= 4) {
    arg->requestedAgentState.Set(static_cast<int32_t>(state));
    if (state == 0) {
      std::string agent = FieldText(p, 15, 4);
      arg->agentID = new AgentID;
      arg->agentID->Set(agent.data(), agent.size());
    }
  }
  return SendInvoke(0, p, kOpSetAgentState, arg.release());
}

// Any size: the session number is read at 2 whatever the size says.
int32_t EncStartCdr(uint32_t line, uint8_t *p, uint32_t) {
  Line(line).cdrSession = U32(p, 2);
  auto arg = std::make_unique<StartCDRTransmissionArgument>();
  arg->transferMode.Set(0);
  return SendInvoke(line, p, kOpStartCDRTransmission, arg.release());
}

int32_t EncStopCdr(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_STOP_CDR_TRANSMISSION) return kEncWrongSize;
  LineState &state = Line(line);
  if (U32(p, 2) != state.cdrSession) return kEncSessionMismatch;
  auto arg = std::make_unique<StopCDRTransmissionArgument>();
  arg->cdrCrossRefID.Set(state.cdrCrossRefId.octs, state.cdrCrossRefId.octetLen);
  return SendInvoke(line, p, kOpStopCDRTransmission, arg.release());
}

int32_t EncSendData(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_SEND_DATA) return kEncWrongSize;
  std::string name = FieldText(p, 2, 42);
  uint32_t x = U32(p, 44), y = U32(p, 48);
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

// ---------------------------------------------------------------------------
// Answers to the PBX's CDR report.

// Answers the report whose invoke id the stored record kept.
int32_t AnswerCdrReport(uint32_t line, uint8_t *p, const uint8_t record[kEventRecordSize]) {
  uint32_t invokeId = U32(record, EventDataRecord::kCdrInvokeId);
  auto result = std::make_unique<CDRReportResult>();
  result->choiceId = CDRReportResult::noDataCid;
  result->noData = new AsnNull;
  CSTAMsg msg;
  BuildResult(msg, kOpCDRReport, result.release());
  return SendWithInvokeId(line, msg, p, invokeId) ? kEncAnsweredCdr : kEncNotSent;
}

// Common start of 0x33 and 0x35 (any size; the fields are read whatever the
// size says): the session must be the line's, and the record is fetched and
// consumed.
int32_t TakeCdrRecord(uint32_t line, const uint8_t *p, uint8_t record[kEventRecordSize]) {
  if (U32(p, 2) != Line(line).cdrSession) return kEncSessionMismatch;
  if (!FetchEventData(line, U32(p, 6), record, 1)) return kEncNotFound;
  return 0;
}

// 0x33: the record's fields, packed into 334 bytes from offset 10 (see
// cdr33 in the header), whatever the size: the buffer must hold 344 bytes.
int32_t EncCdrResult(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (int32_t refused = TakeCdrRecord(line, p, rec)) return refused;
  using namespace cdr33;
  std::memcpy(p + kTimeStamp, rec + 24, 12);
  for (uint32_t d = 0; d < 7; ++d)
    PutText(p, kDevices + d * kDeviceWidth, kDeviceWidth, rec + 40 + d * 33, 33);
  PutU32(p, kMediaClass, U32(rec, 271));
  PutU32(p, kTariffTable, U32(rec, 275));
  PutU32(p, kDuration, U32(rec, 279));
  PutU32(p, kCarrier, U32(rec, 283));
  PutU32(p, kSelectedRoute, U32(rec, 287));
  p[kSupplService] = rec[291];
  PutText(p, kAccountInfo, 33, rec + 292, 33);
  PutU32(p, kChargingPresent, U32(rec, 325));
  PutText(p, kChargingText, 17, rec + 329, 17);
  PutU32(p, kChargingValue, U32(rec, 346));
  PutU32(p, kChargingKind, U32(rec, 350));
  PutU32(p, kMinutes, U32(rec, 358));
  PutText(p, kText1, kTextWidth, rec + 362, 33);
  PutText(p, kText2, kTextWidth, rec + 395, 33);
  return AnswerCdrReport(line, p, rec);
}

// 0x35: the whole 432-byte record at offset 10, whatever the size: the
// caller's buffer must hold 442 bytes.
int32_t EncCdrResultRaw(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (int32_t refused = TakeCdrRecord(line, p, rec)) return refused;
  std::memcpy(p + 10, rec, kEventRecordSize);
  return AnswerCdrReport(line, p, rec);
}

// ---------------------------------------------------------------------------
// Local answers from stored event data.

// 0x62: the texts collected for a list query, in 9-byte fields from offset 8
// (a text of 9 characters fills its field without a terminator). The caller's
// buffer must hold 9 * count + 8 bytes, as the query's reply told it.
int32_t EncStoredList(uint32_t line, uint8_t *p, uint32_t size) {
  if (size != K3_SIZE_GET_STORED_LIST) return kEncWrongSize;
  uint32_t sequence = U32(p, 2);
  uint8_t rec[kEventRecordSize];
  if (!FetchEventData(line, sequence, rec, 0)) return kEncNotFound;
  uint16_t count = U16(rec, EventDataRecord::kListCount);
  PutU16(p, 6, count);
  if (EventDataRecord *stored = FindEventData(line, sequence)) {
    // No more fields than the count the query's reply gave the caller.
    size_t fields = std::min<size_t>(count, stored->texts.size());
    uint32_t at = 8;
    for (size_t i = 0; i < fields; ++i) {
      const std::string &text = stored->texts[i];
      PutText(p, at, K3_DEVICE_LEN, reinterpret_cast<const uint8_t *>(text.c_str()), text.size());
      at += K3_DEVICE_LEN;
    }
    stored->texts.clear();
  }
  RemoveEventData(line, sequence);
  return kEncNotSent;
}

// 0x84 (any size): the agent record's texts and values. Field widths 9, 4 and
// 9 bytes at 6, 15 and 19, values at 28 and 32: 36 bytes whatever the size.
int32_t EncStoredRecord(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (!FetchEventData(line, U32(p, 2), rec, 1)) return kEncNotFound;
  PutText(p, 6, 9, rec + 24, 9);
  PutText(p, 15, 4, rec + 33, 7);
  PutText(p, 19, 9, rec + 48, kEventRecordSize - 48);
  PutU32(p, 28, U32(rec, 40));
  PutU32(p, 32, U32(rec, 44));
  return kEncAnsweredRecord;
}

// 0x95 (any size): the device text (9 bytes at 6) and the received data text
// (9 bytes at 15): 24 bytes whatever the size.
int32_t EncStoredRecord2(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (!FetchEventData(line, U32(p, 2), rec, 1)) return kEncNotFound;
  PutText(p, 6, 9, rec + 24, 9);
  PutText(p, 15, 9, rec + 33, kEventRecordSize - 33);
  return kEncAnsweredRecord2;
}

}  // namespace

int32_t DispatchDevSpecific(uint32_t line, uint32_t, uint8_t *p, uint32_t size) {
  if (size < 2 || !p) return kEncWrongSize;
  switch (U16(p, 0)) {
    case DS_MAINT_KIND3: return EncMaintRequest(line, p, size);
    case DS_MAINT_KIND4: return EncMaintClose(line, p, size);
    case DS_MAINT_KIND1: return EncMaintOpen(line, p, size);
    case DS_START_CDR_TRANSMISSION: return EncStartCdr(line, p, size);
    case DS_CDR_REPORT_RESULT: return EncCdrResult(line, p, size);
    case DS_STOP_CDR_TRANSMISSION: return EncStopCdr(line, p, size);
    case DS_CDR_REPORT_RESULT_2: return EncCdrResultRaw(line, p, size);
    case DS_AMHOST_8_2: return EncAmhost82(line, p, size);
    case DS_AMHOST_8_8: return EncAmhost88(line, p, size);
    case DS_AMHOST_10_7_8: return EncAmhostServerFlag(line, p, size);
    case DS_AMHOST_10_2: return EncAmhost102(line, p, size);
    case DS_PRIVATE_TLV_LIST: return EncPrivateList(line, p, size);
    case DS_ACL2_240: return EncTracer(line, p, size);
    case DS_RESERVED_47:
    case DS_RESERVED_48: return EncReserved(line, p, size);
    case DS_AMHOST_1_2: return EncAmhost12(line, p, size);
    case DS_AMHOST_1_1_A: return EncAmhost11(p, size, 163);
    case DS_AMHOST_1_1_B: return EncAmhost11(p, size, 165);
    case DS_AMHOST_2_4_A: return EncAmhost24A(line, p, size);
    case DS_AMHOST_2_4_B: return EncAmhost24B(line, p, size);
    case DS_AMHOST_7_2: return EncListQuery(line, p, size);
    case DS_GET_STORED_LIST: return EncStoredList(line, p, size);
    case DS_AMHOST_7_5_A:
    case DS_AMHOST_7_5_B:
    case DS_AMHOST_7_5_C: return EncAmhost75(line, p, size);
    case DS_AMHOST_6_2_A: return EncAmhost62A(line, p, size);
    case DS_AMHOST_6_1_A: return EncAmhost61A(line, p, size);
    case DS_AMHOST_6_2_B:
    case DS_AMHOST_6_2_C: return EncAmhost62(line, p, size);
    case DS_AMHOST_6_1_B: return EncAmhost61B(line, p, size);
    case DS_AMHOST_6_1_C: return EncAmhost61C(line, p, size);
    case DS_GET_AGENT_STATE: return EncGetAgentState(line, p, size);
    case DS_SET_AGENT_STATE: return EncSetAgentState(line, p, size);
    case DS_GET_STORED_RECORD: return EncStoredRecord(line, p, size);
    case DS_ACL2_1_192: return EncTdsStart(line, p, size);
    case DS_SEND_DATA: return EncSendData(line, p, size);
    case DS_GET_STORED_RECORD_2: return EncStoredRecord2(line, p, size);
    case DS_GET_PHYSICAL_DEVICE_INFO: return EncPhysicalDeviceInfo(line, p, size);
    default: return kEncWrongSize;
  }
}

uint32_t ProcessDevSpecificRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size) {
  return RunRequest(line, requestId, block, size, DispatchDevSpecific);
}

}  // namespace k3
