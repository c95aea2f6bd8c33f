// A host that misbehaves as TSP code really does, around the library as it
// ships: callbacks that call back into the exports, a send callback that holds
// the worker past the rendezvous wait, several host threads at once, a line
// close while the worker is busy, requests after a close. The host
// itself is the judge: it notes every callback's thread, and counts an overlap
// whenever a callback runs on one thread while another thread is inside one.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "csta3_model.h"
#include "host/scenario.h"
#include "kestrel3.h"
#include "kestrel3_structures.h"
#include "host/k3_dll.h"

namespace {

using namespace CSTA3V6;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kExt = 0x00020000;
constexpr int kHostThreads = 3;  // that hand in answers at once

// ---- messages of the simulated PBX -------------------------------------------

// A message as the host's link hands it over: encoded and decoded once.
std::shared_ptr<CSTAMsg> Decoded(const CSTAMsg &m) {
  auto out = std::make_shared<CSTAMsg>();
  std::vector<unsigned char> ber;
  std::string err;
  EXPECT_TRUE(k3s::RoundTrip(m, *out, ber, err)) << err;
  return out;
}

// A message of the PBX written as a scenario line: the answer to sent, or else
// an invocation under invokeId.
std::shared_ptr<CSTAMsg> FromPbx(const char *line, const CSTAMsg *sent, uint32_t invokeId = 0) {
  std::istringstream in(line);
  std::vector<k3s::Step> steps;
  std::vector<std::string> errors;
  CSTAMsg built;
  std::string err;
  EXPECT_TRUE(k3s::ParseScenario(in, "hostile", steps, errors) &&
              (sent ? k3s::BuildAnswer(steps[0], *sent, built, err)
                    : k3s::BuildInvocation(steps[0], invokeId, built, err)))
      << line << err;
  return Decoded(built);
}

// The PBX's successful answer to a time query (the request writes 17 at offset 2).
std::shared_ptr<CSTAMsg> AnswerTo(const CSTAMsg &sent) {
  return FromPbx("pbx result amhost=8/2/2 248=17,45,9", &sent);
}

// The PBX opens a data path: the library answers it and raises a line event.
std::shared_ptr<CSTAMsg> DataPathEvent(uint32_t invokeId) {
  return FromPbx("pbx invoke startpath device=DP1 element3=7", nullptr, invokeId);
}

// ---- the host ------------------------------------------------------------------

struct Sent {
  uint32_t requestId;  // found by the block pointer; 0 for messages of no request
  std::shared_ptr<CSTAMsg> msg;
};
struct Done {
  uint32_t requestId, result;
  DWORD thread;
};

std::mutex g_lock;
std::condition_variable g_changed;
std::vector<Sent> g_sent;
std::vector<Done> g_done;
std::vector<DWORD> g_events;  // threads that raised a line event
std::deque<K3_DS_AMHOST_8> g_blocks;  // request id n uses g_blocks[n - 1]

// What a test lets the callbacks do besides recording.
std::function<void(const Sent &)> g_onSend;
std::function<void(const Done &)> g_onReply;
std::function<void()> g_onEvent;

// Overlap judge: the thread inside a callback, and how deep.
std::mutex g_insideLock;
DWORD g_insideThread = 0;
int g_insideDepth = 0;
std::atomic<int> g_overlaps{0};

struct InCallback {
  bool mine = false;
  InCallback() {
    std::lock_guard<std::mutex> l(g_insideLock);
    DWORD me = GetCurrentThreadId();
    if (g_insideDepth > 0 && g_insideThread != me) {
      ++g_overlaps;
      return;
    }
    g_insideThread = me;
    ++g_insideDepth;
    mine = true;
  }
  ~InCallback() {
    if (!mine) return;
    std::lock_guard<std::mutex> l(g_insideLock);
    --g_insideDepth;
  }
};

// A fresh request block; its request id is its place in g_blocks, plus 1.
K3_DS_AMHOST_8 *NewBlock(uint32_t *id) {
  std::lock_guard<std::mutex> l(g_lock);
  g_blocks.push_back(K3_DS_AMHOST_8{DS_AMHOST_8_2, 0, 0, 0});
  *id = uint32_t(g_blocks.size());
  return &g_blocks.back();
}

// The next send callback holds the worker for ms; inSend is true meanwhile.
void HoldNextSend(std::atomic<bool> &inSend, DWORD ms) {
  auto entered = std::make_shared<std::atomic<bool>>(false);
  g_onSend = [&inSend, entered, ms](const Sent &) {
    if (entered->exchange(true)) return;
    inSend = true;
    Sleep(ms);
    inSend = false;
  };
}

uint32_t RequestOfBlock(const void *block) {
  std::lock_guard<std::mutex> l(g_lock);
  for (size_t i = 0; i < g_blocks.size(); ++i)
    if (block == &g_blocks[i]) return uint32_t(i + 1);
  return 0;
}

// Records x under the lock and wakes the waiters.
template <class T>
void Note(std::vector<T> &list, const T &x) {
  std::lock_guard<std::mutex> l(g_lock);
  list.push_back(x);
  g_changed.notify_all();
}

uint32_t K3_CALL OnSend(uint32_t, const void *message, void *block, uint32_t) {
  InCallback in;
  Sent s{RequestOfBlock(block), Decoded(*static_cast<const CSTAMsg *>(message))};
  Note(g_sent, s);
  if (g_onSend) g_onSend(s);
  return 1;
}

uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t result) {
  InCallback in;
  Done d{requestId, result, GetCurrentThreadId()};
  Note(g_done, d);
  if (g_onReply) g_onReply(d);
  return 1;
}

