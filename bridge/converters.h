// Converters from what the PBX sends to what TAPI receives: the answers that
// complete pending device-specific requests (written into the caller's own
// structure, then completed through the reply callback) and the unsolicited
// events (stored event-data records and line events, see bridge/events.h).
#ifndef K3_BRIDGE_CONVERTERS_H
#define K3_BRIDGE_CONVERTERS_H

#include <cstdint>

#include "link/inbound.h"

namespace k3 {

// The converter table of the bridge, and its registration with the inbound
// dispatcher (done once at start-up; calling it again is harmless).
const InboundConverters &BridgeConverters();
void RegisterInboundConverters();

// Answers to pending requests; each completes the request once unless noted.
void ConvertAmhostResult(uint32_t line, const PendingRequest &request, const CSTA3V6::PrivateDataChoiceSeq &item,
                         const CSTA3V6::AMHOST &amhost);
void ConvertAmhostRefusal(uint32_t line, const PendingRequest &request, const CSTA3V6::AMHOST &amhost);
void ConvertMaintReference(uint32_t line, const PendingRequest &request, const CSTA3V6::MAINT &maint);
void ConvertMaintLoopData(uint32_t line, const PendingRequest &request, const CSTA3V6::MAINT &maint);
void ConvertStateFlag(uint32_t line, const PendingRequest &request, const CSTA3V6::ACL2 &acl);
void ConvertCdrStart(uint32_t line, const PendingRequest &request, bool success,
                     const CSTA3V6::StartCDRTransmissionResult *result);
void ConvertCdrStop(uint32_t line, const PendingRequest &request);
void ConvertAgentState(uint32_t line, const PendingRequest &request, const CSTA3V6::GetAgentStateResult &result);
void ConvertDeviceInfo(uint32_t line, const PendingRequest &request,
                       const CSTA3V6::GetPhysicalDeviceInformationResult &result);
// One part of a multi-part list answer (AMHOST 7/2) collected into the line's
// list record; the last part completes the list query, any other asks the
// PBX for the next part.
void ConvertListPart(uint32_t line, const CSTA3V6::AMHOST &amhost, bool fromInvocation, uint32_t invokeId);

}  // namespace k3

#endif
