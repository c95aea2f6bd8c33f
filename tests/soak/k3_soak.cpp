// k3-soak: drives many requests through Kestrel3.dll from several host threads
// while a simulated PBX answers from threads of its own, in every way a PBX
// may: results, refusals, ROSE errors and rejects, answers for invoke ids that
// were never issued, foreign or garbage private data, silence. The line is
// closed and reopened between batches, while no traffic is in flight. The host
// misbehaves as well: for a share of requests its send callback hands the
// PBX's answer in at once, from inside the callback.
//
//   k3-soak [--requests N] [--seed N]
//
// Checks: every request is completed exactly once with the result its answer
// calls for, or not at all where no completion is due (a silent request, an
// answer the library must drop, a request dropped by a line reset); no
// completion names an unknown request id or comes twice; private bytes are
// flat between the end of the warm-up batch and the end of the run.
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

enum class Pbx { Answer, Silence, Refuse, NotSent };

// A request, what the PBX does with it, and its verdict in the scenario
// runner's words: "expect r result=R [field=value ...]" for exactly one
// completion with that result and, on success, those reply fields; "expect r
// none" for no completion; null for at most one (private data that the
// library may or may not make sense of).
struct PlanText {
  const char *label;
  const char *request;  // a scenario "request" line
  Pbx pbx;
  const char *answer;   // a scenario "pbx" line, or null
  const char *stray;    // an answer under an invoke id that is not pending, sent first
  const char *expect;
  int weight;
};

// Answers with the values the library's converters are known to map.
const PlanText kPlans[] = {
    {"time", "request r AMHOST_8_2", Pbx::Answer, "pbx result amhost=8/2/2 248=17,45,9", nullptr,
     "expect r result=0 value1=17", 20},
    {"server flag", "request r AMHOST_10_7_8 flag=5", Pbx::Answer, "pbx result amhost=10/8/2", nullptr,
     "expect r result=0", 10},
    {"tracer", "request r ACL2_240 selector=1", Pbx::Answer, "pbx result amhost=0/0/2", nullptr, "expect r result=0",
     5},
    {"station", "request r AMHOST_1_2 device=4711", Pbx::Answer,
     "pbx result amhost=1/2/2 211=4711 163=\"Anna Berg\" 165=1234 162=0815", nullptr,
     "expect r result=0 text1=\"Anna Berg\"", 8},
    {"refused by cause 60", "request r AMHOST_1_1_A device=4711 name=Bob", Pbx::Answer,
     "pbx result amhost=1/1/3 173=60", nullptr, "expect r result=0xC0000015", 5},
    {"agent state", "request r SET_AGENT_STATE device=4711 state=3", Pbx::Answer, "pbx result", nullptr,
     "expect r result=0", 8},
    {"tlv list", "request r PRIVATE_TLV_LIST tag1=0x10 format1=0x02 value1=AB", Pbx::Answer,
     "pbx result amhost=11/8/2", nullptr, "expect r result=0", 3},
    {"ROSE error", "request r AMHOST_8_8 value1=10 value2=11 value3=12", Pbx::Answer, "pbx error code=3", nullptr,
     "expect r result=0xC0000014", 6},
    {"reject", "request r AMHOST_10_7_8 flag=0", Pbx::Answer, "pbx reject", nullptr, "expect r result=0xC0000014",
     6},
    {"stray result 32767 first", "request r AMHOST_8_2", Pbx::Answer, "pbx result amhost=8/2/2 248=3,4,5",
     "pbx result invoke=32767 amhost=8/2/2 248=1,1,1", "expect r result=0 value1=3", 4},
    {"foreign manufacturer", "request r AMHOST_8_2", Pbx::Answer,
     "pbx result amhost=8/2/2 248=1,1,1 oid=1.3.12.2.1107.16", nullptr, "expect r none", 3},
    {"garbage private octets", "request r AMHOST_8_2", Pbx::Answer, "pbx result raw=hex:FFFF00DEADBEEF0102",
     nullptr, nullptr, 2},
    {"silence", "request r AMHOST_10_2 flag=1", Pbx::Silence, nullptr, nullptr, "expect r none", 2},
    {"link refuses", "request r AMHOST_8_2", Pbx::Refuse, nullptr, nullptr, "expect r result=0xC0000012", 3},
    {"size 9", "request r AMHOST_8_2 size=9", Pbx::NotSent, nullptr, nullptr, "expect r result=0xC0000002", 3},
    {"reserved 0x47", "request r RESERVED_47", Pbx::NotSent, nullptr, nullptr, "expect r result=0xC0000012", 2},
};
constexpr size_t kPlanCount = sizeof kPlans / sizeof kPlans[0];
constexpr uint32_t kSlotBytes = 256;  // room for the largest structure used (222 bytes)

// What a request may end with.
enum class Outcome { Once, Never, AtMostOnce };

