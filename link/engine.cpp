#include "link/engine.h"

#include <algorithm>
#include <iterator>

#include "link/platform.h"

namespace k3 {

CallbackTable g_callbacks = {};

namespace {
constexpr uint16_t kLimitLogCategory = 4;  // "Error"
LineState g_line0;
uint32_t g_eventSequence = 0;
thread_local RequestInFlight *g_inFlight = nullptr;

// More than lifetime milliseconds from since to now. The tick wraps every
// 49.7 days, so the time passed is compared, not the ticks themselves; a
// since slightly after now (stored after the timer took its tick) counts as
// nothing passed.
bool Outlived(uint32_t now, uint32_t since, uint32_t lifetime) {
  return static_cast<int32_t>(now - since) > static_cast<int32_t>(lifetime);
}

bool IsListed(uint32_t line, uint64_t serial) {
  const auto &pending = Line(line).pending;
  return std::any_of(pending.begin(), pending.end(), [serial](const PendingRequest &p) { return p.serial == serial; });
}
}  // namespace

LineState &Line(uint32_t) { return g_line0; }
uint32_t &EventSequenceCounter() { return g_eventSequence; }

void ResetAllForLoad() {
  g_line0 = LineState();
  g_eventSequence = 0;
}

uint32_t NextInvokeId(uint32_t line) {
  uint32_t &counter = Line(line).invokeCounter;
  ++counter;
  if (counter < kFirstInvokeId || counter > kLastInvokeId) counter = kFirstInvokeId;
  return counter;
}

uint32_t SendReply(uint32_t line, uint32_t requestId, uint32_t result) {
  // Line open never stores a null reply callback; the phone path cannot clear it.
  uint32_t r = g_callbacks.reply ? g_callbacks.reply(line, requestId, result) : 0;
  DebugSendReply();
  return r;
}

void RaiseEvent(uint32_t line, const uint32_t event[3]) {
  if (g_callbacks.event) g_callbacks.event(line, event[0], event[1], event[2], 0);
}

void RaiseEventHeader(uint32_t line, const uint8_t header[12]) {
  uint32_t words[3];
  std::memcpy(words, header, sizeof words);
  RaiseEvent(line, words);
}

std::list<PendingRequest>::iterator FindPending(uint32_t line, uint32_t invokeId) {
  auto &pending = Line(line).pending;
  return std::find_if(pending.begin(), pending.end(),
                      [invokeId](const PendingRequest &p) { return p.invokeId == invokeId; });
}

void ReplyToPending(const PendingRequest &request, uint32_t result) {
  auto it = FindPending(request.line, request.invokeId);
  if (it != Line(request.line).pending.end()) SendReply(it->line, it->requestId, result);
}

uint64_t AddPending(uint32_t line, const PendingRequest &request) {
  LineState &s = Line(line);
  PendingRequest &added = s.pending.emplace_back(request);
  added.serial = ++s.pendingSerial;
  return added.serial;
}

void RemovePending(uint32_t line, uint64_t serial) {
  auto &pending = Line(line).pending;
  auto it = std::find_if(pending.begin(), pending.end(), [serial](const PendingRequest &p) { return p.serial == serial; });
  if (it != pending.end()) pending.erase(it);
}

uint32_t StoreEventData(uint32_t line, const EventDataRecord &record) {
  uint32_t sequence = ++g_eventSequence;
  uint32_t now = TickCount();
  auto &stored = Line(line).events.emplace_back(record);
  stored.SetU32(EventDataRecord::kSequence, sequence);
  stored.SetU32(EventDataRecord::kRefCount, 1);
  stored.SetU32(EventDataRecord::kStoredTick, now);
  stored.SetU32(EventDataRecord::kDeadlineTick, now + kEventLifetimeMs);
  return sequence;
}

// Removes a stored record; a list query collecting into it is over.
static void EraseRecord(LineState &s, std::list<EventDataRecord>::iterator it) {
  if (it->Sequence() == s.listQueryHandle) s.listQueryHandle = 0;
  s.events.erase(it);
}

static std::list<EventDataRecord>::iterator FindRecord(uint32_t line, uint32_t sequence) {
  auto &events = Line(line).events;
  return std::find_if(events.begin(), events.end(),
                      [sequence](const EventDataRecord &r) { return r.Sequence() == sequence; });
}

EventDataRecord *FindEventData(uint32_t line, uint32_t sequence) {
  auto it = FindRecord(line, sequence);
  return it == Line(line).events.end() ? nullptr : &*it;
}

uint32_t FetchEventData(uint32_t line, uint32_t sequence, uint8_t out[kEventRecordSize], uint32_t consume) {
  auto it = FindRecord(line, sequence);
  if (it == Line(line).events.end()) return 0;
  std::memcpy(out, it->bytes, kEventRecordSize);
  if (consume) {
    uint32_t refs = it->U32(EventDataRecord::kRefCount) - 1;
    it->SetU32(EventDataRecord::kRefCount, refs);
    if (refs == 0) EraseRecord(Line(line), it);
  }
  return 1;
}

uint32_t HasEventData(uint32_t line, uint32_t sequence) { return FindEventData(line, sequence) ? 1 : 0; }

uint32_t RemoveEventData(uint32_t line, uint32_t sequence) {
  auto it = FindRecord(line, sequence);
  if (it == Line(line).events.end()) return 0;
  EraseRecord(Line(line), it);
  return 1;
}

void LineReset(uint32_t line) {
  LineState &s = Line(line);
  ++s.resets;
  s.pending.clear();
  s.events.clear();
  s.monitors.clear();
  s.cdrSession = 0;
  s.listQueryHandle = 0;
  s.cdrCrossRefId = CSTA3V6::AsnOcts();
  s.maintSessions.clear();
  s.dataPaths.clear();
  s.limitsReported = 0;
}

void ReportLimitOnce(uint32_t line, uint32_t limit, const char *text) {
  LineState &s = Line(line);
  if (s.limitsReported & limit) return;
  s.limitsReported |= limit;
  ReportLog(kLimitLogCategory, "%s", text);
}

uint64_t ListBeforeSend(uint32_t line, const void *block, uint32_t invokeId) {
  RequestInFlight *req = g_inFlight;
  if (!req || req->serial || req->line != line || req->block != block || !block) return 0;
  uint32_t now = TickCount();
  uint16_t type = 0;
  std::memcpy(&type, req->block, sizeof type);  // the encoder has checked the size
  req->serial = AddPending(line, PendingRequest{invokeId, type, req->block, req->size, req->requestId, line, now,
                                                now + kRequestLifetimeMs, 0, req->answer});
  req->invokeId = invokeId;
  return req->serial;
}

void SettleAfterSend(uint32_t line, uint64_t serial, uint32_t accepted) {
  RequestInFlight *req = g_inFlight;
  if (!req || req->serial != serial || accepted) return;
  // Refused: the request is not at the PBX. If the host's callbacks already
  // answered it or reset the line meanwhile, it must not be completed again.
  if (IsListed(line, serial))
    RemovePending(line, serial);
  else
    req->settledDuringSend = true;
  req->serial = 0;
}

uint32_t RunRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size,
                    int32_t (*encoder)(uint32_t, uint32_t, uint8_t *, uint32_t)) {
  RequestInFlight req{line, requestId, block, size};
  req.outer = g_inFlight;
  g_inFlight = &req;
  struct Leave {
    RequestInFlight &req;
    ~Leave() {
      g_inFlight = req.outer;
      if (req.serial) RemovePending(req.line, req.serial);  // the encoder threw after sending
    }
  } leave{req};
  int32_t r = encoder(line, requestId, block, size);
  if (req.serial) {
    const uint64_t serial = req.serial;
    req.serial = 0;
    // Listed under the invoke id the encoder returns: pending, or already
    // answered from inside the send callback.
    if (r == static_cast<int32_t>(req.invokeId)) return 0;
    // The encoder decided otherwise after sending: its result completes the
    // request, unless an answer did so already.
    bool listed = IsListed(line, serial);
    RemovePending(line, serial);
    if (!listed) return 0;
  }
  if (req.settledDuringSend) return 0;
  return CompleteRequest(line, requestId, block, size, r, req.answer);
}

