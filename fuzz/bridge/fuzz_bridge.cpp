// Runs device-specific requests of arbitrary type, size and body through the
// encoders and the completion step. Each structure lives in a heap buffer of
// exactly its size, plus only the room a type is allowed to write past it, so
// ASan reports any other access outside.
//
// Input: one prepared line state, then a run of requests, each
//   flags (bit 0: the host accepts the message, bit 1: a send callback is
//   registered, bit 2: run an expiry sweep first, bit 3: a new requested size
//   is taken from the next two octets, else the previous size),
//   [size, 16-bit little-endian, below 1024], then as many body octets as the
//   size (missing octets are 0).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bridge/requests.h"
#include "csta3_model.h"
#include "link/engine.h"
#include "link/platform.h"

namespace {

using namespace CSTA3V6;

bool g_accept = true;

uint32_t K3_CALL OnSend(uint32_t, const void *m, void *, uint32_t) {
  // Encoding walks the whole tree the encoder built.
  std::vector<unsigned char> ber = EncodeToVector(*static_cast<const CSTAMsg *>(m));
  if (ber.empty()) std::abort();
  return g_accept ? 1 : 0;
}
uint32_t K3_CALL OnReply(uint32_t, uint32_t, uint32_t) { return 1; }

void Prepare() {
  k3::ResetAllForLoad();
  k3::g_callbacks = {};
  k3::g_callbacks.reply = OnReply;
  k3::Portable().Clear();
  k3::Portable().SetTick(1000);
  k3::LineState &line = k3::Line(0);
  line.cdrSession = 5;
  line.cdrCrossRefId.Set("\x01\x02", 2);
  line.maintSessions = {1, 2, 3};
  k3::DataPath path;
  path.device = "DP1";
  path.crossRefId.Set("\x00\x00\x00\x00", 4);
  line.dataPaths.push_back(path);
  // Records 1..3: a CDR record, an agent record with unterminated texts, and
  // a list record with texts of every length.
  k3::EventDataRecord cdr, agent, list;
  cdr.SetU16(k3::EventDataRecord::kType, 0x32);
  std::memset(cdr.bytes + 24, 'c', sizeof cdr.bytes - 24);
  agent.SetU16(k3::EventDataRecord::kType, 0x81);
  std::memset(agent.bytes + 24, 'a', sizeof agent.bytes - 24);
  list.SetU16(k3::EventDataRecord::kType, k3::kListRecordType);
  for (int i = 0; i < 12; ++i) list.texts.push_back(std::string(size_t(i), char('0' + i)));
  list.SetU16(k3::EventDataRecord::kListCount, 12);
  k3::StoreEventData(0, cdr);
  k3::StoreEventData(0, agent);
  k3::StoreEventData(0, list);
}

// The buffer a request of this type and size is given.
size_t Room(const std::vector<uint8_t> &body, uint32_t size) {
  size_t room = size;
  if (size < 2) return room;
  uint16_t type = uint16_t(body[0] | (body[1] << 8));
  if (type == 0x21) room = size + 2;
  if (type == 0x35) room = std::max<size_t>(room, 442);
  if (type == 0x62 && size >= 6) {
    uint32_t seq;
    std::memcpy(&seq, body.data() + 2, 4);
    if (const k3::EventDataRecord *r = k3::FindEventData(0, seq)) room = std::max(room, 9 * r->texts.size() + 8);
  }
  return room;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t n) {
  Prepare();
  size_t pos = 0;
  uint32_t size = 0;
  uint32_t now = 1000;
  while (pos < n) {
    uint8_t flags = data[pos++];
    g_accept = flags & 1;
    k3::g_callbacks.send = (flags & 2) ? OnSend : nullptr;
    if (flags & 4) {
      now += 60000;
      k3::Portable().SetTick(now);
      k3::SweepTimeouts(now);
    }
    if (flags & 8) {
      if (pos + 2 > n) break;
      size = uint32_t(data[pos] | (data[pos + 1] << 8)) % 1024;
      pos += 2;
    }
    std::vector<uint8_t> body(std::max<size_t>(size, 8), 0);
    size_t take = std::min<size_t>(size, n - pos);
    std::memcpy(body.data(), data + pos, take);
    pos += take;

    size_t room = Room(body, size);
    // An exact heap block (never zero-sized, so that the pointer is unique).
    uint8_t *block = static_cast<uint8_t *>(std::malloc(room ? room : 1));
    if (room) std::memcpy(block, body.data(), std::min(room, body.size()));
    if (room > body.size()) std::memset(block + body.size(), 0, room - body.size());
    uint32_t r = k3::ProcessDevSpecificRequest(0, 1, block, size);
    if (r != 0) std::abort();  // the reply callback always accepts
    // Pending requests keep the pointer; drop them before the block goes.
    k3::Line(0).pending.clear();
    std::free(block);
  }
  k3::ResetAllForLoad();
  return 0;
}
