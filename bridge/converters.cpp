#include "bridge/converters.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "bridge/convert_util.h"
#include "bridge/events.h"
#include "csta3/private/amhost_ids.h"
#include "kestrel3.h"
#include "kestrel3_structures.h"
#include "link/request.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

OutBytes Reply(const PendingRequest &r) { return OutBytes{r.block, r.block ? r.size : 0}; }

// Writes the octets of an element (kinds 2 and 4) as the text of a field.
void PutElementText(const OutBytes &out, size_t at, size_t width, const AMHOST_Element *e) {
  if (e) out.Field(at, width, e->octsValue.Octs(), e->octsValue.Len());
}

}  // namespace

// ---------------------------------------------------------------------------
// Escape results carrying an AMHOST.

void ConvertAmhostResult(uint32_t, const PendingRequest &request, const PrivateDataChoiceSeq &item,
                         const AMHOST &amhost) {
  OutBytes out = Reply(request);
  uint32_t status = K3_RESULT_SUCCESS;
  switch (request.structType) {
    case DS_AMHOST_8_2: {  // time: three one-octet values, widened
      const AMHOST_Element *e = amhost.Find(AMHOST_ID_TIME);
      if (!e) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.U16(K3_AT(K3_DS_AMHOST_8, wValue1), e->triple[0]);
      out.U16(K3_AT(K3_DS_AMHOST_8, wValue2), e->triple[1]);
      out.U16(K3_AT(K3_DS_AMHOST_8, wValue3), e->triple[2]);
      break;
    }
    case DS_AMHOST_1_2:  // station data: device, name, PIN, number
      PutElementText(out, K3_FIELD(K3_DS_AMHOST_1_2, szDevice), amhost.Find(AMHOST_ID_DEVICE));
      PutElementText(out, K3_FIELD(K3_DS_AMHOST_1_2, szText1), amhost.Find(AMHOST_ID_NAME));
      PutElementText(out, K3_FIELD(K3_DS_AMHOST_1_2, szText2), amhost.Find(AMHOST_ID_PIN));
      PutElementText(out, K3_FIELD(K3_DS_AMHOST_1_2, szText3), amhost.Find(AMHOST_ID_SUBSCRIBER_NUMBER));
      out.Byte(K3_AT(K3_DS_AMHOST_1_2, szText4), 0);
      break;
    case DS_AMHOST_6_2_A:  // group name
      PutElementText(out, K3_FIELD(K3_DS_DEVICE_NAME, szName), amhost.Find(AMHOST_ID_NAME));
      break;
    case DS_AMHOST_6_2_B: {  // features: the bit of value 16
      const AMHOST_Element *e = amhost.Find(AMHOST_ID_FEATURES);
      if (!e) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.Byte(K3_AT(K3_DS_AMHOST_6, bFlag), (e->intValue.value & 16) ? 1 : 0);
      break;
    }
    case DS_AMHOST_6_2_C: {  // features2: bit 7, valid only when its validity bit is set
      const AMHOST_Element *e = amhost.Find(AMHOST_ID_FEATURES2);
      if (!e || !e->bits2.GetBit(7)) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.Byte(K3_AT(K3_DS_AMHOST_6, bFlag), e->bits1.GetBit(7) ? 1 : 0);
      break;
    }
    case DS_AMHOST_10_2: {  // server flag: bit 0 of octet 14 of a 16-octet answer
      const AsnOcts &raw = item.RawOctets();
      if (raw.Len() != 16 || !raw.Octs()) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.Byte(K3_AT(K3_DS_FLAG, bFlag), uint8_t(raw.Octs()[14]) & 1);
      break;
    }
    case DS_RESERVED_47:
    case DS_RESERVED_48:
      return;  // never completed here; the dispatcher drops the request
    default: break;  // 0x43, 0x45, 0x46 and every other type: plain success
  }
  ReplyToPending(request, status);
}

void ConvertAmhostRefusal(uint32_t, const PendingRequest &request, const AMHOST &amhost) {
  const AMHOST_Element *cause = amhost.Find(AMHOST_ID_CAUSE);
  int32_t v = cause ? cause->intValue.value : -1;
  ReplyToPending(request, (v == 49 || v == 60 || v == 84) ? K3_RESULT_PBX_REFUSED : K3_RESULT_BAD_VALUE);
}

