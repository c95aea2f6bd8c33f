// The shipped handlers: the worker thread's messages reach the link engine and
// the request encoders; inbound messages reach the dispatcher.
#include "boundary/hooks.h"

#include "bridge/converters.h"
#include "bridge/requests.h"
#include "link/engine.h"
#include "link/inbound.h"

namespace k3b {

namespace {
// The dispatcher reaches the converters through the table they register; do it
// once while the library loads, before any message can arrive.
const bool kConvertersRegistered = (k3::RegisterInboundConverters(), true);
}  // namespace

void HookLineReset(uint32_t line) { k3::LineReset(line); }

void HookDeviceSpecificRequest(uint32_t line, uint32_t requestId, void *block, uint32_t size) {
  k3::ProcessDevSpecificRequest(line, requestId, static_cast<uint8_t *>(block), size);
}

uint32_t HookMonitorStart(uint32_t line, const char *device, const CSTA3V6::AsnOcts &crossRefId) {
  return k3::MonitorStartHandler(line, device, crossRefId);
}

uint32_t HookMonitorStop(uint32_t line, const char *device) { return k3::MonitorStopHandler(line, device); }

void HookMonitorClear(uint32_t line) { k3::MonitorClearHandler(line); }

void HookSweepTimeouts(uint32_t now) { k3::SweepTimeouts(now); }

int32_t HookDispatchInbound(uint32_t line, const void *message) {
  return k3::DispatchInbound(line, static_cast<const CSTA3V6::CSTAMsg *>(message));
}

uint32_t HookSendReply(uint32_t line, uint32_t requestId, uint32_t result) {
  return k3::SendReply(line, requestId, result);
}

void HookShutdown() {}

}  // namespace k3b
