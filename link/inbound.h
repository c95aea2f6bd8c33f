// The inbound dispatcher: every CSTA message the PBX link hands to the library
// ends here. Invocations by the PBX (private escapes, data-path operations,
// event reports, CDR reports) go to the event converters; results, errors and
// rejects are matched to the line's pending requests by invoke id and go to
// the result converters, and answered requests are removed from the list.
//
// The link layer does not know the TAPI structures, so it reaches the
// converters through one narrow interface: the table InboundConverters, which
// the bridge fills and registers once with SetInboundConverters. Each entry
// may be null; a null entry means the conversion is skipped (the dispatcher's
// own bookkeeping - pending-list removal - still happens). The table must
// outlive every later dispatch. The converters receive a copy of the pending request
// they answer (its block is the caller's structure) and the already-checked
// parts of the message; they complete the request themselves through
// SendReply / ReplyToPending and must not remove it from the pending list
// unless they say so below.
#ifndef K3_LINK_INBOUND_H
#define K3_LINK_INBOUND_H

#include <cstdint>

#include "csta3_model.h"
#include "csta3_names.h"
#include "csta3/private/private_data.h"
#include "link/engine.h"

namespace k3 {

struct InboundConverters {
  // ---- Answers to pending requests ----
  // An escape result carrying an AMHOST (selector 2, action 196) that is not a
  // refusal and not part of a list transfer; the bridge decides by the
  // request's structure type. item is the PBX's private-data item.
  void (*amhostResult)(uint32_t line, const PendingRequest &request, const CSTA3V6::PrivateDataChoiceSeq &item,
                       const CSTA3V6::AMHOST &amhost);
  // An AMHOST answer whose third value is 3 (the PBX refused).
  void (*amhostRefusal)(uint32_t line, const PendingRequest &request, const CSTA3V6::AMHOST &amhost);
  // MAINT answers: alternative 2 for a request whose answer kind is
  // kMaintReference, alternative 1 for kMaintLoopData.
  void (*maintReference)(uint32_t line, const PendingRequest &request, const CSTA3V6::MAINT &maint);
  void (*maintLoopData)(uint32_t line, const PendingRequest &request, const CSTA3V6::MAINT &maint);
  // Selector 1 answer to a request of answer kind kStateFlag.
  void (*stateFlag)(uint32_t line, const PendingRequest &request, const CSTA3V6::ACL2 &acl);
  // CDR transmission start (answer kind kCdrStart): result is null (and
  // success false) on an error or reject.
  void (*cdrStart)(uint32_t line, const PendingRequest &request, bool success,
                   const CSTA3V6::StartCDRTransmissionResult *result);
  void (*cdrStop)(uint32_t line, const PendingRequest &request);
  void (*agentState)(uint32_t line, const PendingRequest &request, const CSTA3V6::GetAgentStateResult &result);
  void (*deviceInfo)(uint32_t line, const PendingRequest &request,
                     const CSTA3V6::GetPhysicalDeviceInformationResult &result);
  // A part of a multi-part list (AMHOST 7/2), from an escape invocation
  // (fromInvocation true, invokeId = that invocation's id) or from an escape
  // result. It may complete and remove the pending request of the list query.
  void (*listTransfer)(uint32_t line, const CSTA3V6::AMHOST &amhost, bool fromInvocation, uint32_t invokeId);

  // ---- Invocations by the PBX ----
  // An escape invocation whose MAINT has alternative 2.
  void (*referenceEvent)(uint32_t line, const CSTA3V6::MAINT &maint);
  void (*startDataPath)(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
  void (*sendData)(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
  void (*stopDataPath)(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
  void (*cdrReport)(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
  // Logical device feature events of a known monitor: the general converter,
  // and the one for the agent registered with the monitor (logged on/off).
  void (*agentEvent)(uint32_t line, const CSTA3V6::LogicalDeviceFeatureEvents &event,
                     const CSTA3V6::AsnOcts &crossRefId);
  void (*monitoredAgentEvent)(uint32_t line, const CSTA3V6::LogicalDeviceFeatureEvents &event,
                              const CSTA3V6::AsnOcts &crossRefId);
};

// Registers the converter table (null: none). Not copied: it must stay alive.
void SetInboundConverters(const InboundConverters *table);
const InboundConverters *GetInboundConverters();

// Handles one inbound message (may be null). Always returns 1.
int32_t DispatchInbound(uint32_t line, const CSTA3V6::CSTAMsg *msg);

// The PBX's private-data item in one CSTAPrivateData: alternative 1, holding
// alternative 0 with an item marked with the PBX's identifier; else null.
const CSTA3V6::PrivateDataChoiceSeq *PbxItemOf(const CSTA3V6::CSTAPrivateData *data);
// The same for a private-data list, which must hold exactly one element.
const CSTA3V6::PrivateDataChoiceSeq *PbxItemOf(const CSTA3V6::AsnList<CSTA3V6::CSTAPrivateData> *list);
// The private-data list of common arguments (null when absent).
const CSTA3V6::PrivateDataChoiceSeq *PbxItemOf(const CSTA3V6::CSTACommonArguments *extensions);

}  // namespace k3

#endif