// ---------------------------------------------------------------------------
// Maintenance answers.

void ConvertMaintReference(uint32_t line, const PendingRequest &request, const MAINT &maint) {
  OutBytes out = Reply(request);
  uint8_t reference = uint8_t(maint.CrossRef());
  // One entry per reference value: a repeated answer adds nothing, so the
  // list never holds more than K3_MAX_REFERENCES.
  static_assert(K3_MAX_REFERENCES == 256, "one entry per one-byte reference");
  auto &references = Line(line).maintSessions;
  if (std::find(references.begin(), references.end(), reference) == references.end()) references.push_back(reference);
  out.Byte(K3_AT(K3_DS_MAINT_KIND3, bReference), reference);
  if (maint.hasDate) {
    out.U16(K3_AT(K3_DS_MAINT_KIND3, wDay), maint.date[0]);
    out.U16(K3_AT(K3_DS_MAINT_KIND3, wMonth), maint.date[1]);
    out.U16(K3_AT(K3_DS_MAINT_KIND3, wYear), WidenYear(maint.date[2]));
  }
  if (maint.hasTime) {
    out.U16(K3_AT(K3_DS_MAINT_KIND3, wHour), maint.time[0]);
    out.U16(K3_AT(K3_DS_MAINT_KIND3, wMinute), maint.time[1]);
    out.U16(K3_AT(K3_DS_MAINT_KIND3, wSecond), maint.time[2]);
  }
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

void ConvertMaintLoopData(uint32_t, const PendingRequest &request, const MAINT &maint) {
  OutBytes out = Reply(request);
  if (const AsnOcts *data = maint.loopData) {
    // The octets first, so that the length byte is what stays in its place
    // even when the data is long enough to reach it.
    for (size_t i = 0; i < data->Len(); ++i) out.Byte(K3_AT(K3_DS_MAINT_KIND1, abData) + i, uint8_t(data->Octs()[i]));
    out.Byte(K3_AT(K3_DS_MAINT_KIND1, bDataLength), uint8_t(data->Len()));
  }
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

void ConvertStateFlag(uint32_t line, const PendingRequest &request, const ACL2 &acl) {
  uint8_t flag = acl.OperationCode() == ACL_ACT_STARTACK ? 1 : 0;
  Line(line).stateFlag = flag;
  Reply(request).U32(K3_AT(K3_DS_ACL2_1_192, dwStateFlag), flag);
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

// ---------------------------------------------------------------------------
// Standard CSTA results.

void ConvertCdrStart(uint32_t line, const PendingRequest &request, bool success,
                     const StartCDRTransmissionResult *result) {
  if (!success || !result) {
    ReplyToPending(request, K3_RESULT_CDR_NOT_STARTED);
    return;
  }
  Line(line).cdrCrossRefId = result->cdrCrossRefID;
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

void ConvertCdrStop(uint32_t line, const PendingRequest &request) {
  Line(line).cdrSession = 0;
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

// Only the first entry of the list counts: its agent identifier and the
// state of its first agent-information entry (0..4 as they are, anything
// else 0xFFFFFFFF).
void ConvertAgentState(uint32_t, const PendingRequest &request, const GetAgentStateResult &result) {
  OutBytes out = Reply(request);
  if (result.agentStateList && result.agentStateList->First()) {
    const AgentStateEntry &entry = result.agentStateList->First()->elmt;
    if (entry.agentID)
      out.Field(K3_FIELD(K3_DS_AGENT_STATE, szAgentId), entry.agentID->Octs(), entry.agentID->Len());
    else
      out.Byte(K3_AT(K3_DS_AGENT_STATE, szAgentId), 0);
    if (entry.agentInfo && entry.agentInfo->First()) {
      int32_t state = entry.agentInfo->First()->elmt.agentState.value;
      out.U32(K3_AT(K3_DS_AGENT_STATE, dwState), (state >= 0 && state <= 4) ? uint32_t(state) : 0xFFFFFFFFu);
    }
  }
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

void ConvertDeviceInfo(uint32_t, const PendingRequest &request, const GetPhysicalDeviceInformationResult &result) {
  uint32_t kind = 0;
  if (result.deviceCategory) {
    switch (result.deviceCategory->value) {
      case 1: kind = 2; break;
      case 2: kind = 1; break;
      case 5: kind = 0; break;
      default: kind = 3; break;
    }
  }
  Reply(request).U32(K3_AT(K3_DS_PHYSICAL_DEVICE_INFO, dwDeviceClass), kind);
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

// ---------------------------------------------------------------------------
// Multi-part list transfer.

namespace {

// Asks the PBX for the next part: an AMHOST 7/2 with third value 7, as the
// answer (invoke id 0) to the PBX's invocation, or as a new untracked
// invocation when the part came as a result.
void RequestNextPart(uint32_t line, bool fromInvocation) {
  CSTAMsg msg;
  if (fromInvocation) {
    BuildEscapeResult(msg, ACL_APP_AMHOST, ACL_ACT_AINFO)->SetAmhost(new AMHOST(7, 2, 7));
    WritePrivateOctets(msg);
    SendWithInvokeId(line, msg, nullptr, 0);
  } else {
    BuildEscapeInvoke(msg, ACL_APP_AMHOST, ACL_ACT_AINFO)->SetAmhost(new AMHOST(7, 2, 7));
    WritePrivateOctets(msg);
    SendRequest(line, msg, nullptr, 0);
  }
}

}  // namespace

void ConvertListPart(uint32_t line, const AMHOST &amhost, bool fromInvocation, uint32_t) {
  LineState &state = Line(line);
  EventDataRecord *list = FindEventData(line, state.listQueryHandle);
  if (!list || list->Type() != kListRecordType) return;
  for (const AMHOST_Element &e : amhost.elements) {
    if (e.id != AMHOST_ID_DEVICE) continue;
    if (list->texts.size() >= K3_MAX_LIST_ENTRIES) {
      ReportLimitOnce(line, kLimitListEntries, "List answer cut: the list holds the most entries it can count");
      break;
    }
    list->texts.push_back(CText(e.octsValue).substr(0, K3_DEVICE_LEN - 1));
    list->SetU16(EventDataRecord::kListCount, uint16_t(list->texts.size()));
  }
  if (amhost.Third() != 2) {
    RequestNextPart(line, fromInvocation);
    return;
  }
  // The list is complete: the handle is free for the next query, whether or
  // not the query itself is tracked.
  state.listQueryHandle = 0;
  auto query = FindPending(line, list->U32(EventDataRecord::kListInvokeId));
  if (query == state.pending.end()) return;
  const PendingRequest answered = *query;
  uint16_t count = list->U16(EventDataRecord::kListCount);
  OutBytes out = Reply(answered);
  out.U32(K3_AT(K3_DS_AMHOST_7_2, dwSequence), list->Sequence());
  out.U16(K3_AT(K3_DS_AMHOST_7_2, wCount), count);
  out.U32(K3_AT(K3_DS_AMHOST_7_2, dwNeeded),
          uint32_t(K3_WIDTH(K3_DS_GET_STORED_LIST, szEntry[0]) * count + K3_AT(K3_DS_GET_STORED_LIST, szEntry)));
  // Off the list (so the sweep cannot complete it again) before the host
  // hears of it: its reply callback may reset the line or start the next query.
  state.pending.erase(query);
  SendReply(answered.line, answered.requestId, K3_RESULT_SUCCESS);
}

// ---------------------------------------------------------------------------

const InboundConverters &BridgeConverters() {
  static const InboundConverters table = {
      ConvertAmhostResult,  ConvertAmhostRefusal, ConvertMaintReference, ConvertMaintLoopData,
      ConvertStateFlag,     ConvertCdrStart,      ConvertCdrStop,        ConvertAgentState,
      ConvertDeviceInfo,    ConvertListPart,      RaiseReferenceEvent,   OnStartDataPath,
      OnSendData,           OnStopDataPath,       OnCdrReport,           OnAgentEvent,
      OnMonitoredAgentEvent,
  };
  return table;
}

void RegisterInboundConverters() { SetInboundConverters(&BridgeConverters()); }

}  // namespace k3
