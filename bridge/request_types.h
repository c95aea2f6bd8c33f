// The device-specific request types, one row each:
//   X(name, size, encoder, line, answer)
// name     the type's DS_ name without the prefix; DS_<name> is its code
// size     the exact dwSize it demands (K3_SIZE_...), or K3_ANY_SIZE
// encoder  the function that builds and sends its request (or answers it)
// line     Caller: sent on the caller's line; Zero: on line 0 whatever the
//          caller named; Local: answered from data the library holds
// answer   what the inbound dispatcher must know to route the PBX's answer
//          (AnswerKind in link/engine.h)
//
// The dispatcher checks the size and picks the line before the encoder runs.
// The table needs nothing but the public structures, so that programs that
// only need the names and sizes (kRequestTypeNames below) do not link the
// bridge.
#ifndef K3_BRIDGE_REQUEST_TYPES_H
#define K3_BRIDGE_REQUEST_TYPES_H

#include "kestrel3_structures.h"

#define K3_ANY_SIZE 0

#define K3_REQUEST_TYPES(X)                                                                      \
  X(MAINT_KIND3, K3_SIZE_MAINT_KIND3, EncMaintReference, Caller, MaintReference)                 \
  X(MAINT_KIND4, K3_SIZE_MAINT_KIND4, EncMaintClose, Caller, General)                            \
  X(MAINT_KIND1, K3_SIZE_MAINT_KIND1, EncMaintLoopback, Caller, MaintLoopData)                   \
  X(START_CDR_TRANSMISSION, K3_ANY_SIZE, EncStartCdr, Caller, CdrStart)                          \
  X(CDR_REPORT_RESULT, K3_ANY_SIZE, EncCdrAnswerSummary, Caller, General)                        \
  X(STOP_CDR_TRANSMISSION, K3_SIZE_STOP_CDR_TRANSMISSION, EncStopCdr, Caller, General)           \
  X(CDR_REPORT_RESULT_2, K3_ANY_SIZE, EncCdrAnswerRaw, Caller, General)                          \
  X(AMHOST_8_2, K3_SIZE_AMHOST_8, EncQueryTime, Caller, General)                                 \
  X(AMHOST_8_8, K3_SIZE_AMHOST_8, EncSetTime, Caller, General)                                   \
  X(AMHOST_10_7_8, K3_SIZE_AMHOST_10, EncSwitchServer, Caller, General)                          \
  X(AMHOST_10_2, K3_SIZE_AMHOST_10, EncQueryServer, Caller, General)                             \
  X(PRIVATE_TLV_LIST, K3_SIZE_PRIVATE_TLV_LIST, EncPrivateList, Caller, General)                 \
  X(ACL2_240, K3_SIZE_ACL2_240, EncTracer, Caller, General)                                      \
  X(RESERVED_47, K3_ANY_SIZE, EncReserved, Caller, General)                                      \
  X(RESERVED_48, K3_ANY_SIZE, EncReserved, Caller, General)                                      \
  X(AMHOST_1_2, K3_SIZE_AMHOST_1_2, EncQueryStation, Zero, General)                              \
  X(AMHOST_1_1_A, K3_SIZE_AMHOST_1_1, EncSetStationName, Zero, General)                          \
  X(AMHOST_1_1_B, K3_SIZE_AMHOST_1_1, EncSetStationPin, Zero, General)                           \
  X(AMHOST_2_4_A, K3_SIZE_AMHOST_2_4_A, EncSetSwitchMode, Zero, General)                         \
  X(AMHOST_2_4_B, K3_SIZE_AMHOST_2_4_B, EncSetSwitchModeAndCos, Zero, General)                   \
  X(AMHOST_7_2, K3_SIZE_AMHOST_7_2, EncListQuery, Zero, General)                                 \
  X(GET_STORED_LIST, K3_SIZE_GET_STORED_LIST, EncFetchList, Local, General)                      \
  X(AMHOST_7_5_A, K3_SIZE_AMHOST_7_5, EncDevicePair, Zero, General)                              \
  X(AMHOST_7_5_B, K3_SIZE_AMHOST_7_5, EncDevicePair, Zero, General)                              \
  X(AMHOST_7_5_C, K3_SIZE_AMHOST_7_5, EncDevicePair, Zero, General)                              \
  X(AMHOST_6_2_A, K3_SIZE_AMHOST_6_2_A, EncQueryGroupName, Zero, General)                        \
  X(AMHOST_6_1_A, K3_SIZE_AMHOST_6_SHORT, EncSetFeatures, Caller, General)                       \
  X(AMHOST_6_2_B, K3_SIZE_AMHOST_6_SHORT, EncQueryFeatures, Caller, General)                     \
  X(AMHOST_6_2_C, K3_SIZE_AMHOST_6_SHORT, EncQueryFeatures, Caller, General)                     \
  X(AMHOST_6_1_B, K3_SIZE_AMHOST_6_SHORT, EncSetFeatures2, Caller, General)                      \
  X(AMHOST_6_1_C, K3_SIZE_AMHOST_6_1_C, EncSetBothFeatures, Caller, General)                     \
  X(GET_AGENT_STATE, K3_SIZE_AGENT_STATE, EncGetAgentState, Zero, General)                       \
  X(SET_AGENT_STATE, K3_SIZE_AGENT_STATE, EncSetAgentState, Zero, General)                       \
  X(GET_STORED_RECORD, K3_ANY_SIZE, EncFetchAgentRecord, Local, General)                         \
  X(ACL2_1_192, K3_SIZE_ACL2_1_192, EncStartTds, Caller, StateFlag)                              \
  X(SEND_DATA, K3_SIZE_SEND_DATA, EncSendData, Caller, General)                                  \
  X(GET_STORED_RECORD_2, K3_ANY_SIZE, EncFetchDataRecord, Local, General)                        \
  X(GET_PHYSICAL_DEVICE_INFO, K3_SIZE_PHYSICAL_DEVICE_INFO, EncPhysicalDeviceInfo, Zero, General)

#ifdef __cplusplus
#include <cstdint>

namespace k3 {

// The code, name and size of every type, for programs that do not link the
// bridge (the scenario runner).
struct RequestTypeName {
  uint16_t code;
  const char *name;  // without the DS_ prefix
  uint32_t size;     // K3_ANY_SIZE for any size of 2 or more
};
#define K3_REQUEST_TYPE_NAME(name, size, encoder, line, answer) {DS_##name, #name, size},
inline constexpr RequestTypeName kRequestTypeNames[] = {K3_REQUEST_TYPES(K3_REQUEST_TYPE_NAME)};
#undef K3_REQUEST_TYPE_NAME

}  // namespace k3
#endif

#endif