struct Plan {
  const PlanText *text;
  std::vector<uint8_t> block;  // the structure as the request sends it
  uint32_t size = 0;
  k3s::Step answer, stray;
  Outcome outcome = Outcome::AtMostOnce;
  uint32_t result = 0;
  std::vector<std::pair<k3s::Field, k3s::Value>> fields;  // reply fields after a success
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
};
std::unique_ptr<Slot[]> g_slots;
uint32_t g_slotCount = 0;

std::atomic<int64_t> g_outstanding{0};
std::atomic<uint32_t> g_unknownIds{0}, g_repeated{0}, g_badSends{0}, g_decodeErrors{0}, g_notQueued{0};
std::atomic<uint32_t> g_dispatchFailed{0}, g_strayCompleted{0}, g_notCompletedByAnswer{0}, g_badField{0};
std::atomic<uint32_t> g_fromPbx{0}, g_inlineAnswers{0};
// One request in kInlineShare is answered from inside its send callback.
constexpr uint32_t kInlineShare = 8;

void Settle(Slot &s) {
  if (!s.settled.exchange(true)) g_outstanding.fetch_sub(1);
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
bool g_pbxStop = false;

void HandleAtPbx(ToPbx &t);

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
  if (uint32_t(s - g_slots.get()) % kInlineShare == 1) {
    // The host's link answers at once, from inside this callback, on the
    // library's own thread.
    ++g_inlineAnswers;
    HandleAtPbx(t);
    return 1;
  }
  std::lock_guard<std::mutex> l(g_pbxLock);
  g_pbxQueue.push_back(std::move(t));
  g_pbxCv.notify_one();
  return 1;
}

uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t result) {
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
  return 1;
}

uint32_t K3_CALL OnEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }

K3Dll g_dll;

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
    }
    HandleAtPbx(t);
  }
}

// The PBX's side of one request: stray answer first if planned, then the
// answer; the library completes the request during the call. Settling it is
// the last thing the PBX does with it.
void HandleAtPbx(ToPbx &t) {
  Slot &s = *t.slot;
  const Plan &p = g_plans[s.plan];
  if (p.text->pbx == Pbx::Answer) {
    if (p.text->stray) {
      Deliver(p.stray, *t.msg);
      if (s.completions.load() != 0) ++g_strayCompleted;
    }
    // The library completes the request on this thread, during the call.
    if (Deliver(p.answer, *t.msg) && p.outcome == Outcome::Once) {
      if (s.completions.load() != 1) {
        ++g_notCompletedByAnswer;
      } else if (s.result.load() == 0) {
        std::string err;
        for (const auto &f : p.fields) g_badField += !k3s::FieldEquals(s.block, kSlotBytes, f.first, f.second, err);
      }
    }
  }
  Settle(s);
}

// ---- the TAPI side ---------------------------------------------------------------

std::atomic<uint32_t> g_next{0};  // the next request's index
constexpr int64_t kWindow = 400;  // requests in flight at most (the thread queue holds 10000)

// Issues requests up to index end, each with a plan drawn by weight.
void HostThread(std::mt19937 rng, uint32_t end) {
  int total = 0;
  for (const Plan &p : g_plans) total += p.text->weight;
  std::uniform_int_distribution<int> pick(0, total - 1);
  for (uint32_t i; (i = g_next.fetch_add(1)) < end;) {
    while (g_outstanding.load() >= kWindow) Sleep(0);
    int w = pick(rng);
    uint16_t planNo = 0;
    while (w >= g_plans[planNo].text->weight) w -= g_plans[planNo++].text->weight;
    const Plan &p = g_plans[planNo];
    Slot &s = g_slots[i];
    std::memcpy(s.block, p.block.data(), p.block.size());
    s.plan = planNo;
    g_outstanding.fetch_add(1);
    if (g_dll.devSpecific(0, i + 1, s.block, p.size) != 0) {
      ++g_notQueued;
      Settle(s);
    }
  }
}

// ---- bookkeeping -------------------------------------------------------------------

