// The exported functions of the line and phone families. Every body is guarded:
// no exception leaves an export.
#include <windows.h>

#include "boundary/boundary.h"
#include "boundary/diagnostics.h"
#include "boundary/hooks.h"

using namespace k3b;

namespace {

template <class R, class F>
R Guarded(R onException, F &&body) {
  try {
    return body();
  } catch (...) {
    return onException;
  }
}

// Posts a filled record; on failure frees it and logs the export's text.
uint32_t PostRecord(UINT id, ThreadMessageRecord *record, const char *failureText) {
  if (ThreadMessage(id, 0, record)) return K3_RESULT_SUCCESS;
  FreeRecord(record);
  ReportLog(kCategoryThread, "%s", failureText);
  return K3_RESULT_NOT_QUEUED;
}

// Closes the line with the state in hand: directly when this thread holds it
// already (a host callback) or no worker runs to touch it; otherwise through a
// rendezvous like an inbound call. Should the worker not park in time, it runs
// the close itself when it reaches the ticket; requests are refused from now on.
void CloseExclusively(uint32_t line) {
  if (OwnsState() || !WorkerRunning()) {
    CloseLine(line);
    return;
  }
  DWORD start;
  LONG ticket = RendezvousPost(RendezvousPurpose::Close, line, &start);
  if (!ticket) {
    CloseLine(line);  // the worker went away meanwhile
    return;
  }
  DWORD r = RendezvousAwait(ticket, start);
  if (r == WAIT_OBJECT_0) {
    try {
      CloseLine(line);
    } catch (...) {
      RendezvousRelease(ticket, true);
      throw;
    }
  } else {
    g_callbacks.extVersion = 0;
  }
  RendezvousRelease(ticket, r == WAIT_OBJECT_0);
}

// Requests and monitor notifications need an open line.
bool LineIsOpen() { return g_callbacks.extVersion != 0; }

}  // namespace

