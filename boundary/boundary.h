// Internal declarations of the Windows library: the thread-message record, the
// callback table, the worker thread's handles and the posting wrapper.
#ifndef K3_BOUNDARY_BOUNDARY_H
#define K3_BOUNDARY_BOUNDARY_H

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "asn/asn_octs.h"
#include "kestrel3.h"
#include "link/engine.h"

namespace k3b {

// Thread messages posted to the worker thread.
constexpr UINT kMsgLineOpen = 1025;
constexpr UINT kMsgDevSpecific = 1026;
constexpr UINT kMsgFromVorta = 1027;
constexpr UINT kMsgMonitorStart = 1028;
constexpr UINT kMsgMonitorStop = 1029;
constexpr UINT kMsgMonitorClear = 1030;

// Event-log categories used by the library.
constexpr uint16_t kCategoryThread = 1;  // thread and message posting
constexpr uint16_t kCategoryEvent = 3;   // rendezvous and event objects
constexpr uint16_t kCategoryError = 4;   // registration failure, caught exceptions

// Sizes of the device texts the record carries, terminator included.
constexpr size_t kStartDeviceRoom = 12;
constexpr size_t kStopDeviceRoom = 20;

// The record posted as lParam with messages 1025 and 1026, 1028..1030. Each
// export fills only its own group; the worker thread frees the record.
struct ThreadMessageRecord {
  uint32_t openLine;  // 1025
  uint32_t requestLine;  // 1026
  uint32_t requestId;
  void *block;  // the caller's own parameter block
  uint32_t blockSize;
  uint32_t startLine;  // 1028
  char startDevice[kStartDeviceRoom];
  CSTA3V6::AsnOcts crossRefId;  // 1028 fills it; empty otherwise
  union Tail {
    // 1029: the device text runs to the end of the record ...
    struct {
      uint32_t line;
      char device[kStopDeviceRoom];
    } stop;
    // ... over the line index of 1030, which takes the last four bytes.
    struct {
      uint32_t overlap[5];
      uint32_t line;
    } clear;
  } tail;
};
static_assert(sizeof(ThreadMessageRecord) == 96, "the thread-message record is 96 bytes");
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(ThreadMessageRecord, requestLine) == 4 && offsetof(ThreadMessageRecord, block) == 16 &&
                  offsetof(ThreadMessageRecord, blockSize) == 24 && offsetof(ThreadMessageRecord, startLine) == 28 &&
                  offsetof(ThreadMessageRecord, startDevice) == 32 && offsetof(ThreadMessageRecord, crossRefId) == 48 &&
                  offsetof(ThreadMessageRecord, tail) == 72,
              "thread-message record layout");
#pragma GCC diagnostic pop
static_assert(offsetof(ThreadMessageRecord::Tail, clear.line) == 20, "1030's line index takes the record's last bytes");
static_assert(sizeof(CSTA3V6::AsnOcts) == 24, "the cross-reference value takes 24 bytes");

ThreadMessageRecord *NewRecord();  // zeroed, with an empty cross-reference value
void FreeRecord(ThreadMessageRecord *record);

// Copies text into a field of room bytes, cut to room-1 characters and always
// terminated; reads no byte of text past what it copies. A null text gives "".
void CopyDeviceText(char *field, size_t room, const char *text);

// Everything the open exports store lives with the link engine, which calls the
// host back through it.
using k3::CallbackTable;
using k3::g_callbacks;

// The worker thread and the objects around it.
struct WorkerState {
  HMODULE module;
  HANDLE thread;
  DWORD threadId;
  HANDLE evInitialized;  // "EventInitialized": the loop has ended
  HANDLE evFromVorta;    // "EventCSTAfromVorta": the worker is parked
  HANDLE evMainThread;   // "EventMainThread": the caller is done
  HANDLE queueReady;     // unnamed, manual reset: the worker has its message queue
  volatile LONG queueSeen;  // queueReady was seen set; it stays set for the worker's life
  UINT_PTR timerId;      // the sweep timer, 0 while none exists
  volatile LONG stopping;  // set by StopThread before it posts the quit message
};
extern WorkerState g_worker;

// How long either side of the inbound rendezvous waits for the other. A test
// build of the library may compile in a shorter wait; the shipped one waits 60 s.
#ifndef K3_RENDEZVOUS_WAIT_MS
#define K3_RENDEZVOUS_WAIT_MS 60000
#endif
constexpr DWORD kRendezvousWaitMs = K3_RENDEZVOUS_WAIT_MS;

// ---- ownership of the library's state and the inbound rendezvous ----
//
// At any moment one thread owns the state: the worker, or a host thread that the
// parked worker handed it to. A call into the library from the owning thread
// (a host callback re-entering an export) runs directly: waiting for the worker
// there would wait for itself.
//
// Every rendezvous carries a ticket (the wParam of message 1027). The worker
// parks only for a caller whose ticket is still waiting; a caller takes the
// state only when the worker is parked for its own ticket; a release counts only
// for the round it belongs to. A signal left over from a round that timed out
// on either side is therefore never taken for a fresh one.

void OwnershipAttach();  // at load, before the worker starts
void OwnershipDetach();  // at unload, after the worker has ended
bool OwnsState();        // this thread owns the state now
void ClaimState();       // the worker thread: owns the state for its life

enum class RendezvousPurpose { Inbound, Close };
// Caller side: waits for this process's turn (callers go one at a time), takes
// a ticket and posts message 1027 with it. 0 when the post failed (the ticket
// is withdrawn); negative when the turn did not come in time. start gets the
// tick the whole wait is measured from.
LONG RendezvousPost(RendezvousPurpose purpose, uint32_t line, DWORD *start);
// Waits until the worker is parked for ticket (WAIT_OBJECT_0, and this thread
// owns the state until RendezvousRelease) or the wait ends (its result). A
// close whose wait ended is left to the worker, which resets the line when it
// reaches the ticket.
DWORD RendezvousAwait(LONG ticket, DWORD start);
// Ends this caller's round: gives the state back (if it was taken), sets
// "EventMainThread" and passes the turn on.
void RendezvousRelease(LONG ticket, bool taken);
// Worker side of message 1027 for ticket.
void RendezvousPark(LONG ticket);
// The line close itself: the line counts as closed, its state is dropped.
void CloseLine(uint32_t line);
// The worker thread exists, has its queue and has not ended.
bool WorkerRunning();
// True once the worker has its message queue. Looks at queueReady only until it is
// first seen set, so a request does not pay a kernel wait for it every time.
bool QueueReady();

BOOL OnProcessAttach(HMODULE module);
void OnProcessDetach();
BOOL StartThread();
BOOL StopThread();
unsigned __stdcall ThreadProc(void *);
// Posts one thread message to the worker; 1 when the platform took it.
uint32_t ThreadMessage(UINT id, WPARAM wParam, ThreadMessageRecord *record);

// Installs / removes the Win32 implementation of the platform seam.
void InstallWin32Platform();
void RemoveWin32Platform();

}  // namespace k3b

#endif
