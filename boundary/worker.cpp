// Load and unload, the worker thread, its message loop and the worker's side of
// the inbound rendezvous.
#include <windows.h>
#include <process.h>

#include <cstdio>
#include <cstring>
#include <new>

#include "asn/asn_pool.h"
#include "boundary/boundary.h"
#include "boundary/diagnostics.h"
#include "boundary/hooks.h"
#include "boundary/probe.h"

// The runtime's thread end, called directly from the platform (see ThreadProc).
extern "C" void(__cdecl *__imp__endthreadex)(unsigned);

namespace k3b {

WorkerState g_worker;

namespace {

constexpr DWORD kStopWaitMs = 1000;
constexpr UINT kSweepPeriodMs = 10000;
constexpr DWORD kQueueWaitMs = 5000;

// The cross-reference value as text for the catch report: its octets as
// characters, up to the first zero octet and at most 255 of them.
void CrossRefText(const CSTA3V6::AsnOcts &x, char (&out)[256]) {
  size_t n = 0;
  if (x.Octs()) {
    while (n < x.Len() && n < sizeof out - 1 && x.Octs()[n] != '\0') {
      out[n] = x.Octs()[n];
      ++n;
    }
  }
  out[n] = '\0';
}

void CALLBACK SweepTimerProc(HWND, UINT, UINT_PTR, DWORD now) {
  // Exceptions must not reach the platform's dispatching: report them like the
  // message loop does.
  try {
    HookSweepTimeouts(now);
  } catch (...) {
    ReportLog(kCategoryError, "ThreadProc: Catch. Last Msg: 0x%08x", unsigned(WM_TIMER));
    ReportLog(kCategoryError, "%s", "");
  }
}

void HandleMessage(const MSG &msg) {
  auto *record = reinterpret_cast<ThreadMessageRecord *>(msg.lParam);
  switch (msg.message) {
    case kMsgFromVorta:
      RendezvousPark(LONG(msg.wParam));
      return;
    case kMsgLineOpen:
    case kMsgDevSpecific:
    case kMsgMonitorStart:
    case kMsgMonitorStop:
    case kMsgMonitorClear:
      if (!record) return;  // not one of ours
      break;
    default:
      return;
  }
  // A request or monitor notification queued before the line was closed is not
  // carried out: the request is completed as not queued, the notification dropped.
  const bool closed = g_callbacks.extVersion == 0;
  switch (msg.message) {
    case kMsgLineOpen:
      HookLineReset(record->openLine);
      break;
    case kMsgDevSpecific:
      if (closed) {
        HookSendReply(record->requestLine, record->requestId, K3_RESULT_NOT_QUEUED);
        break;
      }
      HookDeviceSpecificRequest(record->requestLine, record->requestId, record->block, record->blockSize);
      break;
    case kMsgMonitorStart:
      if (closed) break;
      HookMonitorStart(record->startLine, record->startDevice, record->crossRefId);
      break;
    case kMsgMonitorStop:
      if (closed) break;
      HookMonitorStop(record->tail.stop.line, record->tail.stop.device);
      break;
    case kMsgMonitorClear:
      if (closed) break;
      HookMonitorClear(record->tail.clear.line);
      break;
  }
  FreeRecord(record);
}

// Reports an exception that left a message's handling. The failed message is
// not dispatched; its record is freed only for 1029.
void ReportCaught(UINT id, LPARAM lParam) {
  ReportLog(kCategoryError, "ThreadProc: Catch. Last Msg: 0x%08x", unsigned(id));
  auto *record = reinterpret_cast<ThreadMessageRecord *>(lParam);
  switch (id) {
    case kMsgLineOpen:
      ReportLog(kCategoryError, "'LINEOPENANDSELECTEXTVERSION'  dwVortaID=%d", record ? int(record->openLine) : 0);
      break;
    case kMsgDevSpecific: {
      if (!record) {
        ReportLog(kCategoryError, "%s", "");
        break;
      }
      unsigned structType = 0;
      if (record->block && record->blockSize >= 2) {
        uint16_t t;
        std::memcpy(&t, record->block, 2);
        structType = t;
      } else if (record->block && record->blockSize == 1) {
        structType = *static_cast<const unsigned char *>(record->block);
      }
      ReportLog(kCategoryError,
                "'LINEDEVSPECIFIC'  dwVortaID=%d, dwRequestID=0x%08lx, pStruct: 0x%08lx  dwSize: 0x%08lx "
                "(wStructType=0x%x)",
                int(record->requestLine), static_cast<unsigned long>(record->requestId),
                static_cast<unsigned long>(reinterpret_cast<uintptr_t>(record->block)),
                static_cast<unsigned long>(record->blockSize), structType);
      try {
        HookSendReply(record->requestLine, record->requestId, K3_RESULT_FAILED);
      } catch (...) {
      }
      break;
    }
    case kMsgFromVorta:
      ReportLog(kCategoryError, "'CSTAFROMVORTA'");
      break;
    case kMsgMonitorStart: {
      char xref[256] = {};
      if (record) CrossRefText(record->crossRefId, xref);
      ReportLog(kCategoryError, "'MONITORSTART'  dwVortaID=%d, Device: '%s'  XRef: '%s'",
                record ? int(record->startLine) : 0, record ? record->startDevice : "", xref);
      break;
    }
    case kMsgMonitorStop:
      // The text names the monitor-start group of the record.
      ReportLog(kCategoryError, "'MONITORSTOP'  dwVortaID=%d, Device: '%s'", record ? int(record->startLine) : 0,
                record ? record->startDevice : "");
      FreeRecord(record);
      break;
    case kMsgMonitorClear:
      ReportLog(kCategoryError, "'MONITORCLEAR'  dwVortaID=%d", record ? int(record->tail.clear.line) : 0);
      break;
    default:
      ReportLog(kCategoryError, "%s", "");
      break;
  }
}

}  // namespace

ThreadMessageRecord *NewRecord() {
  auto *record = new ThreadMessageRecord();
  ProbeRecordCount(+1);
  return record;
}

void FreeRecord(ThreadMessageRecord *record) {
  if (!record) return;
  delete record;
  ProbeRecordCount(-1);
}

void CopyDeviceText(char *field, size_t room, const char *text) {
  size_t n = 0;
  if (text)
    while (n + 1 < room && text[n] != '\0') {
      field[n] = text[n];
      ++n;
    }
  field[n] = '\0';
}

unsigned __stdcall ThreadProc(void *) {
  MSG msg;
  // Everything this thread runs (handlers, the sweep, host callbacks) runs with
  // the state in hand; it hands it over only while parked in a rendezvous.
  ClaimState();
  // Make the message queue exist before anyone posts to it.
  PeekMessageA(&msg, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
  if (g_worker.queueReady) SetEvent(g_worker.queueReady);

  if (g_worker.timerId == 0) g_worker.timerId = SetTimer(nullptr, 1, kSweepPeriodMs, SweepTimerProc);

  UINT lastId = 0;
  LPARAM lastParam = 0;
  for (;;) {
    try {
      for (;;) {
        // Only the quit message ends the loop; an error return counts as a message.
        if (GetMessageA(&msg, nullptr, 0, 0) == 0) goto ended;
        lastId = msg.message;
        lastParam = msg.lParam;
        HandleMessage(msg);
        DispatchMessageA(&msg);
      }
    } catch (...) {
      try {
        ReportCaught(lastId, lastParam);
      } catch (...) {
      }
    }
  }
ended:
  if (InterlockedCompareExchange(&g_worker.stopping, 0, 0)) {
    // The unloading thread may unmap this module as soon as it sees the event,
    // so no code of the module may run after it is set: the event is set from
    // inside an alertable wait, and the call queued before it ends the thread
    // from there, through the runtime (its thread block freed, thread-detach
    // notifications sent once the unloading thread lets the loader go).
    QueueUserAPC(reinterpret_cast<PAPCFUNC>(reinterpret_cast<void *>(__imp__endthreadex)), GetCurrentThread(), 0);
    SignalObjectAndWait(g_worker.evInitialized, GetCurrentThread(), INFINITE, TRUE);
  }
  SetEvent(g_worker.evInitialized);
  return 0;
}

bool QueueReady() {
  if (g_worker.queueSeen) return true;
  if (!g_worker.queueReady || WaitForSingleObject(g_worker.queueReady, 0) != WAIT_OBJECT_0) return false;
  InterlockedExchange(&g_worker.queueSeen, 1);
  return true;
}

uint32_t ThreadMessage(UINT id, WPARAM wParam, ThreadMessageRecord *record) {
  // Right after loading the worker may not have run yet (it starts once the
  // loader lets go); a post before its queue exists would be refused.
  if (g_worker.queueReady && g_worker.thread && !QueueReady()) {
    HANDLE waitFor[2] = {g_worker.queueReady, g_worker.thread};
    WaitForMultipleObjects(2, waitFor, FALSE, kQueueWaitMs);
  }
  if (PostThreadMessageA(g_worker.threadId, id, wParam, reinterpret_cast<LPARAM>(record))) return 1;
  DWORD err = GetLastError();
  ReportLog(kCategoryThread, "ThreadMessage: PostThreadMessage failed. Msg: 0x%08lx, GetLastError: 0x%08lx",
            static_cast<unsigned long>(id), static_cast<unsigned long>(err));
  return 0;
}

BOOL StartThread() {
  if (g_worker.thread) ReportLog(kCategoryThread, "Thread already exists.");

  g_worker.evInitialized = CreateEventA(nullptr, FALSE, FALSE, "EventInitialized");
  if (!g_worker.evInitialized) {
    ReportLog(kCategoryThread, "Error creating thread. hEvent==NULL. GetLastError: 0x%08lx",
              static_cast<unsigned long>(GetLastError()));
    return FALSE;
  }

  g_worker.queueReady = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  InterlockedExchange(&g_worker.queueSeen, 0);
  unsigned threadId = 0;
  g_worker.thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, ThreadProc, nullptr, 0, &threadId));
  if (!g_worker.thread) {
    ReportLog(kCategoryThread, "Error creating thread. hThread==NULL. GetLastError: 0x%08lx",
              static_cast<unsigned long>(GetLastError()));
    return FALSE;
  }
  g_worker.threadId = threadId;
  SetThreadPriority(g_worker.thread, THREAD_PRIORITY_ABOVE_NORMAL);

