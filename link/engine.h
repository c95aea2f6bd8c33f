// The link engine's per-line state: invoke ids, requests waiting for the PBX,
// stored event data, and the callbacks through which the host is answered.
//
// All of it is touched by the worker thread, or by a host thread during the
// inbound rendezvous while the worker is parked, or at line close; there are no
// locks. Every per-line table has room for line index 0 only and the index is
// not checked beyond that: callers pass 0.
#ifndef K3_LINK_ENGINE_H
#define K3_LINK_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "asn/asn_octs.h"
#include "kestrel3.h"
#include "kestrel3_structures.h"

namespace k3 {

constexpr uint32_t kRequestLifetimeMs = 90000;   // a request unanswered this long fails
constexpr uint32_t kEventLifetimeMs = 120000;    // stored event data is dropped after this
constexpr uint32_t kSweepPeriodMs = 10000;       // the expiry sweep's timer period
constexpr uint32_t kFirstInvokeId = 32768;
constexpr uint32_t kLastInvokeId = 65535;
constexpr size_t kEventRecordSize = sizeof(K3_EVENT_RECORD);
constexpr uint16_t kListRecordType = DS_RECORD_LIST;  // event record that collects a text list

// What the inbound dispatcher must know of a request to route the PBX's
// answer to it. The bridge sets it when it issues the request (the link layer
// does not know the TAPI structure types).
enum class AnswerKind : uint8_t {
  kGeneral,         // answers go by their operation; the bridge decides the rest
  kCdrStart,        // an error or reject completes it as "CDR not started"
  kMaintReference,  // takes a MAINT answer of alternative 2
  kMaintLoopData,   // takes a MAINT answer of alternative 1
  kStateFlag,       // takes an ACL2 answer of selector 1
};

// Encoder results (see bridge/requests.h) as the completion reads them: 0
// nothing sent, 1..4 refusals completing as 0xC0000002..0xC0000005.
constexpr int32_t kEncoderNotSent = 0;
constexpr int32_t kEncoderFirstRefusal = 1, kEncoderLastRefusal = 4;
constexpr uint32_t kFirstRefusalResult = K3_RESULT_BAD_STRUCTURE;

// What the open exports store; one set for the whole process, never cleared.
struct CallbackTable {
  K3_SEND_TO_PBX_CALLBACK send;
  K3_REPLY_CALLBACK reply;
  K3_EVENT_CALLBACK event;
  void *valueA;
  void *valueB;
  uint32_t extVersion;  // nonzero while a line is open
  uint32_t phoneValue1;
  uintptr_t phoneValue2;
};
extern CallbackTable g_callbacks;

// A request handed to the PBX and waiting for its answer.
struct PendingRequest {
  uint32_t invokeId;     // 32768..65535
  uint16_t structType;   // first 16-bit value of the TAPI block
  uint8_t *block;        // the caller's block itself: answers are written into it
  uint32_t size;
  uint32_t requestId;    // TAPI's asynchronous request id
  uint32_t line;
  uint32_t sentTick;
  uint32_t deadlineTick; // sentTick + 90000
  // Numbered by AddPending, unique for the process's life: the entry is found
  // again by it after a host callback, when any other handle may be stale.
  uint64_t serial = 0;
  AnswerKind answer = AnswerKind::kGeneral;
};

// A 432-byte event-data record as TAPI fetches it, plus the text list that a
// record of type 98 carries beside it (freed with the record).
struct EventDataRecord {
  // Offsets of the store's own fields; the body follows them.
  static constexpr size_t kSequence = offsetof(K3_EVENT_RECORD_HEAD, dwSequence),
                          kType = offsetof(K3_EVENT_RECORD_HEAD, wType),
                          kRefCount = offsetof(K3_EVENT_RECORD_HEAD, dwRefCount),
                          kStoredTick = offsetof(K3_EVENT_RECORD_HEAD, dwStoredTick),
                          kDeadlineTick = offsetof(K3_EVENT_RECORD_HEAD, dwExpiryTick),
                          kBody = sizeof(K3_EVENT_RECORD_HEAD);
  // A list record (type 98) collecting the answer to a list query: the
  // number of texts collected so far (the value the list fetch hands back)
  // and the invoke id of the query. The texts themselves are kept in texts.
  static constexpr size_t kListCount = offsetof(K3_EVENT_LIST_RECORD, wCount),
                          kListInvokeId = offsetof(K3_EVENT_LIST_RECORD, dwInvokeId);
  // A CDR record (type 0x32): the invoke id of the PBX's report, under which
  // the report is answered.
  static constexpr size_t kCdrInvokeId = offsetof(K3_EVENT_CDR_RECORD, dwInvokeId);
  uint8_t bytes[kEventRecordSize] = {};
  std::vector<std::string> texts;

