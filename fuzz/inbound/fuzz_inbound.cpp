// Runs arbitrary BER through the inbound dispatcher with a line full of
// state: pending requests of every answered type (each structure in a heap
// block of exactly its size, so ASan reports any access past it), a list
// query collecting answers, monitors, maintenance references and data paths.
//
// Input: one flag octet (bit 0: the host accepts what the library sends,
// bit 1: an event callback is registered), then BER-encoded CSTA messages
// back to back; decoding stops at the first one that does not decode.
//
// Checked besides memory safety and leaks: a request is never completed after
// it left the pending list, and every message the library sends encodes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

#include "bridge/converters.h"
#include "csta3_model.h"
#include "link/engine.h"
#include "link/inbound.h"
#include "link/platform.h"

namespace {

using namespace CSTA3V6;

bool g_accept = true;

bool IsPending(uint32_t requestId) {
  for (const k3::PendingRequest &p : k3::Line(0).pending)
    if (p.requestId == requestId) return true;
  return false;
}

uint32_t K3_CALL OnSend(uint32_t, const void *m, void *, uint32_t) {
  std::vector<unsigned char> ber = EncodeToVector(*static_cast<const CSTAMsg *>(m));
  if (ber.empty()) std::abort();
  return g_accept ? 1 : 0;
}
uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t) {
  if (!IsPending(requestId)) std::abort();  // completed after it was removed
  return 1;
}
uint32_t K3_CALL OnEvent(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }

struct Request {
  uint16_t type;
  uint32_t size;
};
// Every type the answer converters know, with its exact size.
const Request kRequests[] = {
    {0x41, 8},  {0x52, 143}, {0x71, 44}, {0x73, 12}, {0x74, 12}, {0x44, 3},  {0x43, 3},  {0x45, 222},
    {0x46, 3},  {0x47, 2},   {0x48, 2},  {0x11, 17}, {0x21, 54}, {0x91, 6},  {0x82, 19}, {0x83, 19},
    {0xA1, 19}, {0x31, 6},   {0x34, 6},  {0x93, 52}, {0x61, 21}, {0x54, 44}, {0x63, 20},
};
constexpr size_t kCount = sizeof kRequests / sizeof kRequests[0];

void Prepare(std::vector<std::unique_ptr<uint8_t[]>> &blocks, bool eventCallback) {
  k3::ResetAllForLoad();
  k3::g_callbacks = {};
  k3::g_callbacks.send = OnSend;
  k3::g_callbacks.reply = OnReply;
  if (eventCallback) k3::g_callbacks.event = OnEvent;
  k3::Portable().Clear();
  k3::Portable().SetTick(1000);
  k3::RegisterInboundConverters();
  k3::LineState &line = k3::Line(0);
  // Invoke ids 32768.. in table order; request ids 1.. likewise.
  for (size_t i = 0; i < kCount; ++i) {
    blocks.emplace_back(new uint8_t[kRequests[i].size]());
    uint8_t *b = blocks.back().get();
    b[0] = uint8_t(kRequests[i].type);
    if (kRequests[i].size > 1) b[1] = uint8_t(kRequests[i].type >> 8);
    k3::AddPending(0, k3::PendingRequest{uint32_t(32768 + i), kRequests[i].type, b, kRequests[i].size,
                                         uint32_t(i + 1), 0, 1000, 91000});
  }
  // The list query (table entry 0x61) collects into record 1.
  k3::EventDataRecord list;
  list.SetU16(k3::EventDataRecord::kType, k3::kListRecordType);
  list.SetU32(k3::EventDataRecord::kListInvokeId, 32768 + 20);
  line.listQueryHandle = k3::StoreEventData(0, list);
  k3::MonitorStartHandler(0, "4711", AsnOcts("\x01\x02", 2));
  k3::MonitorStartHandler(0, "", AsnOcts());
  line.maintSessions = {1, 2, 3};
  line.cdrSession = 5;
  for (uint32_t i = 0; i < 2; ++i) {
    k3::DataPath &p = line.dataPaths.emplace_back();
    p.device = i ? "123456789" : "DP";
    char x[4] = {char(i), 0, 0, 0};
    p.crossRefId.Set(x, 4);
    p.number = i;
  }
  line.dataPathCounter = 2;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  g_accept = (data[0] & 1) != 0;
  std::vector<std::unique_ptr<uint8_t[]>> blocks;
  Prepare(blocks, (data[0] & 2) != 0);
  size_t at = 1;
  for (int n = 0; n < 16 && at < size; ++n) {
    CSTAMsg msg;
    std::ostringstream err;
    AsnLen used = 0;
    if (DecodeFrom(data + at, size - at, msg, err, &used) != 0 || used == 0) break;
    at += used;
    if (k3::DispatchInbound(0, &msg) != 1) std::abort();
  }
  // The state goes before the blocks the pending requests point into.
  k3::ResetAllForLoad();
  return 0;
}