  g_worker.evFromVorta = CreateEventA(nullptr, FALSE, FALSE, "EventCSTAfromVorta");
  if (!g_worker.evFromVorta) {
    ReportLog(kCategoryEvent, "StartThread: CreateEvent(EventCSTAfromVorta) failed. GetLastError: 0x%08lx",
              static_cast<unsigned long>(GetLastError()));
    return FALSE;
  }
  g_worker.evMainThread = CreateEventA(nullptr, FALSE, FALSE, "EventMainThread");
  if (!g_worker.evMainThread) {
    ReportLog(kCategoryEvent, "StartThread: CreateEvent(EventMainThread) failed. GetLastError: 0x%08lx",
              static_cast<unsigned long>(GetLastError()));
    return FALSE;
  }

  // Line 0 starts empty.
  try {
    HookMonitorClear(0);
    HookLineReset(0);
  } catch (...) {
  }
  Sleep(100);
  return TRUE;
}

BOOL StopThread() {
  ResetEvent(g_worker.evInitialized);
  InterlockedExchange(&g_worker.stopping, 1);
  const bool started = QueueReady();
  if (PostThreadMessageA(g_worker.threadId, WM_QUIT, 0, 0)) {
    DWORD r = WaitForSingleObject(g_worker.evInitialized, kStopWaitMs);
    if (r != WAIT_OBJECT_0) {
      if (r == WAIT_ABANDONED)
        ReportLog(kCategoryThread, "Error closing thread: WAIT_ABANDONED.");
      else if (r == WAIT_TIMEOUT)
        ReportLog(kCategoryThread, "Error closing thread: WAIT_TIMEOUT.");
      else if (r == WAIT_FAILED)
        ReportLog(kCategoryThread, "Error closing thread: WAIT_FAILED. GetLastError: 0x%08lx",
                  static_cast<unsigned long>(GetLastError()));
      // Still busy: it must be gone before the module is.
      TerminateThread(g_worker.thread, 0);
      WaitForSingleObject(g_worker.thread, kStopWaitMs);
    }
    // Otherwise it is ending on its own, outside this module.
  } else if (g_worker.thread && !started) {
    // A thread that never reached its loop (the loader still held it) must not
    // start running code of a module that is about to go away.
    TerminateThread(g_worker.thread, 0);
    WaitForSingleObject(g_worker.thread, kStopWaitMs);
  }

  KillTimer(nullptr, g_worker.timerId);
  try {
    HookShutdown();
  } catch (...) {
  }
  if (g_worker.evFromVorta) CloseHandle(g_worker.evFromVorta);
  if (g_worker.evMainThread) CloseHandle(g_worker.evMainThread);
  if (g_worker.evInitialized) CloseHandle(g_worker.evInitialized);
  if (g_worker.thread) CloseHandle(g_worker.thread);
  InterlockedExchange(&g_worker.queueSeen, 0);
  if (g_worker.queueReady) CloseHandle(g_worker.queueReady);
  return TRUE;
}

BOOL OnProcessAttach(HMODULE module) {
  g_worker.module = module;
  OwnershipAttach();
  InstallWin32Platform();
  char path[260] = {};
  GetModuleFileNameA(module, path, sizeof path);
  if (!RegisterEventLogSource(kEventSource, path, 7)) ReportLog(kCategoryError, "Fehler beim Registrieren des EventLogs");
  return StartThread();
}

void OnProcessDetach() {
  StopThread();
  g_worker.module = nullptr;
  RemoveWin32Platform();
  OwnershipDetach();
}

}  // namespace k3b

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  try {
    switch (reason) {
      case DLL_PROCESS_ATTACH:
        return k3b::OnProcessAttach(instance);
      case DLL_PROCESS_DETACH:
        k3b::OnProcessDetach();
        // On FreeLibrary only: at process exit the other threads are gone,
        // perhaps holding the pool's lock, and the memory goes anyway.
        if (!reserved) CSTA3V6::AsnPoolReleaseAll();
        return TRUE;
      default:
        return TRUE;
    }
  } catch (...) {
    return reason == DLL_PROCESS_ATTACH ? FALSE : TRUE;
  }
}
