// k3-scenario, portable half: the invocations of the simulated PBX (agent
// events, data-path operations, CDR reports, escapes).
#include <sstream>
#include <vector>

#include "host/scenario_detail.h"
#include "link/request.h"

namespace k3s {

using namespace CSTA3V6;
using namespace detail;

namespace {

DeviceID *Device(const std::string &digits) {
  auto *d = new DeviceID;
  d->deviceIdentifier = new DeviceIDChoice;
  d->deviceIdentifier->choiceId = DeviceIDChoice::dialingNumberCid;
  d->deviceIdentifier->dialingNumber = new NumberDigits(digits.c_str());
  return d;
}

template <class Party>
Party *PartyOf(const Step &s, const char *key) {
  const Arg *a = s.Find(key);
  if (!a) return nullptr;
  auto *p = new Party;
  p->deviceIdentifier = Device(a->value.text);
  return p;
}

IOCrossRefID *CrossRef(const std::string &octets) {
  auto *x = new IOCrossRefID;
  x->choiceId = IOCrossRefID::computerProvidedCid;
  x->computerProvided = new AsnOcts(octets.data(), octets.size());
  return x;
}

template <class E>
AsnType *AgentEvent(const Step &s) {
  auto *e = new E;
  e->agentDevice = new SubjectDeviceID;
  e->agentDevice->choiceId = SubjectDeviceID::deviceIdentifierCid;
  e->agentDevice->deviceIdentifier = Device(s.Has("device") ? s.Find("device")->value.text : "100");
  if (const Arg *a = s.Find("agent")) e->agentID = new AgentID(a->value.text.data(), a->value.text.size());
  if (const Arg *g = s.Find("group")) e->acdGroup = Device(g->value.text);
  if (const Arg *p = s.Find("private")) e->extensions = PrivateOctets(p->value.text);
  return e;
}

bool BuildAgentReport(const Step &s, CSTAMsg &out, std::string &err) {
  using L = LogicalDeviceFeatureEvents;
  const std::string &which = s.words[3];
  AsnType *ev = nullptr;
  L::ChoiceIdEnum cid;
  if (which == "busy") cid = L::agentBusyCid, ev = AgentEvent<AgentBusyEvent>(s);
  else if (which == "loggedon") cid = L::agentLoggedOnCid, ev = AgentEvent<AgentLoggedOnEvent>(s);
  else if (which == "loggedoff") cid = L::agentLoggedOffCid, ev = AgentEvent<AgentLoggedOffEvent>(s);
  else if (which == "notready") cid = L::agentNotReadyCid, ev = AgentEvent<AgentNotReadyEvent>(s);
  else if (which == "ready") cid = L::agentReadyCid, ev = AgentEvent<AgentReadyEvent>(s);
  else if (which == "wac") cid = L::agentWorkingAfterCallCid, ev = AgentEvent<AgentWorkingAfterCallEvent>(s);
  else {
    cid = L::autoAnswerCid;
    auto *aa = new AutoAnswerEvent;
    aa->invokingDevice = new SubjectDeviceID;
    aa->invokingDevice->choiceId = SubjectDeviceID::deviceIdentifierCid;
    aa->invokingDevice->deviceIdentifier = Device(s.Has("device") ? s.Find("device")->value.text : "100");
    aa->autoAnswerOn.Set(true);
    ev = aa;
  }
  auto *arg = new CSTAEventReportArgument;
  const Arg *x = s.Find("xref");
  if (x->value.kind != Value::Octets) {
    delete ev;
    delete arg;
    return err = "xref= takes hex:..", false;
  }
  arg->crossRefIdentifier.Set(x->value.text.data(), x->value.text.size());
  arg->eventSpecificInfo = new EventSpecificInfo;
  arg->eventSpecificInfo->choiceId = EventSpecificInfo::logicalDeviceFeatureEventsCid;
  L *events = arg->eventSpecificInfo->logicalDeviceFeatureEvents = new L;
  events->choiceId = cid;
  events->alternative = ev;
  k3::BuildInvoke(out, kOpCSTAEventReport, arg);
  return true;
}

bool BuildCdr(const Step &s, CSTAMsg &out, std::string &err) {
  auto *arg = new CDRReportArgument;
  k3::BuildInvoke(out, kOpCDRReport, arg);  // owned by the message from here on
  arg->numberOfRecordsSent.Set(1);
  CDRInformationItem &item = *(arg->cdrInfo = new CDRInfo)->Append();
  item.recordCreationTime.Set(s.Has("created") ? s.Find("created")->value.text.c_str() : "20261123081530Z");
  item.callingDevice = PartyOf<CallingDeviceID>(s, "calling");
  item.calledDevice = PartyOf<CalledDeviceID>(s, "called");
  if (const Arg *a = s.Find("access")) item.accessCode = new AsnOcts(a->value.text.data(), a->value.text.size());
  if (const Arg *a = s.Find("account")) item.accountInfo = new AccountInfo(a->value.text.data(), a->value.text.size());
  if (const Arg *a = s.Find("duration")) item.connectionDuration = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("carrier")) item.carrier = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("route")) item.selectedRoute = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("tariff")) item.tariffTable = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("supplementary")) {
    // Bits by number (bit 0 first), as a mask: 0x204 sets bits 2 and 9.
    item.supplServiceInfo = new SupplServiceInfo(16);
    for (int b = 0; b < 16; ++b)
      if (uint32_t(a->value.number) >> b & 1) item.supplServiceInfo->SetBit(size_t(b));
  }
  std::string priv;
  if (const Arg *p = s.Find("private")) priv = p->value.text;
  if (const Arg *e = s.Find("element20")) {
    // Private element 20: two one-octet time parts and two texts, "M1,M2,TEXT1,TEXT2".
    std::vector<std::string> parts;
    std::stringstream ss(e->value.text);
    std::string part;
    while (std::getline(ss, part, ',')) parts.push_back(part);
    int64_t m1, m2;
    if (parts.size() != 4 || !ParseNumber(parts[0], m1) || !ParseNumber(parts[1], m2) || parts[2].size() > 60 ||
        parts[3].size() > 60)
      return err = "element20= takes M1,M2,TEXT1,TEXT2", false;
    std::string body = {char(1), char(m1), char(1), char(m2), char(parts[2].size())};
    body += parts[2];
    body.push_back(char(parts[3].size()));
    body += parts[3];
    priv += std::string{char(0xE4), char(body.size() + 2)} + body;
  }
  if (!priv.empty()) arg->extensions = PrivateOctets(priv);
  return true;
}

}  // namespace

