// Requests through the shipped Kestrel3.dll: the host's callbacks see the CSTA
// messages and the completions on the library's worker thread.
#include <windows.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "csta3_model.h"
#include "kestrel3.h"
#include "kestrel3_structures.h"

namespace {

using namespace CSTA3V6;

struct Sent {
  uint32_t invokeId;
  int32_t operation;
  std::vector<unsigned char> ber;
  DWORD thread;
};
struct Done {
  uint32_t requestId, result;
  DWORD thread;
  std::chrono::steady_clock::time_point at;
};

std::mutex g_lock;
std::condition_variable g_changed;
std::vector<Sent> g_sent;
std::vector<Done> g_done;
uint32_t g_accept = 1;

uint32_t K3_CALL OnSend(uint32_t, const void *message, void *, uint32_t invokeId) {
  // The message object lives in the library and is valid during this call only:
  // encode it here, as the host's link would.
  const CSTAMsg *msg = static_cast<const CSTAMsg *>(message);
  Sent s{invokeId, -1, EncodeToVector(*msg), GetCurrentThreadId()};
  if (msg->choiceId == CSTAMsg::rOSECid && msg->rOSE->choiceId == ROSEapdus::roiv_apduCid)
    s.operation = msg->rOSE->roiv_apdu->operation_value.value;
  std::lock_guard<std::mutex> l(g_lock);
  g_sent.push_back(s);
  g_changed.notify_all();
  return g_accept;
}
uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t result) {
  std::lock_guard<std::mutex> l(g_lock);
  g_done.push_back({requestId, result, GetCurrentThreadId(), std::chrono::steady_clock::now()});
  g_changed.notify_all();
  return 1;
}
uint32_t K3_CALL OnEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }

class Dll : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    h_ = LoadLibraryA("Kestrel3.dll");
    ASSERT_NE(h_, nullptr);
    open_ = reinterpret_cast<PFN_fn_vrt_lineOpenAndSelectExtVersion>(
        reinterpret_cast<void *>(GetProcAddress(h_, "fn_vrt_lineOpenAndSelectExtVersion")));
    dev_ = reinterpret_cast<PFN_fn_vrt_lineDevSpecific>(
        reinterpret_cast<void *>(GetProcAddress(h_, "fn_vrt_lineDevSpecific")));
    ASSERT_TRUE(open_ && dev_);
    ASSERT_EQ(open_(0, 0x00020000, OnReply, OnEvent, nullptr, OnSend, nullptr), 1u);
  }
  static void TearDownTestSuite() {
    open_(0, 0, OnReply, OnEvent, nullptr, OnSend, nullptr);
    FreeLibrary(h_);
  }
  void SetUp() override {
    // Close and reopen: the line's pending requests from earlier tests are dropped.
    open_(0, 0, OnReply, OnEvent, nullptr, OnSend, nullptr);
    open_(0, 0x00020000, OnReply, OnEvent, nullptr, OnSend, nullptr);
    Sleep(50);
    std::lock_guard<std::mutex> l(g_lock);
    g_sent.clear();
    g_done.clear();
    g_accept = 1;
  }
  // Waits until n completions have arrived (or the time is up).
  static bool WaitDone(size_t n, std::chrono::seconds limit) {
    std::unique_lock<std::mutex> l(g_lock);
    return g_changed.wait_for(l, limit, [n] { return g_done.size() >= n; });
  }
  static HMODULE h_;
  static PFN_fn_vrt_lineOpenAndSelectExtVersion open_;
  static PFN_fn_vrt_lineDevSpecific dev_;
};
HMODULE Dll::h_;
PFN_fn_vrt_lineOpenAndSelectExtVersion Dll::open_;
PFN_fn_vrt_lineDevSpecific Dll::dev_;