  uint32_t U32(size_t at) const { uint32_t v; std::memcpy(&v, bytes + at, 4); return v; }
  uint16_t U16(size_t at) const { uint16_t v; std::memcpy(&v, bytes + at, 2); return v; }
  void SetU32(size_t at, uint32_t v) { std::memcpy(bytes + at, &v, 4); }
  void SetU16(size_t at, uint16_t v) { std::memcpy(bytes + at, &v, 2); }
  uint32_t Sequence() const { return U32(kSequence); }
  uint16_t Type() const { return U16(kType); }
};

// A data path the PBX started towards the library; a send-data request names
// it by its device.
struct DataPath {
  std::string device;
  CSTA3V6::AsnOcts crossRefId;       // four octets: the path number, little-endian
  uint32_t number;
};

// One monitor the host told the library about.
struct MonitorEntry {
  char device[16];                   // zero-terminated, bounded to the field
  CSTA3V6::AsnOcts crossRefId;
};

struct LineState {
  uint32_t invokeCounter = 0;        // never reset after load
  uint64_t pendingSerial = 0;        // last serial given to a pending entry; never reset after load
  uint32_t resets = 0;               // line resets so far: a loop that calls the host checks it afterwards
  std::list<PendingRequest> pending; // in order of sending
  std::list<EventDataRecord> events; // in order of storing
  std::list<MonitorEntry> monitors;  // in order of start
  // Request and answer state that a line reset clears.
  uint32_t cdrSession = 0;           // set by the CDR start request
  // Sequence number of the record collecting a list query's answer, 0 when
  // none. Freed when the last part arrives, when the query fails (refused
  // send, error, reject) and whenever that record goes (fetched, expired).
  uint32_t listQueryHandle = 0;
  CSTA3V6::AsnOcts cdrCrossRefId;    // from the PBX's CDR start result
  uint8_t stateFlag = 0;             // from the answer to the 0x91 request
  std::vector<uint8_t> maintSessions; // session references the PBX answered, in order
  std::list<DataPath> dataPaths;
  uint32_t dataPathCounter = 0;      // path numbers; survives line resets
  uint32_t limitsReported = 0;       // limits already logged since the last reset, one bit each
};

// The tables for every line (room for line 0 only).
LineState &Line(uint32_t line);
// The library-wide event sequence counter (0 at load, pre-incremented).
uint32_t &EventSequenceCounter();
// Brings the whole link state back to its load-time values (tests, and load).
void ResetAllForLoad();

uint32_t NextInvokeId(uint32_t line);

// TAPI completion through the host's reply callback, then the debug text.
uint32_t SendReply(uint32_t line, uint32_t requestId, uint32_t result);
// One line event with the three words of a packed 12-byte header.
void RaiseEvent(uint32_t line, const uint32_t event[3]);
void RaiseEventHeader(uint32_t line, const uint8_t header[12]);
// Completes the first pending entry with request's invoke id; the entry stays.
void ReplyToPending(const PendingRequest &request, uint32_t result);
// Appends a copy of request under a new serial; returns that serial.
uint64_t AddPending(uint32_t line, const PendingRequest &request);
// Removes the pending entry with this serial if it is still listed (a host
// callback may already have answered it or reset the line).
void RemovePending(uint32_t line, uint64_t serial);
// The first pending entry of the line with this invoke id, or end.
std::list<PendingRequest>::iterator FindPending(uint32_t line, uint32_t invokeId);

uint32_t StoreEventData(uint32_t line, const EventDataRecord &record);
uint32_t FetchEventData(uint32_t line, uint32_t sequence, uint8_t out[kEventRecordSize], uint32_t consume);
uint32_t HasEventData(uint32_t line, uint32_t sequence);
uint32_t RemoveEventData(uint32_t line, uint32_t sequence);
EventDataRecord *FindEventData(uint32_t line, uint32_t sequence);

// The first refusal of a limit (one bit of LineState::limitsReported) since
// the line's last reset goes to the event log with text; later ones do not.
constexpr uint32_t kLimitDataPaths = 1, kLimitListEntries = 2;
void ReportLimitOnce(uint32_t line, uint32_t limit, const char *text);

// Drops the line's pending requests (no replies), event data, monitors and
// request state; the invoke-id counter and the data-path counter stay.
void LineReset(uint32_t line);

// One device-specific request while its encoder runs on this thread. The
// encoder's send lists it as pending before the host's send callback runs,
// so that an answer the host hands in from inside that callback finds it.
struct RequestInFlight {
  uint32_t line;
  uint32_t requestId;
  uint8_t *block;
  uint32_t size;
  uint64_t serial = 0;            // the entry listed before sending, 0 when none
  uint32_t invokeId = 0;          // its invoke id
  AnswerKind answer = AnswerKind::kGeneral;  // set by the bridge before it sends
  bool settledDuringSend = false; // answered or dropped while the host held a refused message
  RequestInFlight *outer = nullptr;
};

// Runs the encoder of one device-specific request and completes the request
// from its result (CompleteRequest), unless it was listed before sending and
// the host's callbacks already settled it. An exception from the encoder
// leaves nothing listed and passes on.
uint32_t RunRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size,
                    int32_t (*encoder)(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size));