bool BuildInvocation(const Step &s, uint32_t invokeId, CSTAMsg &out, std::string &err) {
  const std::string &kind = s.words[2];
  bool ok = true;
  if (kind == "agent") {
    ok = BuildAgentReport(s, out, err);
  } else if (kind == "startpath") {
    auto *arg = new StartDataPathArgument;
    arg->object = new CSTAObject;
    arg->object->choiceId = CSTAObject::deviceObjectCid;
    arg->object->deviceObject = Device(s.Has("device") ? s.Find("device")->value.text : "100");
    std::string priv;
    if (const Arg *p = s.Find("private")) priv = p->value.text;
    if (const Arg *e = s.Find("element3")) priv += std::string{char(0xE0), 5, char(e->value.number), 0, 0};
    if (!priv.empty()) arg->extensions = PrivateOctets(priv);
    k3::BuildInvoke(out, kOpStartDataPath, arg);
  } else if (kind == "senddata" || kind == "stoppath") {
    const Arg *x = s.Find("xref");
    if (x->value.kind != Value::Octets) return err = "xref= takes hex:..", false;
    if (kind == "senddata") {
      auto *arg = new SendDataArgument;
      arg->ioCrossRefID = CrossRef(x->value.text);
      if (const Arg *d = s.Find("data")) arg->ioData.Set(d->value.text.data(), d->value.text.size());
      k3::BuildInvoke(out, kOpSendData, arg);
    } else {
      auto *arg = new StopDataPathArgument;
      arg->ioCrossRefID = CrossRef(x->value.text);
      k3::BuildInvoke(out, kOpStopDataPath, arg);
    }
  } else if (kind == "cdr") {
    ok = BuildCdr(s, out, err);
  } else if (kind == "escape") {
    PrivateDataChoiceSeq *item = k3::BuildEscapeInvokeRaw(out);
    ok = FillItem(s, *item, err);
  } else {
    return err = "unknown invocation " + kind, false;
  }
  if (ok) k3::SetInvokeId(out, invokeId);
  return ok;
}

}  // namespace k3s
