// Observable handlers for the test build of the library.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "boundary/boundary.h"
#include "boundary/hooks.h"
#include "boundary/probe.h"
#include "link/platform.h"
#include "tests/boundary/probe_api.h"

namespace {

struct Journal {
  CRITICAL_SECTION lock;
  std::string text;
  Journal() { InitializeCriticalSection(&lock); }
  ~Journal() { DeleteCriticalSection(&lock); }
};
Journal &TheJournal() {
  static Journal j;
  return j;
}

void Write(const std::string &line) {
  Journal &j = TheJournal();
  EnterCriticalSection(&j.lock);
  j.text += line;
  j.text += '\n';
  LeaveCriticalSection(&j.lock);
}

template <class... A>
void Writef(const char *format, A... args) {
  char line[512];
  std::snprintf(line, sizeof line, format, args...);
  Write(line);
}

volatile LONG g_records = 0;

unsigned long Tid() { return GetCurrentThreadId(); }

}  // namespace

namespace k3b {

void ProbeRecordCount(int delta) { InterlockedExchangeAdd(&g_records, delta); }

void ProbeNote(const char *kind, const char *text) { Write(std::string(kind) + " " + (text ? text : "")); }

void HookLineReset(uint32_t line) {
  Writef("reset line=%u tid=%lu", line, Tid());
  if (line == kProbeThrowLine) throw std::runtime_error("reset");
}

void HookDeviceSpecificRequest(uint32_t line, uint32_t requestId, void *block, uint32_t size) {
  uint16_t type = 0;
  if (size >= 2) std::memcpy(&type, block, 2);
  Writef("request line=%u id=%u size=%u type=0x%x tid=%lu", line, requestId, size, type, Tid());
  if (type == kProbeThrow) throw std::runtime_error("request");
  if (type == kProbeSend) {
    uint32_t r = g_callbacks.send ? g_callbacks.send(line, nullptr, block, requestId) : 0;
    Writef("sent id=%u result=%u", requestId, r);
  }
}

uint32_t HookMonitorStart(uint32_t line, const char *device, const CSTA3V6::AsnOcts &crossRefId) {
  Writef("start line=%u device=[%s] xref=[%s] tid=%lu", line, device, crossRefId.Str().c_str(), Tid());
  if (std::strcmp(device, kProbeThrowDevice) == 0) throw std::runtime_error("start");
  return 1;
}

uint32_t HookMonitorStop(uint32_t line, const char *device) {
  Writef("stop line=%u device=[%s] tid=%lu", line, device, Tid());
  if (std::strcmp(device, kProbeThrowDevice) == 0) throw std::runtime_error("stop");
  return 1;
}

void HookMonitorClear(uint32_t line) {
  Writef("clear line=%u tid=%lu", line, Tid());
  if (line == kProbeThrowLine) throw std::runtime_error("clear");
}

void HookSweepTimeouts(uint32_t now) {
  Writef("sweep tid=%lu", Tid());
}

int32_t HookDispatchInbound(uint32_t line, const void *message) {
  Writef("inbound line=%u msg=%p tid=%lu", line, message, Tid());
  auto *m = static_cast<const ProbeInbound *>(message);
  if (!m) return 1;
  return m->result;
}

uint32_t HookSendReply(uint32_t line, uint32_t requestId, uint32_t result) {
  uint32_t answer = g_callbacks.reply ? g_callbacks.reply(line, requestId, result) : 0;
  k3::DebugSendReply();
  return answer;
}

void HookShutdown() {}

}  // namespace k3b

extern "C" {

uint32_t K3Probe_Take(char *out, uint32_t cap) {
  Journal &j = TheJournal();
  EnterCriticalSection(&j.lock);
  uint32_t n = uint32_t(j.text.size());
  if (!out || cap <= n) {
    LeaveCriticalSection(&j.lock);
    return n + 1;
  }
  std::memcpy(out, j.text.data(), n);
  out[n] = '\0';
  j.text.clear();
  LeaveCriticalSection(&j.lock);
  return n;
}

int32_t K3Probe_LiveRecords(void) { return InterlockedCompareExchange(&g_records, 0, 0); }

uint32_t K3Probe_WorkerThreadId(void) { return k3b::g_worker.threadId; }

}  // extern "C"
