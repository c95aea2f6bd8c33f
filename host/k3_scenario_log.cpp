// k3-scenario: the host's callbacks, each filing what it got in the log.
#include "host/k3_scenario_log.h"

#include "host/scenario.h"

namespace k3host {

using namespace CSTA3V6;

std::mutex g_lock;
std::condition_variable g_changed;
std::vector<Happening> g_log;
std::atomic<int> g_sendAccept{1};

namespace {

void Record(Happening &&h) {
  std::lock_guard<std::mutex> l(g_lock);
  g_log.push_back(std::move(h));
  g_changed.notify_all();
}

}  // namespace

uint32_t K3_CALL OnSend(uint32_t, const void *message, void *block, uint32_t invokeId) {
  Happening h;
  h.kind = Happening::Sent;
  h.invokeId = invokeId;
  h.block = block;
  h.msg = std::make_shared<CSTAMsg>();
  // The library's object is valid during this call only: the link encodes it
  // here, and the PBX works on what it decodes.
  if (!message) h.decodeError = "the library passed no message";
  else if (!k3s::RoundTrip(*static_cast<const CSTAMsg *>(message), *h.msg, h.ber, h.decodeError)) h.msg.reset();
  Record(std::move(h));
  return g_sendAccept ? 1 : 0;
}

uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t result) {
  Happening h;
  h.kind = Happening::Reply;
  h.requestId = requestId;
  h.result = result;
  Record(std::move(h));
  return 1;
}

uint32_t K3_CALL OnEvent(uint32_t, uint32_t w0, uint32_t w1, uint32_t w2, uint32_t p3) {
  Happening h;
  h.kind = Happening::Event;
  h.words[0] = w0, h.words[1] = w1, h.words[2] = w2;
  h.param3 = p3;
  Record(std::move(h));
  return 0;
}

}  // namespace k3host