uint32_t K3_CALL OnEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {
  InCallback in;
  Note(g_events, GetCurrentThreadId());
  if (g_onEvent) g_onEvent();
  return 0;
}

// Waits until f() holds (checked under g_lock; also flags that tests set
// without notifying).
template <class F>
bool WaitUntil(F f, double seconds = 10) {
  auto end = Clock::now() + std::chrono::duration<double>(seconds);
  std::unique_lock<std::mutex> l(g_lock);
  while (!f()) {
    if (Clock::now() >= end) return false;
    g_changed.wait_for(l, std::chrono::milliseconds(5));
  }
  return true;
}

const Sent *SentFor(uint32_t requestId) {
  for (const Sent &s : g_sent)
    if (s.requestId == requestId) return &s;
  return nullptr;
}
const Done *DoneFor(uint32_t requestId) {
  for (const Done &d : g_done)
    if (d.requestId == requestId) return &d;
  return nullptr;
}
// The thread that completed requestId; 0 when none did.
DWORD CompletedOn(uint32_t requestId) {
  std::lock_guard<std::mutex> l(g_lock);
  const Done *d = DoneFor(requestId);
  return d ? d->thread : 0;
}
size_t CompletionsOf(uint32_t requestId) {
  size_t n = 0;
  for (const Done &d : g_done) n += d.requestId == requestId;
  return n;
}

class Hostile : public ::testing::Test {
 protected:
  void Start(const char *dll) {
    {
      std::lock_guard<std::mutex> l(g_lock);
      g_sent.clear(), g_done.clear(), g_events.clear(), g_blocks.clear();
    }
    g_onSend = nullptr, g_onReply = nullptr, g_onEvent = nullptr;
    g_overlaps = 0;
    ASSERT_TRUE(lib_.Load(dll)) << dll;
    ASSERT_EQ(1u, lib_.lineOpen(0, kExt, OnReply, OnEvent, nullptr, OnSend, nullptr));
  }
  void TearDown() override {
    if (lib_.h) lib_.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
    g_onSend = nullptr, g_onReply = nullptr, g_onEvent = nullptr;
    lib_.Unload();
  }
  // Issues a time query with the next request id; returns the id.
  uint32_t Request() {
    uint32_t id;
    K3_DS_AMHOST_8 *block = NewBlock(&id);
    EXPECT_EQ(0u, lib_.devSpecific(0, id, block, sizeof *block)) << "request " << id;
    return id;
  }
  // Waits until request id was sent and is pending (the next request's send
  // shows that the worker has finished with it).
  std::shared_ptr<CSTAMsg> SentMessage(uint32_t id) {
    std::shared_ptr<CSTAMsg> m;
    WaitUntil([&] { return SentFor(id) != nullptr; });
    std::lock_guard<std::mutex> l(g_lock);
    if (const Sent *s = SentFor(id)) m = s->msg;
    return m;
  }
  // Makes sure everything queued so far has been handled by the worker.
  void Settle() {
    SentMessage(Request());
    Sleep(20);
  }
  // Rounds that prove exclusion: while the worker is inside a send callback,
  // host threads hand in answers; each inbound call must return only after the
  // send callback has returned. Returns the inbound calls that returned early.
  int EarlyInboundCalls(int rounds) {
    int early = 0;
    for (int r = 0; r < rounds; ++r) {
      std::vector<std::shared_ptr<CSTAMsg>> answers;
      for (int t = 0; t < kHostThreads; ++t) answers.push_back(AnswerTo(*SentMessage(Request())));
      // Slow reply callbacks: two host threads dispatching at once would meet.
      g_onReply = [](const Done &) { Sleep(20); };
      // The request whose send callback holds the worker for 150 ms.
      std::atomic<bool> inSend{false};
      HoldNextSend(inSend, 150);
      Request();
      while (!inSend) Sleep(1);
      std::vector<std::thread> hosts;
      std::atomic<int> passed{0};
      for (auto &answer : answers)
        hosts.emplace_back([&] {
          lib_.fromVorta(0, answer.get());
          if (inSend) ++passed;
        });
      for (auto &h : hosts) h.join();
      g_onSend = nullptr, g_onReply = nullptr;
      early += passed;
    }
    return early;
  }
  K3Dll lib_;
};

