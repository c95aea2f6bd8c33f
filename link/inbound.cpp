#include "link/inbound.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

const InboundConverters *g_converters = nullptr;

// ---------------------------------------------------------------------------
// Invocations by the PBX.

void OnEscapeInvoke(uint32_t line, const ROIVapdu &roiv, const InboundConverters *cv) {
  const auto *arg = dynamic_cast<const EscapeArgument *>(roiv.argument);
  if (!arg) return;
  const PrivateDataChoiceSeq *item = PbxItemOf(arg->privateData);
  if (!item) return;
  const ACL2 *acl = item->Acl();
  if (!acl) return;
  if (acl->Selector() == ACL_APP_MAINT) {
    if (acl->OperationCode() != ACL_ACT_AINFO || !acl->maint) return;
    if (acl->maint->Alternative() == 2 && cv && cv->referenceEvent) cv->referenceEvent(line, *acl->maint);
  } else if (acl->Selector() == ACL_APP_AMHOST) {
    const AMHOST *amhost = acl->amhost;
    if (!amhost) return;
    if (amhost->Type() == 7 && amhost->Subtype() == 2 && cv && cv->listTransfer)
      cv->listTransfer(line, *amhost, true, static_cast<uint32_t>(roiv.invokeID.value));
  }
}

// Does the event's agent identifier match the text stored with the monitor?
// Up to nine octets of the identifier are compared with the stored text.
bool AgentMatches(const AgentID *agent, const MonitorEntry &monitor) {
  if (!agent) return false;
  size_t n = agent->Len() < 9 ? agent->Len() : 9;
  char buffer[9] = {};
  if (n) std::memcpy(buffer, agent->Octs(), n);
  return std::memcmp(buffer, monitor.device, n) == 0;
}

const AgentID *LoggedOnOffAgent(const LogicalDeviceFeatureEvents &ev) {
  if (ev.choiceId == LogicalDeviceFeatureEvents::agentLoggedOnCid) return ev.agentLoggedOn->agentID;
  if (ev.choiceId == LogicalDeviceFeatureEvents::agentLoggedOffCid) return ev.agentLoggedOff->agentID;
  return nullptr;
}

void OnEventReport(uint32_t line, const ROIVapdu &roiv, const InboundConverters *cv) {
  const auto *arg = dynamic_cast<const CSTAEventReportArgument *>(roiv.argument);
  if (!arg || !arg->eventSpecificInfo) return;
  const EventSpecificInfo &info = *arg->eventSpecificInfo;
  if (info.choiceId != EventSpecificInfo::logicalDeviceFeatureEventsCid || !info.logicalDeviceFeatureEvents) return;
  const MonitorCrossRefID &xref = arg->crossRefIdentifier;
  const MonitorEntry *monitor = FindMonitorByCrossRef(line, xref.Octs(), xref.Len());
  if (!monitor) return;
  const LogicalDeviceFeatureEvents &ev = *info.logicalDeviceFeatureEvents;
  if (!ev.alternative) return;
  AsnOcts crossRef(xref);
  bool monitoredAgent = (ev.choiceId == LogicalDeviceFeatureEvents::agentLoggedOnCid ||
                         ev.choiceId == LogicalDeviceFeatureEvents::agentLoggedOffCid) &&
                        AgentMatches(LoggedOnOffAgent(ev), *monitor);
  if (!cv) return;
  if (monitoredAgent) {
    if (cv->monitoredAgentEvent) cv->monitoredAgentEvent(line, ev, crossRef);
  } else if (cv->agentEvent) {
    cv->agentEvent(line, ev, crossRef);
  }
}

void OnInvoke(uint32_t line, const ROIVapdu &roiv, const InboundConverters *cv) {
  switch (roiv.operation_value.value) {
    case kOpEscape: OnEscapeInvoke(line, roiv, cv); break;
    case kOpStartDataPath:
      if (roiv.argument && cv && cv->startDataPath) cv->startDataPath(line, roiv);
      break;
    case kOpSendData:
      if (roiv.argument && cv && cv->sendData) cv->sendData(line, roiv);
      break;
    case kOpStopDataPath:
      if (roiv.argument && cv && cv->stopDataPath) cv->stopDataPath(line, roiv);
      break;
    case kOpCSTAEventReport: OnEventReport(line, roiv, cv); break;
    case kOpCDRReport:
      if (roiv.argument && cv && cv->cdrReport) cv->cdrReport(line, roiv);
      break;
    default: break;
  }
}

