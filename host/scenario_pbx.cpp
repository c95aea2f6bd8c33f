// k3-scenario, portable half: what the simulated PBX sees of the library's
// messages, its answers to them, and the BER round trip both sides go through.
#include <sstream>
#include <vector>

#include "host/scenario_detail.h"
#include "link/request.h"

namespace k3s {

using namespace CSTA3V6;
using namespace detail;

namespace {

PrivateDataChoiceSeq *FirstItem(AsnList<CSTAPrivateData> *list) {
  if (!list || !list->First()) return nullptr;
  CSTAPrivateData &d = list->First()->elmt;
  if (d.choiceId != CSTAPrivateData::privateCid || !d.private_) return nullptr;
  if (d.private_->choiceId != PrivateDataChoice::comPrivateDataCid) return nullptr;
  return d.private_->comPrivateData;
}

const PrivateDataChoiceSeq *ItemOf(const CSTAMsg &msg) {
  if (msg.choiceId != CSTAMsg::rOSECid || !msg.rOSE || !msg.rOSE->alternative) return nullptr;
  const ROSEapdus &r = *msg.rOSE;
  if (r.choiceId == ROSEapdus::roiv_apduCid) {
    const ROIVapdu &iv = *r.roiv_apdu;
    if (!iv.argument) return nullptr;
    if (iv.operation_value.value == kOpEscape) {
      const auto *arg = static_cast<const EscapeArgument *>(iv.argument);
      if (arg->privateData && arg->privateData->choiceId == CSTAPrivateData::privateCid && arg->privateData->private_ &&
          arg->privateData->private_->choiceId == PrivateDataChoice::comPrivateDataCid)
        return arg->privateData->private_->comPrivateData;
      return nullptr;
    }
    if (iv.operation_value.value == kOpSendData) {
      const auto *arg = static_cast<const SendDataArgument *>(iv.argument);
      return arg->extensions ? FirstItem(arg->extensions->privateData) : nullptr;
    }
    return nullptr;
  }
  if (r.choiceId == ROSEapdus::rors_apduCid && r.rors_apdu->result && r.rors_apdu->result->result &&
      r.rors_apdu->result->operation_value.value == kOpEscape) {
    const auto *res = static_cast<const EscapeResult *>(r.rors_apdu->result->result);
    if (res->choiceId == EscapeResult::extensionsCid && res->extensions) return FirstItem(res->extensions->privateData);
  }
  return nullptr;
}

}  // namespace

MessageFacts FactsOf(const CSTAMsg &msg) {
  MessageFacts f;
  if (msg.choiceId == CSTAMsg::aCSECid) {
    f.kind = "acse";
    return f;
  }
  f.kind = "?";
  if (!msg.rOSE || !msg.rOSE->alternative) return f;
  const ROSEapdus &r = *msg.rOSE;
  switch (r.choiceId) {
    case ROSEapdus::roiv_apduCid:
      f.kind = "invoke";
      f.invokeId = r.roiv_apdu->invokeID.value;
      f.operation = r.roiv_apdu->operation_value.value;
      break;
    case ROSEapdus::rors_apduCid:
      f.kind = "result";
      f.invokeId = r.rors_apdu->invokeID.value;
      if (r.rors_apdu->result) f.operation = r.rors_apdu->result->operation_value.value;
      break;
    case ROSEapdus::roer_apduCid:
      f.kind = "error";
      f.invokeId = r.roer_apdu->invokeID.value;
      break;
    case ROSEapdus::rorj_apduCid:
      f.kind = "reject";
      if (r.rorj_apdu->invokeID && r.rorj_apdu->invokeID->choiceId == RORJapduChoice::presentCid &&
          r.rorj_apdu->invokeID->present)
        f.invokeId = r.rorj_apdu->invokeID->present->value;
      break;
  }
  if (const PrivateDataChoiceSeq *item = ItemOf(msg)) {
    f.privateOctets = item->RawOctets().Str();
    if (const ACL2 *acl = item->Acl()) {
      f.hasAcl = true;
      f.aclApplication = acl->application;
      f.aclAction = acl->action;
      if (acl->amhost) {
        f.hasAmhost = true;
        f.amhostType = acl->amhost->nounNr, f.amhostSub = acl->amhost->verbNr, f.amhostThird = acl->amhost->messageType;
      }
      if (acl->maint) f.hasMaint = true, f.maintAlt = acl->maint->messageType, f.maintRef = acl->maint->crossRef;
    }
  }
  return f;
}

bool CheckFacts(const MessageFacts &f, const Step &s, std::string &err) {
  std::vector<std::string> bad;
  auto num = [&](const char *key, bool present, int64_t actual) {
    const Arg *a = s.Find(key);
    if (!a) return;
    if (!present) bad.push_back(std::string(key) + " absent, expected " + std::to_string(a->value.number));
    else if (actual != a->value.number)
      bad.push_back(std::string(key) + " is " + std::to_string(actual) + ", expected " + std::to_string(a->value.number));
  };
  num("op", f.operation >= 0, f.operation);
  num("invoke", f.invokeId >= 0, f.invokeId);
  num("maint", f.hasMaint, f.maintAlt);
  num("ref", f.hasMaint, f.maintRef);
  if (const Arg *a = s.Find("kind"))
    if (a->value.text != f.kind) bad.push_back("kind is " + f.kind + ", expected " + a->value.text);
  if (const Arg *a = s.Find("acl")) {
    std::string actual = f.hasAcl ? std::to_string(f.aclApplication) + "/" + std::to_string(f.aclAction) : "none";
    if (actual != a->value.text) bad.push_back("acl is " + actual + ", expected " + a->value.text);
  }
  if (const Arg *a = s.Find("amhost")) {
    std::string actual = f.hasAmhost ? std::to_string(f.amhostType) + "/" + std::to_string(f.amhostSub) + "/" +
                                           std::to_string(f.amhostThird)
                                     : "none";
    if (actual != a->value.text) bad.push_back("amhost is " + actual + ", expected " + a->value.text);
  }
  if (const Arg *a = s.Find("raw"))
    if (a->value.text != f.privateOctets)
      bad.push_back("private octets are hex:" + HexOf(f.privateOctets.data(), f.privateOctets.size()) +
                    ", expected hex:" + HexOf(a->value.text.data(), a->value.text.size()));
  err.clear();
  for (size_t i = 0; i < bad.size(); ++i) err += (i ? "; " : "") + bad[i];
  return bad.empty();
}

namespace {

bool Refuse(std::string &err, const std::string &text) {
  err = text;
  return false;
}

ROSEapdus *NewRose(CSTAMsg &out, ROSEapdus::ChoiceIdEnum cid) {
  out.choiceId = CSTAMsg::rOSECid;
  out.rOSE = new ROSEapdus;
  out.rOSE->choiceId = cid;
  return out.rOSE;
}

// The answers that carry no result: a ROSE error, a reject, a bare result.
void BuildPlainAnswer(const Step &s, int64_t id, CSTAMsg &out) {
  if (s.kind == StepKind::PbxError) {
    ROERapdu *er = NewRose(out, ROSEapdus::roer_apduCid)->roer_apdu = new ROERapdu;
    er->invokeID.Set(int32_t(id));
    er->error_value.Set(s.Has("code") ? int32_t(s.Find("code")->value.number) : 1);
  } else if (s.kind == StepKind::PbxReject) {
    RORJapdu *rj = NewRose(out, ROSEapdus::rorj_apduCid)->rorj_apdu = new RORJapdu;
    rj->invokeID = new RORJapduChoice;
    rj->invokeID->choiceId = RORJapduChoice::presentCid;
    rj->invokeID->present = new AsnInt(int32_t(id));
    rj->problem = new RORJapduChoice1;
    rj->problem->choiceId = RORJapduChoice1::generalCid;
    rj->problem->general = new GeneralProblem(0);
  } else {
    NewRose(out, ROSEapdus::rors_apduCid)->rors_apdu = new RORSapdu;
    out.rOSE->rors_apdu->invokeID.Set(int32_t(id));
  }
}

bool HasContent(const Step &s) { return s.Has("amhost") || s.Has("maint") || s.Has("acl") || s.Has("raw"); }

// An escape result: no data, or one private-data item from the content arguments.
bool BuildEscapeResult(const Step &s, CSTAMsg &out, std::string &err) {
  auto *res = new EscapeResult;
  k3::BuildResult(out, kOpEscape, res);
  if (!HasContent(s)) {
    res->choiceId = EscapeResult::noDataCid;
    res->noData = new AsnNull;
    return true;
  }
  res->choiceId = EscapeResult::extensionsCid;
  res->extensions = new CSTACommonArguments;
  res->extensions->privateData = new AsnList<CSTAPrivateData>;
  return FillItem(s, *k3::NewPbxPrivateItem(*res->extensions->privateData->Append()), err);
}

AsnType *AgentStateResult(const Step &s) {
  auto *res = new GetAgentStateResult;
  res->agentStateList = new AgentStateList;
  if (s.Has("agent") || s.Has("state")) {
    AgentStateEntry &e = *res->agentStateList->Append();
    if (const Arg *a = s.Find("agent")) e.agentID = new AgentID(a->value.text.data(), a->value.text.size());
    e.loggedOn.Set(true);
    if (const Arg *st = s.Find("state")) {
      e.agentInfo = new AsnList<AgentInfo>;
      e.agentInfo->Append()->agentState.Set(int32_t(st->value.number));
    }
  }
  return res;
}

// The result object of a standard service; null for an operation without one.
AsnType *ServiceResult(const Step &s, int32_t op) {
  switch (op) {
    case kOpGetAgentState: return AgentStateResult(s);
    case kOpGetPhysicalDeviceInformation: {
      auto *res = new GetPhysicalDeviceInformationResult;
      if (const Arg *c = s.Find("category")) res->deviceCategory = new DeviceCategory(int32_t(c->value.number));
      return res;
    }
    case kOpStartCDRTransmission: {
      auto *res = new StartCDRTransmissionResult;
      std::string x = s.Has("xref") ? s.Find("xref")->value.text : std::string("\x01", 1);
      res->cdrCrossRefID.Set(x.data(), x.size());
      return res;
    }
    case kOpStopCDRTransmission: {
      auto *res = new StopCDRTransmissionResult;
      res->choiceId = StopCDRTransmissionResult::noDataCid;
      res->noData = new AsnNull;
      return res;
    }
    case kOpSetAgentState: return new SetAgentStateResult;
    case kOpSendData: {
      auto *res = new SendDataResult;
      res->choiceId = SendDataResult::noDataCid;
      res->noData = new AsnNull;
      return res;
    }
    default: return nullptr;
  }
}

}  // namespace

bool BuildAnswer(const Step &s, const CSTAMsg &answered, CSTAMsg &out, std::string &err) {
  MessageFacts facts = FactsOf(answered);
  int64_t id = s.Has("invoke") ? s.Find("invoke")->value.number : facts.invokeId;
  if (!s.Has("invoke") && facts.kind != "invoke")
    return Refuse(err, "the message to answer is a " + facts.kind + ", not an invocation; give invoke=");
  if (s.kind == StepKind::PbxError || s.kind == StepKind::PbxReject || s.kind == StepKind::PbxBare) {
    BuildPlainAnswer(s, id, out);
    return true;
  }
  int32_t op = s.Has("op") ? int32_t(s.Find("op")->value.number) : facts.operation;
  // Private-data content belongs to an escape result, also with nothing to copy the operation from.
  if (op < 0 && HasContent(s)) op = kOpEscape;
  if (op == kOpEscape) {
    if (!BuildEscapeResult(s, out, err)) return false;
  } else if (AsnType *result = ServiceResult(s, op)) {
    k3::BuildResult(out, op, result);
  } else {
    return Refuse(err, "no result form for operation " + std::to_string(op) + "; use pbx bare, error or reject");
  }
  k3::SetInvokeId(out, uint32_t(id));
  return true;
}

bool RoundTrip(const CSTAMsg &msg, CSTAMsg &out, std::vector<unsigned char> &ber, std::string &err) {
  if (!EncodeToVector(msg, ber) || ber.empty()) return Refuse(err, "the message could not be encoded");
  std::ostringstream lines;
  AsnLen used = 0;
  int rc = DecodeFrom(ber.data(), ber.size(), out, lines, &used);
  if (rc != 0) {
    std::string text = lines.str();
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return err = "decoding the encoded message failed (" + std::to_string(rc) + "): " + text, false;
  }
  if (used != ber.size()) return err = "decoding used " + std::to_string(used) + " of " + std::to_string(ber.size()) + " octets", false;
  return true;
}

}  // namespace k3s
