// The scenario files played natively: the runner drives the portable layers
// through a stand-in for the library's exports, and time passes only when the
// runner waits, so the 90 s and 120 s rules cost no wall time.
//
// The stand-in calls in place what the worker thread would call after a
// message (line reset, request entry, monitor registry) and what the inbound
// export runs during the rendezvous (the dispatcher with the bridge's
// converters). There is no worker thread, no rendezvous, no catch-all around
// a handler (an exception fails the test), no cut of device texts to the
// thread message's 12 bytes and no Windows event log here: every callback
// runs inside the export that caused it.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

#include "bridge/converters.h"
#include "bridge/requests.h"
#include "host/k3_scenario_log.h"
#include "host/scenario_runner.h"
#include "link/engine.h"
#include "link/inbound.h"
#include "link/platform.h"

namespace {

using CSTA3V6::AsnOcts;

bool LineOpen() { return k3::g_callbacks.extVersion != 0; }

uint32_t K3_CALL LineOpenExport(uint32_t line, uint32_t version, K3_REPLY_CALLBACK reply, K3_EVENT_CALLBACK event,
                                void *valueA, K3_SEND_TO_PBX_CALLBACK send, void *valueB) {
  if (version == 0) {
    k3::g_callbacks.extVersion = 0;
    k3::LineReset(line);
    return 1;
  }
  if (!send || !event || !reply) return 0;
  k3::g_callbacks = {send, reply, event, valueA, valueB, version, 0, 0};
  k3::LineReset(line);
  return 1;
}

uint32_t K3_CALL DevSpecificExport(uint32_t line, uint32_t requestId, void *block, uint32_t size) {
  if (!block || size == 0 || !LineOpen()) return K3_RESULT_NOT_QUEUED;
  k3::ProcessDevSpecificRequest(line, requestId, static_cast<uint8_t *>(block), size);
  return 0;
}

int32_t K3_CALL FromVortaExport(uint32_t line, const void *message) {
  return k3::DispatchInbound(line, static_cast<const CSTA3V6::CSTAMsg *>(message));
}

uint32_t K3_CALL MonitorStartExport(uint32_t line, const char *device, const void *crossRefId) {
  if (!LineOpen()) return K3_RESULT_NOT_QUEUED;
  AsnOcts xref;
  if (auto *x = static_cast<const AsnOcts *>(crossRefId)) xref.Set(x->Octs(), x->Len());
  k3::MonitorStartHandler(line, device, xref);
  return 0;
}

uint32_t K3_CALL MonitorStopExport(uint32_t line, const char *device) {
  if (!LineOpen()) return K3_RESULT_NOT_QUEUED;
  k3::MonitorStopHandler(line, device);
  return 0;
}

uint32_t K3_CALL MonitorClearExport(uint32_t line) {
  if (!LineOpen()) return K3_RESULT_NOT_QUEUED;
  k3::MonitorClearHandler(line);
  return 0;
}

// Moves the platform's clock on as the runner waits, sweeping every 10 s as
// the worker's timer does; a pause ends at each sweep so that the runner sees
// what it completed.
class VirtualClock : public k3host::Clock {
 public:
  uint64_t NowMs() override { return now_; }
  void Pause(uint32_t ms, size_t) override {
    uint64_t sweep = (now_ / k3::kSweepPeriodMs + 1) * k3::kSweepPeriodMs;
    uint64_t to = std::min(now_ + ms, sweep);
    k3::Portable().AdvanceTick(uint32_t(to - now_));
    now_ = to;
    if (now_ == sweep) k3::SweepTimeouts(k3::TickCount());
  }

 private:
  uint64_t now_ = 0;
};

// Plays one scenario file on a freshly loaded library; every expect step of
// the file must be met. The clock starts 30 s before the tick wraps, so the
// time-outs are measured across the wrap.
void Play(const char *name) {
  {
    std::lock_guard<std::mutex> l(k3host::g_lock);
    k3host::g_log.clear();
  }
  k3host::g_sendAccept = 1;
  k3::ResetAllForLoad();
  k3::Portable().Clear();
  k3::Portable().SetTick(0xFFFFFFFFu - 30000);
  k3::RegisterInboundConverters();

  std::vector<k3host::ScenarioFile> files;
  std::vector<std::string> errors;
  ASSERT_TRUE(k3host::ReadScenarioFiles({std::string(K3_SCENARIO_DIR) + "/" + name}, true, files, errors))
      << errors.front();
  uint32_t expectations = 0;
  for (const k3s::Step &s : files.at(0).second)
    if (s.kind >= k3s::StepKind::ExpectNothingSent) ++expectations;

  k3host::LibraryExports lib;
  lib.lineOpen = LineOpenExport;
  lib.devSpecific = DevSpecificExport;
  lib.fromVorta = FromVortaExport;
  lib.monitorStart = MonitorStartExport;
  lib.monitorStop = MonitorStopExport;
  lib.monitorClear = MonitorClearExport;
  VirtualClock clock;
  k3host::ScenarioRunner runner(lib, clock, false);
  runner.RunFile(files[0].first, files[0].second);
  EXPECT_EQ(runner.Summary(), 0);
  EXPECT_EQ(runner.ExpectationsMet(), expectations);
}

TEST(NativeScenario, DefaultScenarioMeetsEveryExpectation) { Play("default.scn"); }

TEST(NativeScenario, UnansweredRequestTimesOutAfterNinetySeconds) { Play("timeout.scn"); }

}  // namespace