// ---------------------------------------------------------------------------
// Answers to the library's own requests.

bool InvokeIdInRange(int32_t id) {
  return id >= static_cast<int32_t>(kFirstInvokeId) && id <= static_cast<int32_t>(kLastInvokeId);
}

// An error or reject: the request fails (0xC0000010 for a CDR start).
// An error or reject for the list query: the PBX sends no list, so its
// collecting record goes and the handle is free for the next query.
void EndFailedListQuery(uint32_t line, uint32_t invokeId) {
  LineState &s = Line(line);
  if (s.listQueryHandle == 0) return;
  const EventDataRecord *list = FindEventData(line, s.listQueryHandle);
  if (list && list->U32(EventDataRecord::kListInvokeId) == invokeId) RemoveEventData(line, s.listQueryHandle);
}

void OnFailure(uint32_t line, uint32_t invokeId, const InboundConverters *cv) {
  EndFailedListQuery(line, invokeId);
  auto it = FindPending(line, invokeId);
  if (it == Line(line).pending.end()) return;
  // A copy: the reply callback may reset the line or answer other requests.
  const PendingRequest request = *it;
  if (request.answer == AnswerKind::kCdrStart) {
    if (cv && cv->cdrStart)
      cv->cdrStart(line, request, false, nullptr);
    else
      ReplyToPending(request, K3_RESULT_CDR_NOT_STARTED);
  } else {
    ReplyToPending(request, K3_RESULT_ROSE_ERROR);
  }
  RemovePending(line, request.serial);
}

// The private-data routing of an escape result. Returns false when the
// answer does not fit, in which case the request stays pending.
bool OnEscapeResult(uint32_t line, const PendingRequest &request, const AsnType *resultObject,
                    const InboundConverters *cv) {
  const auto *result = dynamic_cast<const EscapeResult *>(resultObject);
  if (!result || result->choiceId != EscapeResult::extensionsCid || !result->extensions) return false;
  const PrivateDataChoiceSeq *item = PbxItemOf(result->extensions->privateData);
  if (!item) return false;
  const ACL2 *acl = item->Acl();
  if (!acl) return false;
  switch (acl->Selector()) {
    case ACL_APP_MAINT: {
      if (acl->OperationCode() != ACL_ACT_AINFO || !acl->maint) return false;
      const MAINT &maint = *acl->maint;
      if (maint.Alternative() == 2) {
        if (request.answer != AnswerKind::kMaintReference) return false;
        if (cv && cv->maintReference) cv->maintReference(line, request, maint);
      } else if (maint.Alternative() == 1) {
        if (request.answer != AnswerKind::kMaintLoopData) return false;
        if (cv && cv->maintLoopData) cv->maintLoopData(line, request, maint);
      }
      return true;
    }
    case ACL_APP_AMHOST: {
      if (acl->OperationCode() != ACL_ACT_AINFO || !acl->amhost) return false;
      const AMHOST &amhost = *acl->amhost;
      if (amhost.Third() == 3) {
        if (cv && cv->amhostRefusal) cv->amhostRefusal(line, request, amhost);
      } else if (!(amhost.Type() == 7 && amhost.Subtype() == 2)) {
        if (cv && cv->amhostResult) cv->amhostResult(line, request, *item, amhost);
      } else if (cv && cv->listTransfer) {
        cv->listTransfer(line, amhost, false, request.invokeId);
      }
      return true;
    }
    case ACL_APP_TDS:
      if (request.answer == AnswerKind::kStateFlag && cv && cv->stateFlag) cv->stateFlag(line, request, *acl);
      return true;
    default: return true;
  }
}

