// Shared pieces of the inbound tests: hand-written BER for the ROSE envelopes
// and the PBX's private octets, host callbacks that record what the library
// hands out, and a fixture that resets the link state.
#ifndef K3_TESTS_INBOUND_FIXTURE_H
#define K3_TESTS_INBOUND_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bridge/converters.h"
#include "bridge/requests.h"
#include "csta3_model.h"
#include "link/engine.h"
#include "link/inbound.h"
#include "link/platform.h"
#include "link/request.h"

namespace inbound_test {

using namespace CSTA3V6;
using Bytes = std::vector<unsigned char>;

inline Bytes B(std::initializer_list<int> v) { return Bytes(v.begin(), v.end()); }
inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}
inline Bytes S(const std::string &s) { return Bytes(s.begin(), s.end()); }
inline Bytes TLV(int tag, const Bytes &c) {  // short or one-octet long form
  return Cat({B({tag}), c.size() < 128 ? B({int(c.size())}) : B({0x81, int(c.size())}), c});
}
inline Bytes Int(int64_t v) {  // shortest two's-complement INTEGER
  Bytes c;
  do c.insert(c.begin(), uint8_t(v & 0xFF)), v >>= 8;
  while (!((v == 0 && !(c.front() & 0x80)) || (v == -1 && (c.front() & 0x80))));
  return TLV(0x02, c);
}

// ROSE envelopes.
inline Bytes Roiv(int64_t id, int op, const Bytes &arg) { return TLV(0xA1, Cat({Int(id), Int(op), arg})); }
inline Bytes Rors(int64_t id, int op, const Bytes &res) { return TLV(0xA2, Cat({Int(id), TLV(0x30, Cat({Int(op), res}))})); }
inline Bytes Roer(int64_t id) { return TLV(0xA3, Cat({Int(id), Int(1)})); }
inline Bytes Rorj(int64_t id) { return TLV(0xA4, Cat({Int(id), B({0x80, 0x01, 0x00})})); }

// Private data: the item {manufacturer, octets}, an escape argument and an
// escape result (CSTACommonArguments [APPLICATION 30], privateData [1]).
inline Bytes Item(const Bytes &priv, int oidLast = 0x0F) {
  return TLV(0x30, Cat({B({0x06, 0x06, 0x2B, 0x0C, 0x02, 0x88, 0x53, oidLast}), TLV(0x04, priv)}));
}
inline Bytes EscapeArg(const Bytes &priv) { return TLV(0x30, Item(priv)); }
inline Bytes EscapeRes(const Bytes &items) { return TLV(0x7E, TLV(0xA1, items)); }
// ACL2 2/action and the AMHOST header (type, subtype, third value).
inline Bytes Amhost(int type, int sub, int third, int action = 0xC4) {
  return B({0x1A, 0x04, 0x02, action, 0x1E, 0x08, type, sub, 0x00, 0x00, third, 0x00});
}
inline Bytes Dev211(const std::string &d) { return Cat({B({0xD3, int(d.size())}), S(d)}); }
inline Bytes Text(int id, const std::string &t) { return Cat({B({id, int(t.size() + 4), int(t.size())}), S(t), B({0})}); }
// ACL2 6/action with a MAINT of message type and reference; date and time items.
inline Bytes Maint(int type, int ref, const Bytes &items = {}, int action = 0xC4) {
  return Cat({B({0x1A, 0x04, 0x06, action, 0x22, 0x04, type, ref}), items});
}
inline Bytes Date(int d, int m, int y) { return B({0xB8, 0x06, 0, d, m, y}); }
inline Bytes Time(int h, int m, int s) { return B({0xB9, 0x06, 0, h, m, s}); }

// Common arguments carrying one PBX private-data item with these octets.
CSTACommonArguments *PrivateData(const Bytes &octets);

// An invocation of op by the PBX under invoke id id; msg owns arg.
inline CSTAMsg Invoke(uint32_t id, int32_t op, AsnType *arg) {
  CSTAMsg msg;
  k3::BuildInvoke(msg, op, arg);
  k3::SetInvokeId(msg, id);
  return msg;
}

// The result of op under invoke id id; msg owns res.
inline CSTAMsg Result(uint32_t id, int32_t op, AsnType *res) {
  CSTAMsg msg;
  k3::BuildResult(msg, op, res);
  k3::SetInvokeId(msg, id);
  return msg;
}

// sendData (112) with its data, or stopDataPath (111), naming a data path.
inline CSTAMsg PathMessage(uint32_t id, int32_t op, const std::string &xref, const char *data = "") {
  auto *x = new IOCrossRefID;
  x->choiceId = IOCrossRefID::computerProvidedCid;
  x->computerProvided = new AsnOcts(xref.data(), xref.size());
  if (op == 111) {
    auto *arg = new StopDataPathArgument;
    arg->ioCrossRefID = x;
    return Invoke(id, op, arg);
  }
  auto *arg = new SendDataArgument;
  arg->ioCrossRefID = x;
  arg->ioData.Set(data);
  return Invoke(id, op, arg);
}