// Marks the request RunRequest is handling (if any) with the answer kind its
// pending entry will carry.
void SetAnswerKind(AnswerKind answer);
// Around the host's send callback (SendRequest): lists the request in flight
// for block under invokeId (returns its serial, 0 when there is none to
// list), and afterwards takes it off again when the host refused the message.
uint64_t ListBeforeSend(uint32_t line, const void *block, uint32_t invokeId);
void SettleAfterSend(uint32_t line, uint64_t serial, uint32_t accepted);

// Completes a request from its encoder's result: an invoke id makes it
// pending, everything else is answered now. Returns 0 when the reply went out
// (or the request is pending), else 0xC0000001.
uint32_t CompleteRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size, int32_t encoderResult,
                         AnswerKind answer = AnswerKind::kGeneral);

// The timer procedure: requests older than 90 s fail with 0xC0000012, event
// data older than 120 s is dropped; ages are measured from the sent or stored
// tick, so they hold across the tick's wrap. Only line 0 is swept. Expired
// requests leave the list before the first reply goes out; when a reply
// callback resets the line, the remaining expired requests are dropped
// without replies, as the reset drops every other request.
void SweepTimeouts(uint32_t now);

// Monitor registry.
uint32_t MonitorStartHandler(uint32_t line, const char *device, const CSTA3V6::AsnOcts &crossRefId);
uint32_t MonitorStopHandler(uint32_t line, const char *device);
void MonitorClearHandler(uint32_t line);
const MonitorEntry *FindMonitorByCrossRef(uint32_t line, const char *octets, size_t length);

}  // namespace k3

#endif
