#include "inbound_fixture.h"

#include <sstream>

namespace inbound_test {

namespace {
Bytes PnOctets(const CSTAMsg &msg) {
  if (msg.choiceId != CSTAMsg::rOSECid || msg.rOSE->choiceId != ROSEapdus::roiv_apduCid) return {};
  const auto *arg = dynamic_cast<const EscapeArgument *>(msg.rOSE->roiv_apdu->argument);
  if (!arg || !arg->privateData || arg->privateData->choiceId != CSTAPrivateData::privateCid) return {};
  const AsnOcts &o = arg->privateData->private_->comPrivateData->pnPrivateData;
  return Bytes(o.Octs(), o.Octs() + o.Len());
}
uint32_t K3_CALL OnSend(uint32_t line, const void *m, void *, uint32_t id) {
  Host &h = TheHost();
  const CSTAMsg &msg = *static_cast<const CSTAMsg *>(m);
  h.sent.emplace_back(id, EncodeToVector(msg));
  h.sentLines.push_back(line);
  h.sentPn.push_back(PnOctets(msg));
  uint32_t accepted = h.sendReturn;
  if (h.onSend) h.onSend(id);
  return accepted;
}
uint32_t K3_CALL OnReply(uint32_t, uint32_t requestId, uint32_t result) {
  TheHost().replies.emplace_back(requestId, result);
  if (TheHost().onReply) TheHost().onReply(requestId, result);
  return 1;
}
uint32_t K3_CALL OnEvent(uint32_t, uint32_t w0, uint32_t w1, uint32_t w2, uint32_t p3) {
  EXPECT_EQ(p3, 0u);
  uint32_t words[3] = {w0, w1, w2};
  Bytes header(12);
  std::memcpy(header.data(), words, 12);
  TheHost().events.push_back(header);
  if (TheHost().onEvent) TheHost().onEvent(header);
  return 0;
}
}  // namespace

Host &TheHost() {
  static Host host;
  return host;
}

std::unique_ptr<CSTAMsg> Decode(const Bytes &ber) {
  auto msg = std::make_unique<CSTAMsg>();
  std::ostringstream err;
  AsnLen used = 0;
  int rc = DecodeFrom(ber.data(), ber.size(), *msg, err, &used);
  EXPECT_EQ(rc, 0) << err.str();
  EXPECT_EQ(used, ber.size());
  return rc == 0 ? std::move(msg) : nullptr;
}

CSTACommonArguments *PrivateData(const Bytes &octets) {
  auto *ext = new CSTACommonArguments;
  ext->privateData = new AsnList<CSTAPrivateData>;
  PrivateDataChoiceSeq *item = k3::NewPbxPrivateItem(*ext->privateData->Append());
  item->SetRaw(octets.data(), octets.size());
  item->DecodeData();
  return ext;
}
DeviceID *Device(const char *digits) {
  auto *d = new DeviceID;
  d->deviceIdentifier = new DeviceIDChoice;
  d->deviceIdentifier->dialingNumber = new NumberDigits(digits);
  return d;
}

CSTAMsg StartPath(uint32_t id, const char *device, bool withPrivate) {
  auto *arg = new StartDataPathArgument;
  (arg->object = new CSTAObject)->deviceObject = Device(device);
  if (withPrivate) arg->extensions = PrivateData(B({0xE0, 0x05, 0x07, 0x00, 0x00}));
  return Invoke(id, 110, arg);
}

void Inbound::SetUp() {
  k3::ResetAllForLoad();
  k3::g_callbacks = {};
  k3::g_callbacks.send = OnSend;
  k3::g_callbacks.reply = OnReply;
  k3::g_callbacks.event = OnEvent;
  k3::Portable().Clear();
  k3::Portable().SetTick(kNow);
  TheHost() = Host();
  k3::RegisterInboundConverters();
}

uint32_t Inbound::ResultFor(uint32_t invokeId) const {
  uint32_t found = ~0u;
  int n = 0;
  for (auto [requestId, result] : host.replies)
    if (requestId == invokeId + 1) found = result, ++n;
  EXPECT_LE(n, 1) << "request " << invokeId << " completed more than once";
  return found;
}

Bytes Inbound::Record(uint32_t sequence) const {
  Bytes out(k3::kEventRecordSize);
  return k3::FetchEventData(0, sequence, out.data(), 0) ? out : Bytes();
}

}  // namespace inbound_test