DeviceID *Device(const char *digits);
// The PBX's startDataPath for device, with private element 3 (value 7) when withPrivate.
CSTAMsg StartPath(uint32_t id, const char *device, bool withPrivate);

// An agent event report of the logical-device family on cross reference kXref.
using L = LogicalDeviceFeatureEvents;
const std::string kXref("\x01\x02", 2);
template <class E>
CSTAMsg AgentReport(L::ChoiceIdEnum which, const char *agentId, CSTACommonArguments *ext = nullptr) {
  auto *e = new E;
  (e->agentDevice = new SubjectDeviceID)->deviceIdentifier = Device("4712");
  if (agentId) e->agentID = new AgentID(agentId);
  e->acdGroup = Device("300");
  e->extensions = ext;
  auto *arg = new CSTAEventReportArgument;
  arg->crossRefIdentifier.Set(kXref.data(), kXref.size());
  arg->eventSpecificInfo = new EventSpecificInfo;
  arg->eventSpecificInfo->choiceId = EventSpecificInfo::logicalDeviceFeatureEventsCid;
  auto *events = arg->eventSpecificInfo->logicalDeviceFeatureEvents = new L;
  events->choiceId = which;
  events->alternative = e;
  return Invoke(1, 21, arg);
}

struct Host {
  std::vector<std::pair<uint32_t, Bytes>> sent;      // invoke id, BER
  std::vector<uint32_t> sentLines;                   // the line of each message sent
  std::vector<Bytes> sentPn;                         // an escape's pnPrivateData as the host reads it
  std::vector<std::pair<uint32_t, uint32_t>> replies;  // request id, result
  std::vector<Bytes> events;                         // the 12-byte headers
  uint32_t sendReturn = 1;
  // Called from inside each callback after it is recorded, to call back into the library.
  std::function<void(uint32_t invokeId)> onSend;
  std::function<void(uint32_t requestId, uint32_t result)> onReply;
  std::function<void(const Bytes &header)> onEvent;
};
Host &TheHost();
std::unique_ptr<CSTAMsg> Decode(const Bytes &ber);

// A request structure in a heap buffer of exactly its size, plus only the room
// the type may write past it, so that stray accesses show up under ASan.
struct Block {
  std::vector<uint8_t> p;
  uint32_t size;
  Block(uint16_t type, uint32_t sz, uint32_t room = 0) : p(std::max(sz, room), 0), size(sz) {
    for (uint32_t i = 0; i < 2 && i < sz; ++i) p[i] = uint8_t(type >> (8 * i));
  }
  Block &Str(uint32_t at, const std::string &s) { return std::memcpy(&p[at], s.data(), s.size()), *this; }
  Block &U8(uint32_t at, uint8_t v) { return p[at] = v, *this; }
  Block &U32(uint32_t at, uint32_t v, int width = 4) {
    for (int i = 0; i < width; ++i) p[at + i] = uint8_t(v >> (8 * i));
    return *this;
  }
  uint32_t U32(size_t at) const { return p[at] | p[at + 1] << 8 | p[at + 2] << 16 | uint32_t(p[at + 3]) << 24; }
  std::string Str(size_t at) const { return reinterpret_cast<const char *>(&p[at]); }
  Bytes Range(size_t from, size_t to) const { return Bytes(&p[from], &p[to]); }
};

inline uint32_t U32(const Bytes &r, size_t at) { return r[at] | r[at + 1] << 8 | r[at + 2] << 16 | uint32_t(r[at + 3]) << 24; }
inline std::string Str(const Bytes &r, size_t at) { return reinterpret_cast<const char *>(&r[at]); }

constexpr uint32_t kNow = 1000;

class Inbound : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override {
    k3::SetInboundConverters(nullptr);
    host = Host();  // no hook outlives the test whose locals it holds
  }
  Host &host = TheHost();
  // A pending request for the block under invokeId (request id invokeId + 1),
  // with the answer kind the bridge gives its type when it sends it.
  uint32_t Request(uint32_t requestId, Block &b, uint32_t line = 0) {
    return k3::ProcessDevSpecificRequest(line, requestId, b.p.data(), b.size);
  }
  void Pend(uint32_t invokeId, Block &b) {
    uint16_t type = uint16_t(b.p[0] | b.p[1] << 8);
    const k3::RequestType *row = k3::FindRequestType(type);
    k3::AddPending(0, {invokeId, type, b.p.data(), b.size, invokeId + 1, 0, kNow, kNow + 90000, 0,
                       row ? row->answer : k3::AnswerKind::kGeneral});
  }
  void Dispatch(const Bytes &ber) {
    auto msg = Decode(ber);
    if (msg) {
      EXPECT_EQ(k3::DispatchInbound(0, msg.get()), 1);
    }
  }
  void Dispatch(const CSTAMsg &msg) { EXPECT_EQ(k3::DispatchInbound(0, &msg), 1); }
  // The result the request of invokeId was completed with (~0: none); fails on a second one.
  uint32_t ResultFor(uint32_t invokeId) const;
  size_t PendingCount() const { return k3::Line(0).pending.size(); }
  Bytes Record(uint32_t sequence) const;  // a stored record's 432 bytes, or empty
};

}  // namespace inbound_test

#endif