extern "C" {

uint32_t K3_CALL fn_vrt_lineOpenAndSelectExtVersion(uint32_t dwVortaID, uint32_t extVersion,
                                                    K3_REPLY_CALLBACK reply, K3_EVENT_CALLBACK event,
                                                    void *valueA, K3_SEND_TO_PBX_CALLBACK send,
                                                    void *valueB) {
  return Guarded<uint32_t>(0, [&]() -> uint32_t {
    if (extVersion == 0) {
      CloseExclusively(dwVortaID);
      return 1;
    }
    if (!g_worker.evFromVorta) {
      ReportLog(kCategoryEvent, "fn_vrt_lineOpenAndSelectExtVersion: EventCSTAfromVorta not initialized");
      return 0;
    }
    if (!g_worker.evMainThread) {
      ReportLog(kCategoryEvent, "fn_vrt_lineOpenAndSelectExtVersion: EventMainThread not initialized");
      return 0;
    }
    if (!send || !event || !reply) return 0;

    // Stored before posting, so the worker sees them with this and every later message.
    g_callbacks.send = send;
    g_callbacks.valueB = valueB;
    g_callbacks.reply = reply;
    g_callbacks.event = event;
    g_callbacks.extVersion = extVersion;
    g_callbacks.valueA = valueA;

    ThreadMessageRecord *record = NewRecord();
    record->openLine = dwVortaID;
    if (ThreadMessage(kMsgLineOpen, 0, record)) return 1;
    FreeRecord(record);
    ReportLog(kCategoryThread, "fn_vrt_lineOpenAndSelectExtVersion: Error sending ThreadMessage");
    return 0;
  });
}

uint32_t K3_CALL fn_vrt_lineDevSpecific(uint32_t dwVortaID, uint32_t dwRequestID, void *lpParams,
                                        uint32_t dwSize) {
  return Guarded<uint32_t>(K3_RESULT_NOT_QUEUED, [&]() -> uint32_t {
    if (!lpParams || dwSize == 0 || !LineIsOpen()) return K3_RESULT_NOT_QUEUED;
    ThreadMessageRecord *record = NewRecord();
    record->requestLine = dwVortaID;
    record->requestId = dwRequestID;
    record->block = lpParams;
    record->blockSize = dwSize;
    return PostRecord(kMsgDevSpecific, record, "fn_vrt_lineDevSpecific: Error sending ThreadMessage");
  });
}

uint32_t K3_CALL fn_vrt_lineDevSpecificFeature(void) { return 0; }

int32_t K3_CALL fn_vrt_CSTAfromVorta(uint32_t dwVortaID, const void *message) {
  return Guarded<int32_t>(0, [&]() -> int32_t {
    // From a host callback on the thread that holds the state already (the
    // worker, or a host thread inside its own inbound call): run it now.
    if (OwnsState()) return HookDispatchInbound(dwVortaID, message);

    DWORD start;
    LONG ticket = RendezvousPost(RendezvousPurpose::Inbound, dwVortaID, &start);
    if (!ticket) {
      ReportLog(kCategoryThread, "fn_vrt_CSTAfromVorta: Error sending ThreadMessage");
      SetEvent(g_worker.evMainThread);
      return 0;
    }
    int32_t result = 0;
    DWORD r = RendezvousAwait(ticket, start);
    if (r == WAIT_OBJECT_0) {
      // The worker is parked: the library's state is ours until we release it.
      try {
        result = HookDispatchInbound(dwVortaID, message);
      } catch (...) {
        result = 0;
      }
    } else if (r == WAIT_ABANDONED) {
      ReportLog(kCategoryEvent, "fn_vrt_CSTAfromVorta: WAIT_ABANDONED");
    } else if (r == WAIT_TIMEOUT) {
      ReportLog(kCategoryEvent, "fn_vrt_CSTAfromVorta: WAIT_TIMEOUT");
    } else if (r == WAIT_FAILED) {
      ReportLog(kCategoryEvent, "fn_vrt_CSTAfromVorta: WAIT_FAILED, Reason: 0x%08x", unsigned(GetLastError()));
    } else {
      result = 1;
    }
    RendezvousRelease(ticket, r == WAIT_OBJECT_0);
    return result;
  });
}

uint32_t K3_CALL fn_vrt_MonitorStart(uint32_t dwVortaID, const char *device, const void *crossRefId) {
  return Guarded<uint32_t>(K3_RESULT_NOT_QUEUED, [&]() -> uint32_t {
    if (!LineIsOpen()) return K3_RESULT_NOT_QUEUED;
    ThreadMessageRecord *record = NewRecord();
    record->startLine = dwVortaID;
    CopyDeviceText(record->startDevice, sizeof record->startDevice, device);
    if (auto *x = static_cast<const CSTA3V6::AsnOcts *>(crossRefId)) {
      try {
        record->crossRefId.Set(x->Octs(), x->Len());
      } catch (...) {
        FreeRecord(record);
        throw;
      }
    }
    return PostRecord(kMsgMonitorStart, record, "fn_vrt_MonitorStart: Error sending ThreadMessage");
  });
}

uint32_t K3_CALL fn_vrt_MonitorStop(uint32_t dwVortaID, const char *device) {
  return Guarded<uint32_t>(K3_RESULT_NOT_QUEUED, [&]() -> uint32_t {
    if (!LineIsOpen()) return K3_RESULT_NOT_QUEUED;
    ThreadMessageRecord *record = NewRecord();
    record->tail.stop.line = dwVortaID;
    CopyDeviceText(record->tail.stop.device, sizeof record->tail.stop.device, device);
    return PostRecord(kMsgMonitorStop, record, "fn_vrt_MonitorStop: Error sending ThreadMessage");
  });
}

uint32_t K3_CALL fn_vrt_MonitorClear(uint32_t dwVortaID) {
  return Guarded<uint32_t>(K3_RESULT_NOT_QUEUED, [&]() -> uint32_t {
    if (!LineIsOpen()) return K3_RESULT_NOT_QUEUED;
    ThreadMessageRecord *record = NewRecord();
    record->tail.clear.line = dwVortaID;
    return PostRecord(kMsgMonitorClear, record, "fn_vrt_MonitorClear: Error sending ThreadMessage");
  });
}

uint32_t K3_CALL fn_vrt_phoneOpenAndSelectExtVersion(uintptr_t, uint32_t phoneValue1, uintptr_t,
                                                     uintptr_t phoneValue2, K3_SEND_TO_PBX_CALLBACK send,
                                                     void *valueB) {
  // The phone's send callback replaces the line's: later requests go through it.
  if (send && phoneValue2) {
    g_callbacks.send = send;
    g_callbacks.phoneValue2 = phoneValue2;
    g_callbacks.phoneValue1 = phoneValue1;
    g_callbacks.valueB = valueB;
  }
  return 0;
}

uint32_t K3_CALL fn_vrt_phoneDevSpecific(void) { return 0; }

}  // extern "C"
