// The handlers the worker thread and the exports call. The library links one
// implementation of each: hooks_link.cpp in the shipped library, the tests'
// probe build its own.
#ifndef K3_BOUNDARY_HOOKS_H
#define K3_BOUNDARY_HOOKS_H

#include <cstdint>

#include "asn/asn_octs.h"

namespace k3b {

// Drops the line's pending requests, stored event data and per-line state.
void HookLineReset(uint32_t line);
// One device-specific request on the worker thread (message 1026).
void HookDeviceSpecificRequest(uint32_t line, uint32_t requestId, void *block, uint32_t size);
// The monitor registry (messages 1028..1030, and the clear of line 0 at load).
uint32_t HookMonitorStart(uint32_t line, const char *device, const CSTA3V6::AsnOcts &crossRefId);
uint32_t HookMonitorStop(uint32_t line, const char *device);
void HookMonitorClear(uint32_t line);
// The 10 s sweep on the worker thread; now is the timer message's tick count.
void HookSweepTimeouts(uint32_t now);
// One inbound CSTA message, on the caller's thread while the worker is parked.
int32_t HookDispatchInbound(uint32_t line, const void *message);
// Completes one TAPI request through the host's reply callback.
uint32_t HookSendReply(uint32_t line, uint32_t requestId, uint32_t result);
// Runs at unload after the worker thread has ended.
void HookShutdown();

}  // namespace k3b

#endif