// ---- callbacks that re-enter the exports ------------------------------------------

// Each of answered completed once with success, unanswered not at all, no
// two callbacks overlapped, and an event arrived.
void ExpectAnsweredOnce(std::initializer_list<uint32_t> answered, uint32_t unanswered) {
  std::lock_guard<std::mutex> l(g_lock);
  EXPECT_FALSE(g_events.empty());
  for (uint32_t id : answered) {
    EXPECT_EQ(1u, CompletionsOf(id)) << "request " << id;
    if (const Done *done = DoneFor(id)) {
      EXPECT_EQ(0u, done->result) << "request " << id;
    }
  }
  EXPECT_EQ(0u, CompletionsOf(unanswered));  // pending, unanswered
  EXPECT_EQ(0, g_overlaps.load());
}

// (The send callback's re-entrant calls run in the soak: it answers a share of
// its requests from inside the send callback.)
TEST_F(Hostile, InboundCallsFromInsideCallbacksRunAtOnce) {
  Start("Kestrel3.dll");
  uint32_t a = Request(), b = Request(), c = 0, d = 0, e = 0;
  auto answerA = AnswerTo(*SentMessage(a));
  auto answerB = AnswerTo(*SentMessage(b));
  Settle();

  // 1. From the reply callback on a host thread inside its own inbound call:
  //    the answer to b, and a new request c. A call that waited for the
  //    parked worker would give up with 0.
  std::atomic<int> fromReply{-1};
  g_onReply = [&](const Done &done) {
    if (done.requestId != a) return;
    fromReply = lib_.fromVorta(0, answerB.get());
    c = Request();
  };
  EXPECT_EQ(1, lib_.fromVorta(0, answerA.get()));
  g_onReply = nullptr;
  EXPECT_EQ(1, fromReply.load());
  ASSERT_TRUE(c != 0);
  EXPECT_EQ(GetCurrentThreadId(), CompletedOn(b));
  EXPECT_EQ(17, g_blocks[b - 1].wValue1);  // the answer was written into the request

  // 2. From the event callback, inside an inbound call: a new request d, and
  //    the answer to c.
  auto answerC = AnswerTo(*SentMessage(c));
  Settle();
  std::atomic<int> fromEvent{-1};
  g_onEvent = [&] {
    if (d) return;
    d = Request();
    fromEvent = lib_.fromVorta(0, answerC.get());
  };
  auto event = DataPathEvent(7);
  EXPECT_EQ(1, lib_.fromVorta(0, event.get()));
  g_onEvent = nullptr;
  EXPECT_EQ(1, fromEvent.load());
  ASSERT_TRUE(d != 0);
  ASSERT_TRUE(SentMessage(d));
  e = Request();
  auto answerD = AnswerTo(*SentMessage(d));
  EXPECT_EQ(1, lib_.fromVorta(0, answerD.get()));

  ExpectAnsweredOnce({a, b, c, d}, e);
}

// ---- exclusion after time-outs, several host threads -----------------------------