void SetAnswerKind(AnswerKind answer) {
  if (g_inFlight) g_inFlight->answer = answer;
}

uint32_t CompleteRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size, int32_t r,
                         AnswerKind answer) {
  if (r >= static_cast<int32_t>(kFirstInvokeId)) {
    uint32_t now = TickCount();
    uint16_t type = 0;
    std::memcpy(&type, block, sizeof type);  // the encoder has checked the size
    AddPending(line, PendingRequest{static_cast<uint32_t>(r), type, block, size, requestId, line, now,
                                    now + kRequestLifetimeMs, 0, answer});
    return 0;
  }
  uint32_t result = K3_RESULT_SUCCESS;
  if (r == kEncoderNotSent) {
    DebugMissingPbxAnswer(r);
    result = K3_RESULT_NO_PBX_ANSWER;
  } else if (r >= kEncoderFirstRefusal && r <= kEncoderLastRefusal) {
    result = kFirstRefusalResult + static_cast<uint32_t>(r - kEncoderFirstRefusal);
  }
  return SendReply(line, requestId, result) ? 0 : K3_RESULT_NOT_QUEUED;
}

void SweepTimeouts(uint32_t now) {
  LineState &s = Line(0);
  // Take the expired requests off the list first: a reply callback may reset
  // the line, dispatch an answer or start a request, so no iterator into the
  // list may live across it.
  std::list<PendingRequest> expired;
  for (auto it = s.pending.begin(); it != s.pending.end();) {
    auto next = std::next(it);
    if (Outlived(now, it->sentTick, kRequestLifetimeMs)) expired.splice(expired.end(), s.pending, it);
    it = next;
  }
  for (auto it = s.events.begin(); it != s.events.end();) {
    auto next = std::next(it);
    if (Outlived(now, it->U32(EventDataRecord::kStoredTick), kEventLifetimeMs)) EraseRecord(s, it);
    it = next;
  }
  const uint32_t resets = s.resets;
  for (const PendingRequest &p : expired) {
    if (s.resets != resets) break;  // reset from a reply: the rest is dropped unanswered
    SendReply(p.line, p.requestId, K3_RESULT_NO_PBX_ANSWER);
  }
}