// Reads each plan through the scenario runner's reader and builds its request.
bool LoadPlans() {
  for (const PlanText &t : kPlans) {
    std::istringstream in(std::string(t.request) + "\n" + (t.answer ? t.answer : "") + "\n" +
                          (t.stray ? t.stray : "") + "\n" + (t.expect ? t.expect : ""));
    std::vector<k3s::Step> steps;
    std::vector<std::string> errors;
    if (!k3s::ParseScenario(in, t.label, steps, errors)) {
      for (const std::string &e : errors) std::fprintf(stderr, "%s\n", e.c_str());
      return false;
    }
    // The reader has checked the structure, its fields and their values.
    Plan p;
    p.text = &t;
    const k3s::StructInfo &info = *k3s::FindStructure(steps[0].words[2]);
    p.size = info.defaultSize;
    std::vector<uint8_t> room(k3s::kBlockRoom, 0);
    room[0] = uint8_t(info.type), room[1] = uint8_t(info.type >> 8);
    k3s::Field raw;
    std::string err;
    for (const k3s::Arg &a : steps[0].args) {
      if (a.key == "size") p.size = uint32_t(a.value.number);
      else k3s::PutField(room.data(), k3s::kBlockRoom, *k3s::FieldOf(info, a.key, raw), a.value, err);
    }
    uint32_t used = std::max(p.size, info.defaultSize);
    if (used + 2 > kSlotBytes) return std::fprintf(stderr, "%s: structure too large\n", t.label), false;
    p.block.assign(room.begin(), room.begin() + used);
    size_t n = 1;
    if (t.answer) p.answer = steps[n++];
    if (t.stray) p.stray = steps[n++];
    if (t.expect) {
      p.outcome = steps[n].words.size() == 3 ? Outcome::Never : Outcome::Once;  // "expect r none"
      for (const k3s::Arg &a : steps[n].args) {
        if (a.key == "result") p.result = uint32_t(a.value.number);
        else p.fields.emplace_back(*k3s::FieldOf(info, a.key, raw), a.value);
      }
    }
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

// Runs the host threads over one batch at a time; after each, waits for it to
// drain, then closes and reopens the line.
BatchRun RunBatches(uint32_t batch, uint32_t hosts, uint32_t seed) {
  BatchRun r;
  auto start = std::chrono::steady_clock::now();
  for (uint32_t begin = 0; begin < g_slotCount; begin += batch) {
    uint32_t end = std::min(begin + batch, g_slotCount);
    g_next = begin;
    std::vector<std::thread> threads;
    for (uint32_t h = 0; h < hosts; ++h) threads.emplace_back(HostThread, std::mt19937(seed + begin + h), end);
    for (std::thread &t : threads) t.join();
    // Drain: every answer handed over and every immediate completion arrived.
    for (int wait = 0; wait < 60000 && g_outstanding.load() != 0; wait += 5) Sleep(5);
    if (g_outstanding.load() != 0) {
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

void StopPbx(std::vector<std::thread> &threads) {
  {
    std::lock_guard<std::mutex> l(g_pbxLock);
    g_pbxStop = true;
    g_pbxCv.notify_all();
  }
  for (std::thread &t : threads) t.join();
}

struct Tally {
  uint32_t issued = 0, ok = 0, bad = 0, completions = 0, dropped = 0;
};

// Per request: the outcome its plan calls for.
Tally JudgeRequests() {
  Tally t;
  std::vector<uint32_t> byPlanBad(kPlanCount, 0);
  t.issued = std::min(g_next.load(), g_slotCount);
  for (uint32_t i = 0; i < t.issued; ++i) {
    Slot &s = g_slots[i];
    const Plan &p = g_plans[s.plan];
    uint32_t n = s.completions.load();
    t.completions += n;
    if (s.dropped) ++t.dropped;
    bool ok;
    switch (p.outcome) {
      case Outcome::Once: ok = n == 1 && s.result.load() == p.result; break;
      case Outcome::Never: ok = n == 0; break;
      default: ok = n <= 1 && !(n == 0 && !s.dropped); break;
    }
    if (ok) ++t.ok;
    else if (++t.bad, ++byPlanBad[s.plan] <= 3)
      std::printf("FAILED: request %u (%s): %u completion(s), last result 0x%08X%s\n", i + 1, p.text->label, n,
                  s.result.load(), s.dropped ? ", dropped by a line reset" : "");
  }
  return t;
}

}  // namespace

int main(int argc, char **argv) {
  const uint32_t requests = ArgNumber(argc, argv, "--requests", 100000);
  const uint32_t seed = ArgNumber(argc, argv, "--seed", 20261123);
  constexpr uint32_t batch = 5000, hosts = 3, pbxThreads = 2;
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

  std::vector<std::thread> pbx;
  for (uint32_t i = 0; i < pbxThreads; ++i) pbx.emplace_back(PbxThread);

  uint32_t passed = 0, failed = 0;
  auto check = [&](bool ok, const char *what, double a = 0, double b = 0) {
    ok ? ++passed : ++failed;
    if (!ok) std::printf("FAILED: %s (%g, %g)\n", what, a, b);
  };

  const BatchRun run = RunBatches(batch, hosts, seed);
  StopPbx(pbx);
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
  // Private bytes after the run against after the warm-up batch, both with the line closed.
  const double tolerance = 4.0 * 1024 * 1024;
  double grown = double(final) - double(run.baseline);
  check(run.baseline != 0 && grown <= tolerance, "private bytes flat (growth, tolerance)", grown, tolerance);

  std::printf("\nrequests issued %u, completions %u, messages from the PBX %u (for %u requests from inside the send callback), "
              "left open and dropped by %u line resets %u\n",
              t.issued, t.completions, g_fromPbx.load(), g_inlineAnswers.load(), run.resets, t.dropped);
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
