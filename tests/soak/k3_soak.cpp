// k3-soak: drives many requests through Kestrel3.dll from several host threads
// while a simulated PBX answers from threads of its own, in every way a PBX
// may: results, refusals, ROSE errors and rejects, answers for invoke ids that
// were never issued, foreign or garbage private data, silence. The line is
// closed and reopened between batches, while no traffic is in flight. The host
// misbehaves as well: for a share of requests its send callback hands the
// PBX's answer in at once, from inside the callback; and now and then a send
// or reply callback closes and reopens the line in the middle of the traffic.
//
//   k3-soak [--requests N] [--seed N]
//
// Checks: every request is completed exactly once with the result its answer
// calls for, or not at all where no completion is due (a silent request, an
// answer the library must drop, a request dropped by a line reset); a request
// that a close in a callback overtook is completed at most once, with its
// result or as not queued; no completion names an unknown request id or comes
// twice; private bytes are flat between the end of the warm-up batch and the
// end of the run.
// Exit status 0 when every check passed.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "csta3_model.h"
#include "host/scenario.h"
#include "host/k3_dll.h"

using namespace CSTA3V6;

namespace {

// What a request may end with.
enum class Outcome {
  Once,        // completed exactly once with the plan's result
  Never,       // never completed (silence, or an answer the library must drop)
  AtMostOnce,  // garbage private data: completed at most once
};

enum class Pbx { Answer, Silence, Refuse, NotSent };

struct PlanText {
  const char *label;
  const char *request;  // a scenario "request" line
  Pbx pbx;
  const char *answer;   // a scenario "pbx" line, or null
  const char *stray;    // an answer under an invoke id that is not pending, sent first
  Outcome outcome;
  uint32_t result;
  int weight;
  // A reply field to check after a successful answer: a 16-bit value or a text.
  int checkOffset;
  uint16_t checkU16;
  const char *checkText;
};

// Answers with the values the library's converters are known to map.
const PlanText kPlans[] = {
    {"time", "request r AMHOST_8_2", Pbx::Answer, "pbx result amhost=8/2/2 248=17,45,9", nullptr, Outcome::Once, 0,
     20, 2, 17, nullptr},
    {"time, element missing", "request r AMHOST_8_2", Pbx::Answer, "pbx result amhost=8/2/2", nullptr, Outcome::Once,
     0xC0000011, 5, -1, 0, nullptr},
    {"server flag", "request r AMHOST_10_7_8 flag=5", Pbx::Answer, "pbx result amhost=10/8/2", nullptr,
     Outcome::Once, 0, 10, -1, 0, nullptr},
    {"tracer", "request r ACL2_240 selector=1", Pbx::Answer, "pbx result amhost=0/0/2", nullptr, Outcome::Once, 0,
     5, -1, 0, nullptr},
    {"station", "request r AMHOST_1_2 device=4711", Pbx::Answer,
     "pbx result amhost=1/2/2 211=4711 163=\"Anna Berg\" 165=1234 162=0815", nullptr, Outcome::Once, 0, 8, 11, 0,
     "Anna Berg"},
    {"refused by cause 60", "request r AMHOST_1_1_A device=4711 name=Bob", Pbx::Answer,
     "pbx result amhost=1/1/3 173=60", nullptr, Outcome::Once, 0xC0000015, 5, -1, 0, nullptr},
    {"agent state", "request r SET_AGENT_STATE device=4711 state=3", Pbx::Answer, "pbx result", nullptr,
     Outcome::Once, 0, 8, -1, 0, nullptr},
    {"tlv list", "request r PRIVATE_TLV_LIST tag1=0x10 format1=0x02 value1=AB", Pbx::Answer,
     "pbx result amhost=11/8/2", nullptr, Outcome::Once, 0, 3, -1, 0, nullptr},
    {"ROSE error", "request r AMHOST_8_8 value1=10 value2=11 value3=12", Pbx::Answer, "pbx error code=3", nullptr,
     Outcome::Once, 0xC0000014, 6, -1, 0, nullptr},
    {"reject", "request r AMHOST_10_7_8 flag=0", Pbx::Answer, "pbx reject", nullptr, Outcome::Once, 0xC0000014, 6,
     -1, 0, nullptr},
    {"stray result 32767 first", "request r AMHOST_8_2", Pbx::Answer, "pbx result amhost=8/2/2 248=3,4,5",
     "pbx result invoke=32767 amhost=8/2/2 248=1,1,1", Outcome::Once, 0, 4, 2, 3, nullptr},
    {"stray error 65536 first", "request r AMHOST_8_2", Pbx::Answer, "pbx result amhost=8/2/2 248=6,7,8",
     "pbx error invoke=65536 code=1", Outcome::Once, 0, 3, 2, 6, nullptr},
    {"stray reject 0 first", "request r AMHOST_10_7_8 flag=1", Pbx::Answer, "pbx result amhost=10/8/2",
     "pbx reject invoke=0", Outcome::Once, 0, 3, -1, 0, nullptr},
    {"foreign manufacturer", "request r AMHOST_8_2", Pbx::Answer,
     "pbx result amhost=8/2/2 248=1,1,1 oid=1.3.12.2.1107.16", nullptr, Outcome::Never, 0, 3, -1, 0, nullptr},
    {"garbage private octets", "request r AMHOST_8_2", Pbx::Answer, "pbx result raw=hex:FFFF00DEADBEEF0102",
     nullptr, Outcome::AtMostOnce, 0, 2, -1, 0, nullptr},
    {"truncated private octets", "request r AMHOST_1_2 device=4711", Pbx::Answer, "pbx result raw=hex:1A0402C41E",
     nullptr, Outcome::AtMostOnce, 0, 2, -1, 0, nullptr},
    {"silence", "request r AMHOST_10_2 flag=1", Pbx::Silence, nullptr, nullptr, Outcome::Never, 0, 2, -1, 0,
     nullptr},
    {"link refuses", "request r AMHOST_8_2", Pbx::Refuse, nullptr, nullptr, Outcome::Once, 0xC0000012, 3, -1, 0,
     nullptr},
    {"size 9", "request r AMHOST_8_2 size=9", Pbx::NotSent, nullptr, nullptr, Outcome::Once, 0xC0000002, 3, -1, 0,
     nullptr},
    {"unknown type", "request r RESERVED_47 @0:u16=0x99", Pbx::NotSent, nullptr, nullptr, Outcome::Once,
     0xC0000002, 1, -1, 0, nullptr},
    {"reserved 0x47", "request r RESERVED_47", Pbx::NotSent, nullptr, nullptr, Outcome::Once, 0xC0000012, 2, -1, 0,
     nullptr},
};
constexpr size_t kPlanCount = sizeof kPlans / sizeof kPlans[0];
constexpr uint32_t kSlotBytes = 256;  // room for the largest structure used (222 bytes)

struct Plan {
  const PlanText *text;
  std::vector<uint8_t> block;  // the structure as the request sends it
  uint32_t size = 0;
  k3s::Step answer, stray;
};
std::vector<Plan> g_plans;

// One request: the host's structure (first, so that the block pointer the
// library passes back finds its slot) and what became of it.
struct Slot {
  uint8_t block[kSlotBytes];
  uint16_t plan;
  std::atomic<uint32_t> completions;
  std::atomic<uint32_t> result;
  std::atomic<uint32_t> sends;
  std::atomic<bool> settled;
  bool dropped;  // still open when the line was reset
  uint32_t epochIssued;                 // closes in callbacks before it was issued
  std::atomic<uint32_t> epochSettled;   // ... and before it was settled
  bool refusedByClose;                  // refused by the export during such a close
  bool beforeReset;                     // issued while a reopen's reset was still queued
};
std::unique_ptr<Slot[]> g_slots;
uint32_t g_slotCount = 0;

std::atomic<int64_t> g_outstanding{0};
std::atomic<uint32_t> g_unknownIds{0}, g_repeated{0}, g_badSends{0}, g_decodeErrors{0}, g_notQueued{0};
std::atomic<uint32_t> g_dispatchFailed{0}, g_strayCompleted{0}, g_notCompletedByAnswer{0}, g_badField{0};
std::atomic<uint32_t> g_fromPbx{0};

// Closes from inside callbacks: how many so far, and whether one is under way
// (requests refused meanwhile are the close's doing).
std::atomic<uint32_t> g_closeEpoch{0}, g_callbackCloses{0}, g_refusedByClose{0}, g_inlineAnswers{0};
std::atomic<bool> g_closing{false};
// The reopen resets the line once more when the worker reaches it: requests
// queued before that are dropped too. A marker request queued right behind
// the reopen tells when the reset has happened.
std::atomic<bool> g_resetQueued{false};
constexpr uint32_t kMarkerId = 0xFFFF0000u;
uint8_t g_marker[9] = {0x41, 0x00};  // wrong size: completed at once, sends nothing
// One request in kInlineShare is answered from inside its send callback; one
// in kCloseShare closes the line from inside a callback.
constexpr uint32_t kInlineShare = 8, kCloseShare = 2500;

void Settle(Slot &s) {
  if (!s.settled.exchange(true)) {
    s.epochSettled = g_closeEpoch.load();
    g_outstanding.fetch_sub(1);
  }
}

Slot *SlotOfBlock(const void *block) {
  const uint8_t *p = static_cast<const uint8_t *>(block);
  const uint8_t *base = reinterpret_cast<const uint8_t *>(g_slots.get());
  if (!p || p < base || p >= base + size_t(g_slotCount) * sizeof(Slot)) return nullptr;
  size_t off = size_t(p - base);
  if (off % sizeof(Slot) != 0) return nullptr;
  return &g_slots[off / sizeof(Slot)];
}

// ---- the simulated PBX ---------------------------------------------------------

struct ToPbx {
  Slot *slot;
  std::unique_ptr<CSTAMsg> msg;
};
std::mutex g_pbxLock;
std::condition_variable g_pbxCv;
std::deque<ToPbx> g_pbxQueue;
int g_pbxBusy = 0;
bool g_pbxStop = false;

void HandleAtPbx(ToPbx &t);
void CloseAndReopenFromCallback();
K3_REPLY_CALLBACK g_replyCallback;

uint32_t K3_CALL OnSend(uint32_t, const void *message, void *block, uint32_t) {
  Slot *s = SlotOfBlock(block);
  if (!s || !message) {
    ++g_badSends;
    return 0;
  }
  const PlanText &p = *g_plans[s->plan].text;
  if (s->sends.fetch_add(1) != 0 || p.pbx == Pbx::NotSent) ++g_badSends;
  if (p.pbx == Pbx::Refuse) return 0;
  // The library's object lives only during this call: the link encodes it, the
  // PBX works on what it decodes.
  ToPbx t{s, std::make_unique<CSTAMsg>()};
  std::vector<unsigned char> ber;
  std::string err;
  if (!k3s::RoundTrip(*static_cast<const CSTAMsg *>(message), *t.msg, ber, err)) {
    ++g_decodeErrors;
    Settle(*s);
    return 1;
  }
  const uint32_t index = uint32_t(s - g_slots.get());
  if (index % kCloseShare == kCloseShare / 2) CloseAndReopenFromCallback();
  if (index % kInlineShare == 1) {
    // The host's link answers at once, from inside this callback, on the
    // library's own thread.
    ++g_inlineAnswers;
    {
      std::lock_guard<std::mutex> l(g_pbxLock);
      ++g_pbxBusy;
    }
    HandleAtPbx(t);
    return 1;
  }
  std::lock_guard<std::mutex> l(g_pbxLock);
  g_pbxQueue.push_back(std::move(t));
  g_pbxCv.notify_one();
  return 1;
}

uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t result) {
  if (requestId == kMarkerId) {
    g_resetQueued = false;
    return 1;
  }
  if (requestId == 0 || requestId > g_slotCount) {
    ++g_unknownIds;
    return 1;
  }
  Slot &s = g_slots[requestId - 1];
  s.result = result;
  if (s.completions.fetch_add(1) != 0) ++g_repeated;
  // Requests that never reach the PBX are settled by their completion; the
  // others by the PBX thread once their answer was handed over.
  Pbx pbx = g_plans[s.plan].text->pbx;
  if (pbx == Pbx::Refuse || pbx == Pbx::NotSent || result == K3_RESULT_NOT_QUEUED) Settle(s);
  // Now and then the completion of an answered request closes the line, from
  // inside the library's handling of the answer.
  if (pbx == Pbx::Answer && requestId % kCloseShare == 7) CloseAndReopenFromCallback();
  return 1;
}