uint32_t MonitorStartHandler(uint32_t line, const char *device, const CSTA3V6::AsnOcts &crossRefId) {
  MonitorEntry &e = Line(line).monitors.emplace_back();
  std::memset(e.device, 0, sizeof e.device);
  if (device) {
    // Bounded to the field: a longer text is cut and stays terminated.
    size_t n = strnlen(device, sizeof e.device - 1);
    std::memcpy(e.device, device, n);
  }
  e.crossRefId = crossRefId;
  return 1;
}

uint32_t MonitorStopHandler(uint32_t line, const char *device) {
  auto &monitors = Line(line).monitors;
  for (auto it = monitors.begin(); it != monitors.end(); ++it) {
    if (device && std::strncmp(it->device, device, sizeof it->device) == 0) {
      monitors.erase(it);
      return 1;
    }
  }
  return 0;
}

void MonitorClearHandler(uint32_t line) { Line(line).monitors.clear(); }

const MonitorEntry *FindMonitorByCrossRef(uint32_t line, const char *octets, size_t length) {
  for (const MonitorEntry &e : Line(line).monitors) {
    if (e.crossRefId.octetLen == length && (length == 0 || std::memcmp(e.crossRefId.octs, octets, length) == 0))
      return &e;
  }
  return nullptr;
}

}  // namespace k3
