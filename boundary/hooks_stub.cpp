// Default handlers: messages are consumed, requests stay unanswered, every
// inbound message counts as handled.
#include "boundary/hooks.h"

#include "boundary/boundary.h"
#include "link/platform.h"

namespace k3b {

void HookLineReset(uint32_t) {}

void HookDeviceSpecificRequest(uint32_t, uint32_t, void *, uint32_t) {}

uint32_t HookMonitorStart(uint32_t, const char *, const CSTA3V6::AsnOcts &) { return 1; }

uint32_t HookMonitorStop(uint32_t, const char *) { return 0; }

void HookMonitorClear(uint32_t) {}

void HookSweepTimeouts(uint32_t) {}

int32_t HookDispatchInbound(uint32_t, const void *) { return 1; }

uint32_t HookSendReply(uint32_t line, uint32_t requestId, uint32_t result) {
  uint32_t answer = g_callbacks.reply ? g_callbacks.reply(line, requestId, result) : 0;
  k3::DebugSendReply();
  return answer;
}

void HookShutdown() {}

}  // namespace k3b
