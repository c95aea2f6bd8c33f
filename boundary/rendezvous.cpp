// Who owns the library's state, and the ticketed inbound rendezvous that hands
// it from the parked worker to a host thread and back.
#include <windows.h>

#include <vector>

#include "boundary/boundary.h"
#include "boundary/diagnostics.h"
#include "boundary/hooks.h"

namespace k3b {

namespace {

// Thread-local "owns the state" mark. A plain TLS slot: it needs no per-thread
// clean-up, so nothing of this module runs at thread exit after an unload.
DWORD g_ownerSlot = TLS_OUT_OF_INDEXES;

// A wait is cut into slices so that a signal taken by someone else (a caller
// in another process shares the named events) costs a slice, not the round.
constexpr DWORD kSliceMs = 50;

struct Waiter {
  LONG ticket;
  RendezvousPurpose purpose;
  uint32_t line;
  bool leftToWorker;  // a close whose caller stopped waiting
};

// The rendezvous book, under one lock held only for a few instructions.
struct Book {
  CRITICAL_SECTION lock;
  // Callers of this process take turns: one at a time waits for the worker, so
  // the worker's signal always finds the caller it was meant for. The turn is
  // the flag turnHeld, taken by compare-exchange, so a caller that finds it
  // free makes no kernel call; the others wait on the auto-reset event turn in
  // slices and try again after every wake or slice.
  HANDLE turn = nullptr;
  volatile LONG turnHeld = 0;
  volatile LONG turnWaiters = 0;
  bool ready = false;
  LONG lastTicket = 0;
  std::vector<Waiter> waiting;  // tickets posted and not yet parked for
  LONG parkedFor = 0;           // ticket the worker is parked for, 0 when none
  bool taken = false;           // its caller has taken the state
  bool released = false;        // ... and given it back
};
Book g_book;

struct Locked {
  Locked() { EnterCriticalSection(&g_book.lock); }
  ~Locked() { LeaveCriticalSection(&g_book.lock); }
};

void SetOwned(bool owned) {
  if (g_ownerSlot != TLS_OUT_OF_INDEXES) TlsSetValue(g_ownerSlot, owned ? reinterpret_cast<void *>(1) : nullptr);
}

Waiter *FindWaiter(LONG ticket) {
  for (Waiter &w : g_book.waiting)
    if (w.ticket == ticket) return &w;
  return nullptr;
}

void DropWaiter(LONG ticket) {
  for (auto it = g_book.waiting.begin(); it != g_book.waiting.end(); ++it)
    if (it->ticket == ticket) {
      g_book.waiting.erase(it);
      return;
    }
}

// Waits on event until done() holds (checked under the lock after every wake
// and every slice) or the deadline passes. Returns WAIT_OBJECT_0 when it held,
// else the result of the last wait (WAIT_TIMEOUT, or WAIT_FAILED with its
// error); then giveUp() has run under the same lock as the last check, so
// nothing can happen between the two. A wake that does not satisfy done() is a
// signal left over from an earlier round, or another process's: dropped.
template <class Done, class GiveUp>
DWORD WaitFor(HANDLE event, DWORD start, DWORD totalMs, Done done, GiveUp giveUp) {
  for (;;) {
    DWORD elapsed = GetTickCount() - start;
    DWORD left = elapsed >= totalMs ? 0 : totalMs - elapsed;
    DWORD r = WaitForSingleObject(event, left < kSliceMs ? left : kSliceMs);
    DWORD err = GetLastError();
    Locked l;
    if (done()) return WAIT_OBJECT_0;
    if (r == WAIT_FAILED || r == WAIT_ABANDONED || (r == WAIT_TIMEOUT && left <= kSliceMs)) {
      giveUp();
      SetLastError(err);
      return r;
    }
  }
}

// Takes this process's turn within totalMs: WAIT_OBJECT_0 when taken, else
// WAIT_TIMEOUT or WAIT_FAILED. A release nobody was waiting for when it looked
// costs a waiter one slice, never the turn itself.
DWORD TakeTurn(DWORD totalMs) {
  if (InterlockedCompareExchange(&g_book.turnHeld, 1, 0) == 0) return WAIT_OBJECT_0;
  InterlockedIncrement(&g_book.turnWaiters);
  const DWORD start = GetTickCount();
  DWORD r;
  for (;;) {
    if (InterlockedCompareExchange(&g_book.turnHeld, 1, 0) == 0) {
      r = WAIT_OBJECT_0;
      break;
    }
    DWORD elapsed = GetTickCount() - start;
    if (elapsed >= totalMs) {
      r = WAIT_TIMEOUT;
      break;
    }
    DWORD left = totalMs - elapsed;
    if (WaitForSingleObject(g_book.turn, left < kSliceMs ? left : kSliceMs) == WAIT_FAILED) {
      r = WAIT_FAILED;
      break;
    }
  }
  InterlockedDecrement(&g_book.turnWaiters);
  return r;
}

void GiveTurn() {
  InterlockedExchange(&g_book.turnHeld, 0);
  if (g_book.turnWaiters > 0) SetEvent(g_book.turn);
}

}  // namespace

void OwnershipAttach() {
  if (!g_book.ready) {
    InitializeCriticalSection(&g_book.lock);
    g_book.turn = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    g_book.turnHeld = 0;
    g_book.ready = true;
  }
  if (g_ownerSlot == TLS_OUT_OF_INDEXES) g_ownerSlot = TlsAlloc();
}

void OwnershipDetach() {
  if (g_ownerSlot != TLS_OUT_OF_INDEXES) TlsFree(g_ownerSlot);
  g_ownerSlot = TLS_OUT_OF_INDEXES;
  if (g_book.ready) {
    DeleteCriticalSection(&g_book.lock);
    if (g_book.turn) CloseHandle(g_book.turn);
    g_book.turn = nullptr;
  }
  g_book.ready = false;
}

bool OwnsState() { return g_ownerSlot != TLS_OUT_OF_INDEXES && TlsGetValue(g_ownerSlot) != nullptr; }

void ClaimState() { SetOwned(true); }

bool WorkerRunning() {
  return g_worker.thread && QueueReady() && WaitForSingleObject(g_worker.thread, 0) == WAIT_TIMEOUT;
}

LONG RendezvousPost(RendezvousPurpose purpose, uint32_t line, DWORD *start) {
  *start = GetTickCount();
  // Wait for this process's turn within the same budget as the rendezvous.
  DWORD r = TakeTurn(kRendezvousWaitMs);
  const bool turn = r == WAIT_OBJECT_0;
  // Without a turn an inbound call gives up; a close is still left to the
  // worker, in line behind the others.
  if (!turn && purpose == RendezvousPurpose::Inbound) return -LONG(r == WAIT_TIMEOUT ? 1 : 2);
  LONG ticket;
  {
    Locked l;
    ticket = ++g_book.lastTicket;
    if (ticket <= 0) ticket = g_book.lastTicket = 1;  // after 2^31 rounds
    g_book.waiting.push_back({ticket, purpose, line, !turn});
  }
  if (!turn) {
    ThreadMessage(kMsgFromVorta, WPARAM(ticket), nullptr);
    return -LONG(r == WAIT_TIMEOUT ? 1 : 2);
  }
  if (ThreadMessage(kMsgFromVorta, WPARAM(ticket), nullptr)) return ticket;
  {
    Locked l;
    DropWaiter(ticket);
  }
  GiveTurn();
  return 0;
}

DWORD RendezvousAwait(LONG ticket, DWORD start) {
  if (ticket < 0) return ticket == -1 ? WAIT_TIMEOUT : WAIT_FAILED;  // no turn
  DWORD r = WaitFor(
      g_worker.evFromVorta, start, kRendezvousWaitMs,
      [&] {
        if (g_book.parkedFor != ticket || g_book.taken) return false;
        g_book.taken = true;
        return true;
      },
      [&] {
        Waiter *w = FindWaiter(ticket);
        if (w && w->purpose == RendezvousPurpose::Close)
          w->leftToWorker = true;
        else
          DropWaiter(ticket);
      });
  if (r == WAIT_OBJECT_0) SetOwned(true);
  return r;
}

void RendezvousRelease(LONG ticket, bool taken) {
  if (taken) {
    SetOwned(false);
    Locked l;
    if (g_book.parkedFor == ticket) g_book.released = true;
  }
  SetEvent(g_worker.evMainThread);
  if (ticket > 0) GiveTurn();
}

void RendezvousPark(LONG ticket) {
  bool closeHere = false;
  uint32_t closeLine = 0;
  {
    Locked l;
    Waiter *w = FindWaiter(ticket);
    // No caller waits for this ticket any more (it gave up, or the message was
    // not posted by this library): nothing to park for.
    if (!w) return;
    closeHere = w->leftToWorker;
    closeLine = w->line;
    DropWaiter(ticket);
    if (!closeHere) {
      g_book.parkedFor = ticket;
      g_book.taken = false;
      g_book.released = false;
    }
  }
  if (closeHere) {
    // A close that stopped waiting for the worker: done here, in turn.
    CloseLine(closeLine);
    return;
  }
  SetEvent(g_worker.evFromVorta);
  DWORD r = WaitFor(
      g_worker.evMainThread, GetTickCount(), kRendezvousWaitMs, [] { return g_book.released; }, [] {});
  DWORD err = GetLastError();
  {
    Locked l;
    g_book.parkedFor = 0;
  }
  if (r == WAIT_ABANDONED)
    ReportLog(kCategoryEvent, "ThreadProc: WAIT_ABANDONED");
  else if (r == WAIT_TIMEOUT)
    ReportLog(kCategoryEvent, "ThreadProc: WAIT_TIMEOUT");
  else if (r == WAIT_FAILED)
    ReportLog(kCategoryEvent, "ThreadProc: WAIT_FAILED, Reason: 0x%08x", unsigned(err));
}

void CloseLine(uint32_t line) {
  g_callbacks.extVersion = 0;
  HookLineReset(line);
}

}  // namespace k3b