uint32_t K3_CALL OnEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }

K3Dll g_dll;

void CloseAndReopenFromCallback() {
  g_resetQueued = true;
  g_closing = true;
  ++g_closeEpoch;
  ++g_callbackCloses;
  g_dll.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
  g_dll.lineOpen(0, 0x00020000, g_replyCallback, OnEvent, nullptr, OnSend, nullptr);
  g_dll.devSpecific(0, kMarkerId, g_marker, sizeof g_marker);
  g_closing = false;
}

bool Deliver(const k3s::Step &step, const CSTAMsg &answered) {
  CSTAMsg out, decoded;
  std::vector<unsigned char> ber;
  std::string err;
  if (!k3s::BuildAnswer(step, answered, out, err) || !k3s::RoundTrip(out, decoded, ber, err)) {
    ++g_decodeErrors;
    return false;
  }
  ++g_fromPbx;
  if (g_dll.fromVorta(0, &decoded) != 1) {
    ++g_dispatchFailed;
    return false;
  }
  return true;
}

void PbxThread() {
  for (;;) {
    ToPbx t;
    {
      std::unique_lock<std::mutex> l(g_pbxLock);
      g_pbxCv.wait(l, [] { return g_pbxStop || !g_pbxQueue.empty(); });
      if (g_pbxQueue.empty()) return;
      t = std::move(g_pbxQueue.front());
      g_pbxQueue.pop_front();
      ++g_pbxBusy;
    }
    HandleAtPbx(t);
  }
}

