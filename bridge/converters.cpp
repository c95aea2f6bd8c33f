#include "bridge/converters.h"

#include <cstring>
#include <string>

#include "bridge/convert_util.h"
#include "bridge/events.h"
#include "kestrel3.h"
#include "kestrel3_structures.h"
#include "link/request.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

OutBytes Reply(const PendingRequest &r) { return OutBytes{r.block, r.block ? r.size : 0}; }

// Writes the octets of an element (kinds 2 and 4) as a NUL-terminated text.
void PutElementText(const OutBytes &out, size_t at, const AMHOST_Element *e) {
  if (e) out.Text(at, e->octsValue.Octs(), e->octsValue.Len());
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
      const AMHOST_Element *e = amhost.Find(248);
      if (!e) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.U16(2, e->triple[0]);
      out.U16(4, e->triple[1]);
      out.U16(6, e->triple[2]);
      break;
    }
    case DS_AMHOST_1_2:  // station data: device, name, PIN, number
      PutElementText(out, 2, amhost.Find(211));
      PutElementText(out, 11, amhost.Find(163));
      PutElementText(out, 44, amhost.Find(165));
      PutElementText(out, 77, amhost.Find(162));
      out.Byte(110, 0);
      break;
    case DS_AMHOST_6_2_A:  // group name
      PutElementText(out, 11, amhost.Find(163));
      break;
    case DS_AMHOST_6_2_B: {  // features: the bit of value 16
      const AMHOST_Element *e = amhost.Find(230);
      if (!e) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.Byte(11, (e->intValue.value & 16) ? 1 : 0);
      break;
    }
    case DS_AMHOST_6_2_C: {  // features2: bit 7, valid only when its validity bit is set
      const AMHOST_Element *e = amhost.Find(231);
      if (!e || !e->bits2.GetBit(7)) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.Byte(11, e->bits1.GetBit(7) ? 1 : 0);
      break;
    }
    case DS_AMHOST_10_2: {  // server flag: bit 0 of octet 14 of a 16-octet answer
      const AsnOcts &raw = item.RawOctets();
      if (raw.Len() != 16 || !raw.Octs()) {
        status = K3_RESULT_ANSWER_INVALID;
        break;
      }
      out.Byte(2, uint8_t(raw.Octs()[14]) & 1);
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
  const AMHOST_Element *cause = amhost.Find(173);
  int32_t v = cause ? cause->intValue.value : -1;
  ReplyToPending(request, (v == 49 || v == 60 || v == 84) ? K3_RESULT_PBX_REFUSED : K3_RESULT_BAD_VALUE);
}

// ---------------------------------------------------------------------------
// Maintenance answers.

void ConvertMaintReference(uint32_t line, const PendingRequest &request, const MAINT &maint) {
  OutBytes out = Reply(request);
  uint8_t reference = uint8_t(maint.CrossRef());
  Line(line).maintSessions.push_back(reference);
  out.Byte(4, reference);
  if (maint.hasDate) {
    out.U16(5, maint.date[0]);
    out.U16(7, maint.date[1]);
    out.U16(9, WidenYear(maint.date[2]));
  }
  if (maint.hasTime) {
    out.U16(11, maint.time[0]);
    out.U16(13, maint.time[1]);
    out.U16(15, maint.time[2]);
  }
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

void ConvertMaintLoopData(uint32_t, const PendingRequest &request, const MAINT &maint) {
  OutBytes out = Reply(request);
  if (const AsnOcts *data = maint.loopData) {
    // The octets first, so that the length byte is what stays at 53 even when
    // the data is long enough to reach it.
    for (size_t i = 0; i < data->Len(); ++i) out.Byte(2 + i, uint8_t(data->Octs()[i]));
    out.Byte(53, uint8_t(data->Len()));
  }
  ReplyToPending(request, K3_RESULT_SUCCESS);
}

void ConvertStateFlag(uint32_t line, const PendingRequest &request, const ACL2 &acl) {
  uint8_t flag = acl.OperationCode() == ACL_ACT_STARTACK ? 1 : 0;
  Line(line).stateFlag = flag;
  Reply(request).U32(2, flag);
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

// Only the first entry of the list counts: its agent identifier at 15 and
// the state of its first agent-information entry at 11 (0..4 as they are,
// anything else 0xFFFFFFFF).
void ConvertAgentState(uint32_t, const PendingRequest &request, const GetAgentStateResult &result) {
  OutBytes out = Reply(request);
  if (result.agentStateList && result.agentStateList->First()) {
    const AgentStateEntry &entry = result.agentStateList->First()->elmt;
    if (entry.agentID)
      out.Text(15, entry.agentID->Octs(), entry.agentID->Len());
    else
      out.Byte(15, 0);
    if (entry.agentInfo && entry.agentInfo->First()) {
      int32_t state = entry.agentInfo->First()->elmt.agentState.value;
      out.U32(11, (state >= 0 && state <= 4) ? uint32_t(state) : 0xFFFFFFFFu);
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
  Reply(request).U32(11, kind);
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
    SendWithInvokeId(line, msg, nullptr, 0);
  } else {
    BuildEscapeInvoke(msg, ACL_APP_AMHOST, ACL_ACT_AINFO)->SetAmhost(new AMHOST(7, 2, 7));
    SendRequest(line, msg, nullptr, 0);
  }
}

}  // namespace

void ConvertListPart(uint32_t line, const AMHOST &amhost, bool fromInvocation, uint32_t) {
  LineState &state = Line(line);
  EventDataRecord *list = FindEventData(line, state.listQueryHandle);
  if (!list || list->Type() != kListRecordType) return;
  for (const AMHOST_Element &e : amhost.elements) {
    if (e.id != 211) continue;
    list->texts.push_back(CText(e.octsValue));
    list->SetU16(EventDataRecord::kListCount, uint16_t(list->U16(EventDataRecord::kListCount) + 1));
  }
  if (amhost.Third() != 2) {
    RequestNextPart(line, fromInvocation);
    return;
  }
  auto query = FindPending(line, list->U32(EventDataRecord::kListInvokeId));
  if (query == state.pending.end()) return;
  const PendingRequest answered = *query;
  uint16_t count = list->U16(EventDataRecord::kListCount);
  OutBytes out = Reply(answered);
  out.U32(11, list->Sequence());
  out.U16(15, count);
  out.U32(17, 9u * count + 8u);
  // Off the list (so the sweep cannot complete it again) and the handle free
  // before the host hears of it: its reply callback may reset the line or
  // start the next query.
  state.pending.erase(query);
  state.listQueryHandle = 0;
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
