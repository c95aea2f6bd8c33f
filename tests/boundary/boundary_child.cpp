// k3-boundary-child: drives the shipped Kestrel3.dll into its failure reports so
// that a parent can read them from the real event log (Wine prints error
// events on its err channel). Exits with 3 when the worker outlives the unload.
// Usage: k3-boundary-child busy-unload|dead-worker
#include <windows.h>
#include <tlhelp32.h>

#include <cstdio>
#include <cstring>
#include <set>

#include "kestrel3.h"

namespace {

std::set<DWORD> Threads() {
  std::set<DWORD> ids;
  HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 te;
  te.dwSize = sizeof te;
  for (BOOL ok = Thread32First(snap, &te); ok; ok = Thread32Next(snap, &te))
    if (te.th32OwnerProcessID == GetCurrentProcessId()) ids.insert(te.th32ThreadID);
  CloseHandle(snap);
  return ids;
}

// The library's worker: the new thread that runs one step above normal.
DWORD FindWorker(const std::set<DWORD> &before) {
  for (DWORD id : Threads()) {
    if (before.count(id)) continue;
    HANDLE t = OpenThread(THREAD_QUERY_INFORMATION, FALSE, id);
    int priority = t ? GetThreadPriority(t) : 0;
    if (t) CloseHandle(t);
    if (priority == THREAD_PRIORITY_ABOVE_NORMAL) return id;
  }
  return 0;
}

template <class F>
F Get(HMODULE dll, const char *name) {
  return reinterpret_cast<F>(reinterpret_cast<void (*)()>(GetProcAddress(dll, name)));
}

uint32_t K3_CALL Reply(uint32_t, uint32_t, uint32_t) { return 1; }
uint32_t K3_CALL Event(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
uint32_t K3_CALL Send(uint32_t, const void *, void *, uint32_t) { return 1; }
// Holds the worker inside the host's send callback for 3 s.
volatile LONG g_inSlowSend = 0;
uint32_t K3_CALL SlowSend(uint32_t, const void *, void *, uint32_t) {
  InterlockedExchange(&g_inSlowSend, 1);
  Sleep(3000);
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  const char *scenario = argc > 1 ? argv[1] : "";
  std::set<DWORD> before = Threads();
  HMODULE dll = LoadLibraryA("Kestrel3.dll");
  if (!dll) {
    std::printf("LoadLibrary failed: %lu\n", GetLastError());
    return 1;
  }
  DWORD worker = FindWorker(before);
  std::printf("worker thread %lu\n", worker);
  HANDLE thread = OpenThread(SYNCHRONIZE, FALSE, worker);
  if (!thread) return 1;

  if (std::strcmp(scenario, "busy-unload") == 0) {
    // Keep the worker inside a send callback past the unload's wait.
    auto lineOpen = Get<PFN_fn_vrt_lineOpenAndSelectExtVersion>(dll, "fn_vrt_lineOpenAndSelectExtVersion");
    auto devSpecific = Get<PFN_fn_vrt_lineDevSpecific>(dll, "fn_vrt_lineDevSpecific");
    static unsigned char query[8] = {0x41, 0};
    lineOpen(0, 0x20000, Reply, Event, nullptr, SlowSend, nullptr);
    devSpecific(0, 1, query, sizeof query);
    for (int i = 0; i < 1000 && !InterlockedCompareExchange(&g_inSlowSend, 0, 0); ++i) Sleep(5);
  } else if (std::strcmp(scenario, "dead-worker") == 0) {
    for (int i = 0; i < 1000 && !PostThreadMessageA(worker, WM_QUIT, 0, 0); ++i) Sleep(5);
    WaitForSingleObject(thread, 5000);
    unsigned char block[2] = {0x41, 0};
    auto lineOpen = Get<PFN_fn_vrt_lineOpenAndSelectExtVersion>(dll, "fn_vrt_lineOpenAndSelectExtVersion");
    auto devSpecific = Get<PFN_fn_vrt_lineDevSpecific>(dll, "fn_vrt_lineDevSpecific");
    std::printf("open %u\n", lineOpen(0, 0x20000, Reply, Event, nullptr, Send, nullptr));
    std::printf("request 0x%08x\n", devSpecific(0, 1, block, 2));
  } else {
    std::printf("unknown scenario\n");
    return 2;
  }
  DWORD start = GetTickCount();
  FreeLibrary(dll);
  // Busy or not, the worker must be gone once the library is.
  bool ended = WaitForSingleObject(thread, 0) == WAIT_OBJECT_0;
  std::printf("unloaded after %lu ms, worker %s\n", GetTickCount() - start, ended ? "ended" : "still running");
  std::fflush(stdout);
  return ended ? 0 : 3;
}