// The PBX's side of one request: stray answer first if planned, then the
// answer; the library completes the request during the call.
void HandleAtPbx(ToPbx &t) {
  Slot &s = *t.slot;
  const Plan &p = g_plans[s.plan];
  if (p.text->pbx == Pbx::Answer) {
    if (p.text->stray) {
      Deliver(p.stray, *t.msg);
      if (s.completions.load() != 0) ++g_strayCompleted;
    }
    // The library completes the request on this thread, during the call.
    if (Deliver(p.answer, *t.msg) && p.text->outcome == Outcome::Once) {
      if (s.completions.load() != 1) {
        // Unless a close in a callback dropped it first.
        if (g_closeEpoch.load() == s.epochIssued && !s.beforeReset) ++g_notCompletedByAnswer;
      } else if (s.result.load() == 0 && p.text->checkOffset >= 0) {
        bool ok = p.text->checkText
                      ? std::strcmp(reinterpret_cast<const char *>(s.block + p.text->checkOffset),
                                    p.text->checkText) == 0
                      : (s.block[p.text->checkOffset] | s.block[p.text->checkOffset + 1] << 8) == p.text->checkU16;
        if (!ok) ++g_badField;
      }
    }
  }
  Settle(s);
  std::lock_guard<std::mutex> l(g_pbxLock);
  --g_pbxBusy;
  g_pbxCv.notify_all();
}