void OnResult(uint32_t line, const RORSapdu &rors, const InboundConverters *cv) {
  auto &pending = Line(line).pending;
  uint32_t invokeId = static_cast<uint32_t>(rors.invokeID.value);
  if (!rors.result) {
    // Only the oldest request is looked at, and it stays listed.
    if (!pending.empty() && pending.front().invokeId == invokeId) {
      const PendingRequest first = pending.front();
      ReplyToPending(first, 0);
    }
    return;
  }
  auto it = FindPending(line, invokeId);
  if (it == pending.end()) return;
  // The converters get a copy: their reply callback may reset the line, start
  // requests or dispatch further answers, which would free the listed entry.
  const PendingRequest request = *it;
  const AsnType *result = rors.result->result;
  switch (rors.result->operation_value.value) {
    case kOpEscape:
      if (!OnEscapeResult(line, request, result, cv)) return;
      break;
    case kOpSendData:
    case kOpSetAgentState:
      if (result) ReplyToPending(request, 0);
      break;
    case kOpStartCDRTransmission:
      if (const auto *r = dynamic_cast<const StartCDRTransmissionResult *>(result))
        if (cv && cv->cdrStart) cv->cdrStart(line, request, true, r);
      break;
    case kOpStopCDRTransmission:
      if (result && cv && cv->cdrStop) cv->cdrStop(line, request);
      break;
    case kOpGetAgentState:
      if (const auto *r = dynamic_cast<const GetAgentStateResult *>(result))
        if (cv && cv->agentState) cv->agentState(line, request, *r);
      break;
    case kOpGetPhysicalDeviceInformation:
      if (const auto *r = dynamic_cast<const GetPhysicalDeviceInformationResult *>(result))
        if (cv && cv->deviceInfo) cv->deviceInfo(line, request, *r);
      break;
    default: break;
  }
  RemovePending(line, request.serial);
}

}  // namespace

void SetInboundConverters(const InboundConverters *table) { g_converters = table; }
const InboundConverters *GetInboundConverters() { return g_converters; }

const PrivateDataChoiceSeq *PbxItemOf(const CSTAPrivateData *data) {
  if (!data || data->choiceId != CSTAPrivateData::privateCid || !data->private_) return nullptr;
  const PrivateDataChoice &choice = *data->private_;
  if (choice.choiceId != PrivateDataChoice::comPrivateDataCid || !choice.comPrivateData) return nullptr;
  return choice.comPrivateData->IsPbxData() ? choice.comPrivateData : nullptr;
}

const PrivateDataChoiceSeq *PbxItemOf(const AsnList<CSTAPrivateData> *list) {
  if (!list || list->Count() != 1 || !list->First()) return nullptr;
  return PbxItemOf(&list->First()->elmt);
}

const PrivateDataChoiceSeq *PbxItemOf(const CSTACommonArguments *extensions) {
  return extensions ? PbxItemOf(extensions->privateData) : nullptr;
}

namespace {

void Dispatch(uint32_t line, const CSTAMsg *msg) {
  if (!msg || msg->choiceId != CSTAMsg::rOSECid || !msg->rOSE) return;
  const ROSEapdus &rose = *msg->rOSE;
  if (!rose.alternative) return;
  const InboundConverters *cv = g_converters;
  switch (rose.choiceId) {
    case ROSEapdus::roiv_apduCid: OnInvoke(line, *rose.roiv_apdu, cv); break;
    case ROSEapdus::rors_apduCid:
      if (InvokeIdInRange(rose.rors_apdu->invokeID.value)) OnResult(line, *rose.rors_apdu, cv);
      break;
    case ROSEapdus::roer_apduCid:
      if (InvokeIdInRange(rose.roer_apdu->invokeID.value))
        OnFailure(line, static_cast<uint32_t>(rose.roer_apdu->invokeID.value), cv);
      break;
    case ROSEapdus::rorj_apduCid: {
      const RORJapduChoice *id = rose.rorj_apdu->invokeID;
      if (id && id->choiceId == RORJapduChoice::presentCid && id->present && InvokeIdInRange(id->present->value))
        OnFailure(line, static_cast<uint32_t>(id->present->value), cv);
      break;
    }
    default: break;
  }
}

}  // namespace

int32_t DispatchInbound(uint32_t line, const CSTAMsg *msg) {
  // Runs on the host's thread: nothing may escape to it. A failed allocation
  // drops the rest of the message like any other message that does not fit.
  try {
    Dispatch(line, msg);
  } catch (...) {
  }
  return 1;
}

}  // namespace k3
