// k3-scenario: what the library hands to the host's three callbacks, kept in
// order of arrival for the runner to handle on its own thread.
#ifndef K3_HOST_K3_SCENARIO_LOG_H
#define K3_HOST_K3_SCENARIO_LOG_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "csta3_model.h"
#include "kestrel3.h"

namespace k3host {

// One call of a callback.
struct Happening {
  enum Kind { Sent, Reply, Event } kind;
  // Sent: the message as the PBX decoded it.
  uint32_t invokeId = 0;
  const void *block = nullptr;
  std::vector<unsigned char> ber;
  std::shared_ptr<CSTA3V6::CSTAMsg> msg;
  std::string decodeError;
  // Reply.
  uint32_t requestId = 0, result = 0;
  // Event: the three header words and parameter 3.
  uint32_t words[3] = {0, 0, 0};
  uint32_t param3 = 0;
};

// The log: the callbacks append under g_lock and notify g_changed.
extern std::mutex g_lock;
extern std::condition_variable g_changed;
extern std::vector<Happening> g_log;
// What the send callback answers: 1 (the link is up) or 0.
extern std::atomic<int> g_sendAccept;

// The callbacks registered at line open. A message handed to OnSend is
// encoded and decoded there, while it is valid; the log keeps the decoded copy.
uint32_t K3_CALL OnSend(uint32_t line, const void *message, void *block, uint32_t invokeId);
uint32_t K3_CALL OnReply(uint32_t line, uint32_t requestId, uint32_t result);
uint32_t K3_CALL OnEvent(uint32_t line, uint32_t w0, uint32_t w1, uint32_t w2, uint32_t p3);

}  // namespace k3host

#endif