// ---- the TAPI side ---------------------------------------------------------------

std::mutex g_batchLock;
std::condition_variable g_batchCv;
uint32_t g_batchEnd = 0;  // requests with index below this may be issued
uint32_t g_batchNo = 0;
int g_hostsDone = 0;
bool g_hostStop = false;
std::atomic<uint32_t> g_next{0};
constexpr int64_t kWindow = 400;  // requests in flight at most (the thread queue holds 10000)

void HostThread(uint32_t seed) {
  std::mt19937 rng(seed);
  int total = 0;
  for (const Plan &p : g_plans) total += p.text->weight;
  std::uniform_int_distribution<int> pick(0, total - 1);
  uint32_t batch = 0;
  for (;;) {
    uint32_t end;
    {
      std::unique_lock<std::mutex> l(g_batchLock);
      g_batchCv.wait(l, [&] { return g_hostStop || g_batchNo != batch; });
      if (g_hostStop) return;
      batch = g_batchNo;
      end = g_batchEnd;
    }
    for (;;) {
      while (g_outstanding.load() >= kWindow) Sleep(0);
      uint32_t i = g_next.fetch_add(1);
      if (i >= end) {
        g_next.store(end);  // others that overshot leave it at the batch end too
        break;
      }
      int w = pick(rng);
      uint16_t planNo = 0;
      while (w >= g_plans[planNo].text->weight) w -= g_plans[planNo++].text->weight;
      const Plan &p = g_plans[planNo];
      Slot &s = g_slots[i];
      std::memset(s.block, 0, kSlotBytes);
      std::memcpy(s.block, p.block.data(), p.block.size());
      s.plan = planNo;
      s.epochIssued = g_closeEpoch.load();
      s.beforeReset = g_resetQueued.load();
      g_outstanding.fetch_add(1);
      uint32_t q = g_dll.devSpecific(0, i + 1, s.block, p.size);
      if (q != 0) {
        if (g_closing || g_closeEpoch.load() != s.epochIssued)
          ++g_refusedByClose, s.refusedByClose = true;
        else
          ++g_notQueued;
        Settle(s);
      }
    }
    std::lock_guard<std::mutex> l(g_batchLock);
    ++g_hostsDone;
    g_batchCv.notify_all();
  }
}

