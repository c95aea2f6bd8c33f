// Unsolicited messages of the PBX turned into TAPI line events: agent state
// changes, the data paths the PBX opens towards the library (with the answers
// the PBX expects), CDR reports and maintenance reference events.
//
// An event either stores a 432-byte event-data record (types 0x32, 0x81 and
// 0x94) and raises a 12-byte header carrying its sequence number, or raises
// a header only (0x13, 0x92, 0x96). The layouts of records and headers are
// the K3_EVENT_... structures of kestrel3_structures.h. Without an event callback nothing is
// stored or raised; the answers to the PBX are sent all the same.
//
// Choices made where the PBX's protocol leaves room:
//  - The CDR time stamp at 24..35 is recordCreationTime (GeneralizedTime
//    "YYYYMMDDhhmmss...") as six little-endian u16: year, month, day, hour,
//    minute, second; a group that is not all digits stops the conversion and
//    leaves it and the following ones 0.
//  - The charging entry: for currency units the currency type, amount and
//    multiplier; for charge units the first entry's type of units and count
//    (no enumerated value: 0). A multiplier above 6 (or below 0) is written
//    as 0xFFFFFFFF.
//  - A CDR report without any CDRInformationItem still stores and raises a
//    record (all fields empty) so that TAPI can answer the report.
//  - sendData and stopDataPath naming a cross reference that is not open are
//    ignored: no answer, no event.
//  - The value of private element 3 for the 0x92 event is the first number
//    (TDS cause) of the PrivTDS element.
#ifndef K3_BRIDGE_EVENTS_H
#define K3_BRIDGE_EVENTS_H

#include <cstdint>

#include "csta3_model.h"
#include "csta3/private/private_data.h"

namespace k3 {

void OnAgentEvent(uint32_t line, const CSTA3V6::LogicalDeviceFeatureEvents &event, const CSTA3V6::AsnOcts &crossRefId);
void OnMonitoredAgentEvent(uint32_t line, const CSTA3V6::LogicalDeviceFeatureEvents &event,
                           const CSTA3V6::AsnOcts &crossRefId);
void OnStartDataPath(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
void OnSendData(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
void OnStopDataPath(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
void OnCdrReport(uint32_t line, const CSTA3V6::ROIVapdu &invoke);
void RaiseReferenceEvent(uint32_t line, const CSTA3V6::MAINT &maint);

}  // namespace k3

#endif
