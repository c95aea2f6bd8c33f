// k3-speed: throughput of Kestrel3.dll's two thread hand-offs, each against the
// bare platform mechanism it is built on.
//
//   k3-speed [--count N] [--dll PATH]
//
// (a) requests: fn_vrt_lineDevSpecific on a host thread to the send callback
//     on the worker thread, against PostThreadMessage to a thread that runs a
//     GetMessage loop;
// (b) inbound: fn_vrt_CSTAfromVorta with an escape result that completes a
//     pending request through its converter, against the same hand-off
//     written bare: a thread message to a GetMessage loop, whose thread
//     signals one event and waits on a second that the caller sets.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "csta3_model.h"
#include "host/scenario.h"
#include "host/k3_dll.h"

using namespace CSTA3V6;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWindow = 1000;  // hand-offs in flight at most (a thread queue holds 10000)

std::atomic<uint32_t> g_sent{0}, g_replies{0};
std::vector<uint32_t> g_invokeIds;
bool g_keepIds = false;

uint32_t K3_CALL OnSend(uint32_t, const void *, void *, uint32_t invokeId) {
  if (g_keepIds) g_invokeIds.push_back(invokeId);  // worker thread only
  g_sent.fetch_add(1, std::memory_order_release);
  return 1;
}
uint32_t K3_CALL OnReply(uint32_t, uint32_t, uint32_t) {
  g_replies.fetch_add(1);
  return 1;
}
uint32_t K3_CALL OnEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }

double Seconds(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); }

// Baseline (a): n thread messages to a GetMessage loop, in a window like the requests.
double PostThreadMessageRate(uint32_t n) {
  std::atomic<uint32_t> got{0};
  std::atomic<DWORD> tid{0};
  std::thread receiver([&] {
    MSG m;
    PeekMessageA(&m, nullptr, 0, 0, PM_NOREMOVE);  // the queue exists from here on
    tid = GetCurrentThreadId();
    while (GetMessageA(&m, nullptr, 0, 0) > 0)
      if (m.message == WM_APP) got.fetch_add(1, std::memory_order_release);
  });
  while (!tid) Sleep(1);
  auto t0 = Clock::now();
  for (uint32_t i = 0; i < n; ++i) {
    while (i - got.load(std::memory_order_acquire) >= uint32_t(kWindow)) Sleep(0);
    PostThreadMessageA(tid, WM_APP, 0, 0);
  }
  while (got.load(std::memory_order_acquire) < n) Sleep(0);
  auto t1 = Clock::now();
  PostThreadMessageA(tid, WM_QUIT, 0, 0);
  receiver.join();
  return n / Seconds(t0, t1);
}

// Baseline (b): n inbound hand-offs without the library: the caller posts a
// thread message and waits; the message loop's thread signals "arrived" and
// parks until the caller, having done its work, sets "release".
double HandOffRate(uint32_t n) {
  HANDLE arrived = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  HANDLE release = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  std::atomic<DWORD> tid{0};
  std::thread loop([&] {
    MSG m;
    PeekMessageA(&m, nullptr, 0, 0, PM_NOREMOVE);
    tid = GetCurrentThreadId();
    while (GetMessageA(&m, nullptr, 0, 0) > 0) {
      if (m.message != WM_APP) continue;
      SetEvent(arrived);
      WaitForSingleObject(release, INFINITE);
    }
  });
  while (!tid) Sleep(1);
  auto t0 = Clock::now();
  for (uint32_t i = 0; i < n; ++i) {
    PostThreadMessageA(tid, WM_APP, 0, 0);
    WaitForSingleObject(arrived, INFINITE);
    SetEvent(release);
  }
  auto t1 = Clock::now();
  PostThreadMessageA(tid, WM_QUIT, 0, 0);
  loop.join();
  CloseHandle(arrived);
  CloseHandle(release);
  return n / Seconds(t0, t1);
}

}  // namespace

int main(int argc, char **argv) {
  // Inbound answers need distinct pending invoke ids: at most 32768 at a time.
  const uint32_t n = std::min<uint32_t>(std::max<uint32_t>(ArgNumber(argc, argv, "--count", 20000), 100), 30000);
  const char *dllPath = ArgText(argc, argv, "--dll", "Kestrel3.dll");
  std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16);

  K3Dll dll;
  if (!dll.Load(dllPath)) return 2;
  if (dll.lineOpen(0, 0x00020000, OnReply, OnEvent, nullptr, OnSend, nullptr) != 1) return 2;
  Sleep(50);

  // (a) requests to the send callback. Each stays pending (the callback
  // accepts it); the ids are kept for (b).
  std::vector<std::unique_ptr<uint8_t[]>> blocks;
  for (uint32_t i = 0; i < n; ++i) {
    blocks.emplace_back(new uint8_t[16]());
    blocks.back()[0] = 0x41;  // time query, 8 bytes
  }
  g_invokeIds.reserve(n);
  g_keepIds = true;
  auto t0 = Clock::now();
  for (uint32_t i = 0; i < n; ++i) {
    while (i - g_sent.load(std::memory_order_acquire) >= uint32_t(kWindow)) Sleep(0);
    if (dll.devSpecific(0, i + 1, blocks[i].get(), 8) != 0) {
      std::printf("request %u not queued\n", i + 1);
      return 1;
    }
  }
  while (g_sent.load(std::memory_order_acquire) < n) Sleep(0);
  auto t1 = Clock::now();
  double requestRate = n / Seconds(t0, t1);
  double postRate = PostThreadMessageRate(n);

  // (b) one escape result per pending request, built and BER round-tripped
  // before the clock starts, in the order the requests were sent (so that
  // each finds its entry first in the pending list).
  std::istringstream in("pbx result invoke=32768 amhost=8/2/2 248=17,45,9\n");
  std::vector<k3s::Step> steps;
  std::vector<std::string> errors;
  k3s::ParseScenario(in, "speed", steps, errors);
  std::vector<std::unique_ptr<CSTAMsg>> answers;
  CSTAMsg none;
  for (uint32_t id : g_invokeIds) {
    k3s::Step s = steps.at(0);
    for (k3s::Arg &a : s.args)
      if (a.key == "invoke") a.value.number = id;
    CSTAMsg out;
    std::vector<unsigned char> ber;
    std::string err;
    answers.emplace_back(new CSTAMsg);
    if (!k3s::BuildAnswer(s, none, out, err) || !k3s::RoundTrip(out, *answers.back(), ber, err)) {
      std::printf("answer not built: %s\n", err.c_str());
      return 1;
    }
  }
  auto t2 = Clock::now();
  for (auto &a : answers) dll.fromVorta(0, a.get());
  auto t3 = Clock::now();
  double inboundRate = answers.size() / Seconds(t2, t3);
  double handOffRate = HandOffRate(n);
  uint32_t replies = g_replies.load();

  dll.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
  std::printf("k3-speed, %u hand-offs each\n", n);
  std::printf("(a) fn_vrt_lineDevSpecific -> send callback: %10.0f requests/s\n", requestRate);
  std::printf("    PostThreadMessage -> GetMessage loop:    %10.0f messages/s   ratio %.2f\n", postRate,
              requestRate / postRate);
  std::printf("(b) fn_vrt_CSTAfromVorta, result converter: %10.0f messages/s\n", inboundRate);
  std::printf("    thread message + two events, bare:       %10.0f hand-offs/s    ratio %.2f\n", handOffRate,
              inboundRate / handOffRate);
  std::printf("    completions from the answers: %u of %zu\n", replies, answers.size());
  std::fflush(stdout);
  dll.Unload();
  return replies == answers.size() ? 0 : 1;
}