// ---- bookkeeping -------------------------------------------------------------------

bool LoadPlans() {
  for (size_t i = 0; i < kPlanCount; ++i) {
    const PlanText &t = kPlans[i];
    std::string text = std::string(t.request) + "\n" + (t.answer ? t.answer : "") + "\n" + (t.stray ? t.stray : "");
    std::istringstream in(text);
    std::vector<k3s::Step> steps;
    std::vector<std::string> errors;
    if (!k3s::ParseScenario(in, t.label, steps, errors)) {
      for (const std::string &e : errors) std::fprintf(stderr, "%s\n", e.c_str());
      return false;
    }
    Plan p;
    p.text = &t;
    const k3s::Step &r = steps[0];
    const k3s::StructInfo *info = k3s::FindStructure(r.words[2]);
    if (!info) return std::fprintf(stderr, "%s: unknown structure\n", t.label), false;
    p.size = info->defaultSize;
    std::vector<uint8_t> room(k3s::kBlockRoom, 0);
    room[0] = uint8_t(info->type), room[1] = uint8_t(info->type >> 8);
    for (const k3s::Arg &a : r.args) {
      if (a.key == "size") {
        p.size = uint32_t(a.value.number);
        continue;
      }
      k3s::Field raw;
      const k3s::Field *f = k3s::FindField(*info, a.key);
      if (!f && k3s::ParseRawField(a.key, raw)) f = &raw;
      std::string err;
      if (!f || !k3s::PutField(room.data(), k3s::kBlockRoom, *f, a.value, err))
        return std::fprintf(stderr, "%s: field %s: %s\n", t.label, a.key.c_str(), err.c_str()), false;
    }
    uint32_t used = std::max(p.size, info->defaultSize);
    if (used + 2 > kSlotBytes) return std::fprintf(stderr, "%s: structure too large\n", t.label), false;
    p.block.assign(room.begin(), room.begin() + used);
    size_t n = 1;
    if (t.answer) p.answer = steps[n++];
    if (t.stray) p.stray = steps[n++];
    g_plans.push_back(std::move(p));
  }
  return true;
}

// Committed private memory of the process: the sum of its committed private
// regions (Wine leaves the process counters' PrivateUsage at 0).
uint64_t PrivateBytes() {
  uint64_t sum = 0;
  MEMORY_BASIC_INFORMATION mbi;
  for (const char *p = nullptr; VirtualQuery(p, &mbi, sizeof mbi) == sizeof mbi;) {
    if (mbi.State == MEM_COMMIT && mbi.Type == MEM_PRIVATE) sum += mbi.RegionSize;
    const char *next = static_cast<const char *>(mbi.BaseAddress) + mbi.RegionSize;
    if (next <= p) break;
    p = next;
  }
  return sum;
}

struct BatchRun {
  double secs = 0;
  uint64_t baseline = 0;  // private bytes after the warm-up batch
  uint32_t resets = 0, stalled = 0;
};