TEST_F(Dll, RequestsReachTheHostAndCompleteOnTheWorkerThread) {
  K3_DS_AMHOST_8 time{DS_AMHOST_8_2, 0, 0, 0};                     // sent, stays pending
  K3_DS_AMHOST_8 tooLong[2] = {{DS_AMHOST_8_2, 0, 0, 0}};          // size 9: refused
  K3_DS_HEADER reserved{DS_RESERVED_47};                           // nothing to send
  K3_DS_GET_STORED_RECORD noRecord{DS_GET_STORED_RECORD, 12345, {}, {}, {}, 0, 0};
  K3_DS_AGENT_STATE agent{DS_GET_AGENT_STATE, "4711", 0, {}};      // sent, pending
  EXPECT_EQ(dev_(0, 1, &time, sizeof time), 0u);
  EXPECT_EQ(dev_(0, 2, tooLong, 9), 0u);
  EXPECT_EQ(dev_(0, 3, &reserved, 2), 0u);
  EXPECT_EQ(dev_(0, 4, &noRecord, sizeof noRecord), 0u);
  EXPECT_EQ(dev_(0, 5, &agent, sizeof agent), 0u);
  ASSERT_TRUE(WaitDone(3, std::chrono::seconds(10)));
  Sleep(200);  // nothing more should follow

  std::lock_guard<std::mutex> l(g_lock);
  ASSERT_EQ(g_sent.size(), 2u);
  EXPECT_EQ(g_sent[0].operation, 51);   // escape
  EXPECT_EQ(g_sent[1].operation, 304);  // getAgentState
  EXPECT_GE(g_sent[0].invokeId, 32768u);
  EXPECT_EQ(g_sent[1].invokeId, g_sent[0].invokeId + 1);
  ASSERT_EQ(g_done.size(), 3u);
  EXPECT_EQ(g_done[0].requestId, 2u);
  EXPECT_EQ(g_done[0].result, 0xC0000002u);
  EXPECT_EQ(g_done[1].requestId, 3u);
  EXPECT_EQ(g_done[1].result, 0xC0000012u);
  EXPECT_EQ(g_done[2].requestId, 4u);
  EXPECT_EQ(g_done[2].result, 0xC0000004u);
  // Everything ran on the one worker thread, not on the caller's.
  for (const Sent &s : g_sent) EXPECT_EQ(s.thread, g_done[0].thread);
  for (const Done &d : g_done) EXPECT_EQ(d.thread, g_done[0].thread);
  EXPECT_NE(g_done[0].thread, GetCurrentThreadId());
  // The escape invoke as the host encodes it: a ROSE invoke [1] around it.
  ASSERT_FALSE(g_sent[0].ber.empty());
  EXPECT_EQ(g_sent[0].ber[0], 0xA1);
}

TEST_F(Dll, RefusedSendCompletesWithNoAnswer) {
  g_accept = 0;
  K3_DS_AMHOST_8 time{DS_AMHOST_8_2, 0, 0, 0};
  EXPECT_EQ(dev_(0, 77, &time, sizeof time), 0u);
  ASSERT_TRUE(WaitDone(1, std::chrono::seconds(10)));
  std::lock_guard<std::mutex> l(g_lock);
  EXPECT_EQ(g_sent.size(), 1u);
  EXPECT_EQ(g_done[0].requestId, 77u);
  EXPECT_EQ(g_done[0].result, 0xC0000012u);
}

// A request the PBX never answers fails with "no answer" at the first sweep
// after its 90 s deadline: between 90 and 100 s after it was sent.
TEST_F(Dll, UnansweredRequestExpiresAfterNinetySeconds) {
  K3_DS_AMHOST_8 time{DS_AMHOST_8_2, 0, 0, 0};
  auto sent = std::chrono::steady_clock::now();
  EXPECT_EQ(dev_(0, 90, &time, sizeof time), 0u);
  ASSERT_TRUE(WaitDone(1, std::chrono::seconds(130)));
  std::lock_guard<std::mutex> l(g_lock);
  ASSERT_EQ(g_done.size(), 1u);
  EXPECT_EQ(g_done[0].requestId, 90u);
  EXPECT_EQ(g_done[0].result, 0xC0000012u);
  double secs = std::chrono::duration<double>(g_done[0].at - sent).count();
  EXPECT_GE(secs, 89.9);
  EXPECT_LE(secs, 102.0);  // 100 s plus scheduling slack under load
}

}  // namespace