TEST_F(Hostile, RendezvousStaysExclusiveAfterTimeOutsOnEitherSide) {
  Start("Kestrel3Short.dll");
  const double wait = K3_TEST_RENDEZVOUS_MS / 1000.0;
  EXPECT_EQ(0, EarlyInboundCalls(3));

  // The caller's side times out: a send callback holds the worker past the wait.
  HANDLE letGo = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  std::atomic<bool> held{false};
  g_onSend = [&](const Sent &) {
    if (held.exchange(true)) return;
    WaitForSingleObject(letGo, 30000);
  };
  Request();
  while (!held) Sleep(1);
  auto stray = DataPathEvent(9);
  auto t = Clock::now();
  EXPECT_EQ(0, lib_.fromVorta(0, stray.get()));  // gave up
  EXPECT_GE(std::chrono::duration<double>(Clock::now() - t).count(), wait - 0.1);
  SetEvent(letGo);
  g_onSend = nullptr;
  Settle();
  EXPECT_EQ(0, EarlyInboundCalls(10)) << "inbound calls passed while the worker was in a send callback";
  EXPECT_EQ(0, g_overlaps.load());

  // The worker's side times out: a host thread stays inside its inbound call
  // (in the event callback) past the wait. The worker goes on; the late
  // release must not let a later round pass.
  ResetEvent(letGo);
  g_onEvent = [&] { WaitForSingleObject(letGo, 30000); };
  std::thread slow([&] { lib_.fromVorta(0, stray.get()); });
  EXPECT_TRUE(WaitUntil([&] { return !g_events.empty(); }));
  Sleep(DWORD(K3_TEST_RENDEZVOUS_MS + 300));
  g_onEvent = nullptr;
  SetEvent(letGo);
  slow.join();
  g_overlaps = 0;  // the round that outlasted the wait overlapped by design
  EXPECT_EQ(0, EarlyInboundCalls(10)) << "inbound calls passed while the worker was in a send callback";
  EXPECT_EQ(0, g_overlaps.load());
  CloseHandle(letGo);

  // Every answered request completed once, with success.
  std::lock_guard<std::mutex> l(g_lock);
  size_t answered = 0;
  for (const Done &d : g_done) {
    EXPECT_EQ(0u, d.result) << "request " << d.requestId;
    EXPECT_EQ(1u, CompletionsOf(d.requestId)) << "request " << d.requestId;
    ++answered;
  }
  EXPECT_EQ(size_t(kHostThreads * (3 + 10 + 10)), answered);
}

// ---- line close --------------------------------------------------------------------

TEST_F(Hostile, LineCloseWaitsForTheWorkerAndRefusesWhatFollows) {
  Start("Kestrel3.dll");
  Settle();

  // A close from a host thread while the worker is inside a send callback
  // returns only after that callback.
  std::atomic<bool> inSend{false};
  HoldNextSend(inSend, 300);
  uint32_t held = Request();
  while (!inSend) Sleep(1);
  EXPECT_EQ(1u, lib_.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(inSend.load()) << "the close ran while the worker was inside a handler";
  g_onSend = nullptr;

  // After the close: requests and monitor notifications are refused, nothing is sent.
  K3_DS_AMHOST_8 after{DS_AMHOST_8_2, 0, 0, 0};
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib_.devSpecific(0, 500, &after, sizeof after));
  AsnOcts xref("X1");
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib_.monitorStart(0, "4711", &xref));
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib_.monitorClear(0));

  // A close from inside the send callback (the worker holds the state): at
  // once; a request queued behind it is completed as not queued, never sent.
  ASSERT_EQ(1u, lib_.lineOpen(0, kExt, OnReply, OnEvent, nullptr, OnSend, nullptr));
  Settle();
  std::atomic<int> closed{-1};
  HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  g_onSend = [&](const Sent &) {
    if (closed != -1) return;
    WaitForSingleObject(go, 10000);  // the next request is queued meanwhile
    closed = int(lib_.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr));
  };
  uint32_t closer = Request();
  uint32_t behind = Request();
  SetEvent(go);
  ASSERT_TRUE(WaitUntil([&] { return DoneFor(behind) != nullptr; }));
  g_onSend = nullptr;
  CloseHandle(go);
  EXPECT_EQ(1, closed.load());
  std::lock_guard<std::mutex> l(g_lock);
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, DoneFor(behind)->result);
  EXPECT_EQ(nullptr, SentFor(behind)) << "a request was sent after the line was closed";
  EXPECT_EQ(nullptr, SentFor(500));
  EXPECT_TRUE(SentFor(held) && SentFor(closer));
  EXPECT_EQ(0, g_overlaps.load());
}

}  // namespace