// Hands the host threads one batch at a time; after each, waits for it to
// drain, then closes and reopens the line.
BatchRun RunBatches(uint32_t batch, uint32_t hosts) {
  BatchRun r;
  auto start = std::chrono::steady_clock::now();
  for (uint32_t begin = 0; begin < g_slotCount; begin += batch) {
    uint32_t end = std::min(begin + batch, g_slotCount);
    {
      std::lock_guard<std::mutex> l(g_batchLock);
      g_hostsDone = 0;
      g_batchEnd = end;
      ++g_batchNo;
      g_batchCv.notify_all();
    }
    {
      std::unique_lock<std::mutex> l(g_batchLock);
      g_batchCv.wait(l, [&] { return g_hostsDone == int(hosts); });
    }
    // Drain: every answer handed over and every immediate completion arrived.
    bool drained = false;
    for (int wait = 0; wait < 60000 && !drained; wait += 5) {
      {
        std::lock_guard<std::mutex> l(g_pbxLock);
        drained = g_outstanding.load() == 0 && g_pbxQueue.empty() && g_pbxBusy == 0;
      }
      if (!drained) Sleep(5);
    }
    if (!drained) {
      ++r.stalled;
      std::printf("batch ending at %u did not drain: %lld request(s) outstanding\n", end,
                  (long long)g_outstanding.load());
      break;
    }
    // Pause, close, reopen: what is still open now is dropped without a completion.
    g_dll.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
    for (uint32_t i = begin; i < end; ++i)
      if (g_slots[i].completions.load() == 0) g_slots[i].dropped = true;
    ++r.resets;
    if (begin == 0) {
      Sleep(100);
      r.baseline = PrivateBytes();
    }
    g_dll.lineOpen(0, 0x00020000, OnReply, OnEvent, nullptr, OnSend, nullptr);
    Sleep(20);  // the reopen is queued behind nothing; let the worker take it
  }
  r.secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return r;
}

void StopThreads(std::vector<std::thread> &threads) {
  {
    std::lock_guard<std::mutex> l(g_batchLock);
    g_hostStop = true;
    g_batchCv.notify_all();
  }
  {
    std::lock_guard<std::mutex> l(g_pbxLock);
    g_pbxStop = true;
    g_pbxCv.notify_all();
  }
  for (std::thread &t : threads) t.join();
}

struct Tally {
  uint32_t issued = 0, ok = 0, bad = 0, completions = 0, dropped = 0, overtaken = 0;
};

// Per request: the outcome its plan calls for.
Tally JudgeRequests() {
  Tally t;
  std::vector<uint32_t> byPlanBad(kPlanCount, 0);
  t.issued = std::min(g_next.load(), g_slotCount);
  for (uint32_t i = 0; i < t.issued; ++i) {
    Slot &s = g_slots[i];
    const PlanText &p = *g_plans[s.plan].text;
    uint32_t n = s.completions.load();
    t.completions += n;
    if (s.dropped) ++t.dropped;
    bool ok;
    switch (p.outcome) {
      case Outcome::Once: ok = n == 1 && s.result.load() == p.result; break;
      case Outcome::Never: ok = n == 0; break;
      default: ok = n <= 1 && !(n == 0 && !s.dropped); break;
    }
    // A close in a callback may drop a request or refuse it; never complete it twice.
    if (!ok && (s.epochSettled.load() != s.epochIssued || s.refusedByClose || s.beforeReset) && n <= 1 &&
        (n == 0 || s.result.load() == p.result || s.result.load() == K3_RESULT_NOT_QUEUED)) {
      ok = true;
      ++t.overtaken;
    }
    if (ok) ++t.ok;
    else if (++t.bad, ++byPlanBad[s.plan] <= 3)
      std::printf("FAILED: request %u (%s): %u completion(s), last result 0x%08X%s\n", i + 1, p.label, n,
                  s.result.load(), s.dropped ? ", dropped by a line reset" : "");
  }
  return t;
}

}  // namespace

int main(int argc, char **argv) {
  const uint32_t requests = ArgNumber(argc, argv, "--requests", 100000);
  const uint32_t seed = ArgNumber(argc, argv, "--seed", 20261123);
  constexpr uint32_t batch = 5000, hosts = 3, pbxThreads = 2;
  g_replyCallback = OnReply;
  const char *dllPath = ArgText(argc, argv, "--dll", "Kestrel3.dll");
  std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16);

  if (!LoadPlans()) return 2;
  // The first batch warms the heaps up; the memory baseline is taken after it.
  g_slotCount = requests + batch;
  g_slots.reset(new Slot[g_slotCount]());  // zeroed
  if (!g_dll.Load(dllPath)) return 2;
  if (g_dll.lineOpen(0, 0x00020000, OnReply, OnEvent, nullptr, OnSend, nullptr) != 1) {
    std::printf("line open failed\n0 passed, 1 failed\n");
    return 1;
  }
  std::printf("k3-soak: %u requests (+%u warm-up) in batches of %u, %u host thread(s), %u PBX thread(s), seed %u\n",
              requests, batch, batch, hosts, pbxThreads, seed);

  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < pbxThreads; ++i) threads.emplace_back(PbxThread);
  for (uint32_t i = 0; i < hosts; ++i) threads.emplace_back(HostThread, seed + 1 + i);

  uint32_t passed = 0, failed = 0;
  auto check = [&](bool ok, const char *what, double a = 0, double b = 0) {
    ok ? ++passed : ++failed;
    if (!ok) std::printf("FAILED: %s (%g, %g)\n", what, a, b);
  };

  const BatchRun run = RunBatches(batch, hosts);
  StopThreads(threads);
  g_dll.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
  Sleep(300);  // late completions, if any, would show up now
  uint64_t final = PrivateBytes();
  const Tally t = JudgeRequests();
  check(run.stalled == 0, "every batch drained");
  check(t.issued == g_slotCount, "every planned request issued", t.issued, g_slotCount);
  check(g_notQueued == 0, "every request queued", g_notQueued);
  check(g_unknownIds == 0, "no completion with an unknown request id", g_unknownIds);
  check(g_repeated == 0, "no request completed twice", g_repeated);
  check(g_badSends == 0, "only requests that go to the PBX were sent, once each", g_badSends);
  check(g_decodeErrors == 0, "every message survived the BER round trip", g_decodeErrors);
  check(g_dispatchFailed == 0, "fn_vrt_CSTAfromVorta returned 1 every time", g_dispatchFailed);
  check(g_strayCompleted == 0, "answers for unknown invoke ids completed nothing", g_strayCompleted);
  check(g_notCompletedByAnswer == 0, "answers completed their request during the call", g_notCompletedByAnswer);
  check(g_badField == 0, "reply fields written from the answers", g_badField);
  check(g_inlineAnswers > 0, "answers handed in from inside the send callback", g_inlineAnswers);
  check(g_callbackCloses > 0, "closes from inside callbacks", g_callbackCloses);
  // Private bytes after the run against after the warm-up batch, both with the line closed.
  const double tolerance = 4.0 * 1024 * 1024;
  double grown = double(final) - double(run.baseline);
  check(run.baseline != 0 && grown <= tolerance, "private bytes flat (growth, tolerance)", grown, tolerance);

  std::printf("\nrequests issued %u, completions %u, messages from the PBX %u, left open and dropped by %u line "
              "resets %u\n",
              t.issued, t.completions, g_fromPbx.load(), run.resets, t.dropped);
  std::printf("inline answers %u, closes from inside callbacks %u, requests they overtook %u, refused while "
              "closed %u\n",
              g_inlineAnswers.load(), g_callbackCloses.load(), t.overtaken, g_refusedByClose.load());
  std::printf("run time %.1f s, %.0f requests/s\n", run.secs, t.issued / run.secs);
  std::printf("private bytes after warm-up %llu, at the end %llu, growth %+lld (tolerance %.0f)\n",
              (unsigned long long)run.baseline, (unsigned long long)final, (long long)(final - run.baseline), tolerance);
  std::printf("requests: %u as expected, %u not\n", t.ok, t.bad);
  check(t.bad == 0, "every request ended as its plan calls for", t.bad);
  std::printf("%u passed, %u failed\n", passed, failed);
  std::fflush(stdout);
  g_dll.Unload();
  return failed ? 1 : 0;
}
