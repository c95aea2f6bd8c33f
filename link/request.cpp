#include "link/request.h"

#include "link/engine.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

ROIVapdu *NewInvoke(CSTAMsg &msg, int32_t operation) {
  msg.choiceId = CSTAMsg::rOSECid;
  msg.rOSE = new ROSEapdus;
  msg.rOSE->choiceId = ROSEapdus::roiv_apduCid;
  ROIVapdu *roiv = msg.rOSE->roiv_apdu = new ROIVapdu;
  roiv->operation_value.Set(operation);
  return roiv;
}

RORSapduSeq *NewResult(CSTAMsg &msg, int32_t operation) {
  msg.choiceId = CSTAMsg::rOSECid;
  msg.rOSE = new ROSEapdus;
  msg.rOSE->choiceId = ROSEapdus::rors_apduCid;
  RORSapdu *rors = msg.rOSE->rors_apdu = new RORSapdu;
  rors->result = new RORSapduSeq;
  rors->result->operation_value.Set(operation);
  return rors->result;
}

// Sets the ACL2 of a fresh item: created with 255/196, then given the
// caller's application and action.
ACL2 *NewAcl(PrivateDataChoiceSeq &seq, uint32_t application, uint32_t action) {
  ACL2 *acl = seq.NewAcl(255, 196);
  acl->application = application;
  acl->action = action;
  return acl;
}

}  // namespace

// The PBX's private-data item inside a CSTAPrivateData of alternative 1.
// Each object is hung into its owner as soon as it exists, so a throwing
// allocation leaves a consistent tree for the owner to free.
PrivateDataChoiceSeq *NewPbxPrivateItem(CSTAPrivateData &data) {
  data.choiceId = CSTAPrivateData::privateCid;
  data.private_ = new PrivateDataChoice;
  data.private_->choiceId = PrivateDataChoice::comPrivateDataCid;
  PrivateDataChoiceSeq *seq = data.private_->comPrivateData = new PrivateDataChoiceSeq;
  seq->SetPbxManufacturer();
  return seq;
}

PrivateDataChoiceSeq *BuildEscapeInvokeRaw(CSTAMsg &msg) {
  ROIVapdu *roiv = NewInvoke(msg, kOpEscape);
  EscapeArgument *arg = new EscapeArgument;
  roiv->argument = arg;
  arg->privateData = new CSTAPrivateData;
  return NewPbxPrivateItem(*arg->privateData);
}

ACL2 *BuildEscapeInvoke(CSTAMsg &msg, uint32_t application, uint32_t action) {
  return NewAcl(*BuildEscapeInvokeRaw(msg), application, action);
}

ACL2 *BuildEscapeResult(CSTAMsg &msg, uint32_t application, uint32_t action) {
  RORSapduSeq *seq = NewResult(msg, kOpEscape);
  EscapeResult *res = new EscapeResult;
  seq->result = res;
  res->choiceId = EscapeResult::extensionsCid;
  res->extensions = new CSTACommonArguments;
  res->extensions->privateData = new AsnList<CSTAPrivateData>;
  CSTAPrivateData *item = res->extensions->privateData->Append();
  return NewAcl(*NewPbxPrivateItem(*item), application, action);
}

void BuildInvoke(CSTAMsg &msg, int32_t operation, AsnType *argument) {
  // Owned from the start, even if building the envelope throws.
  struct Guard {
    AsnType *p;
    ~Guard() { delete p; }
  } guard{argument};
  ROIVapdu *roiv = NewInvoke(msg, operation);
  roiv->argument = guard.p;
  guard.p = nullptr;
}

void BuildResult(CSTAMsg &msg, int32_t operation, AsnType *result) {
  struct Guard {
    AsnType *p;
    ~Guard() { delete p; }
  } guard{result};
  RORSapduSeq *seq = NewResult(msg, operation);
  seq->result = guard.p;
  guard.p = nullptr;
}

void SetInvokeId(CSTAMsg &msg, uint32_t id) {
  if (msg.choiceId != CSTAMsg::rOSECid || !msg.rOSE) return;
  ROSEapdus &r = *msg.rOSE;
  if (!r.alternative) return;
  switch (r.choiceId) {
    case ROSEapdus::roiv_apduCid: r.roiv_apdu->invokeID.Set(static_cast<int32_t>(id)); break;
    case ROSEapdus::rors_apduCid: r.rors_apdu->invokeID.Set(static_cast<int32_t>(id)); break;
    case ROSEapdus::roer_apduCid: r.roer_apdu->invokeID.Set(static_cast<int32_t>(id)); break;
    default: break;
  }
}

uint32_t InvokeIdOf(const CSTAMsg &msg) {
  if (msg.choiceId != CSTAMsg::rOSECid || !msg.rOSE || !msg.rOSE->alternative) return 0;
  const ROSEapdus &r = *msg.rOSE;
  switch (r.choiceId) {
    case ROSEapdus::roiv_apduCid: return static_cast<uint32_t>(r.roiv_apdu->invokeID.value);
    case ROSEapdus::rors_apduCid: return static_cast<uint32_t>(r.rors_apdu->invokeID.value);
    case ROSEapdus::roer_apduCid: return static_cast<uint32_t>(r.roer_apdu->invokeID.value);
    default: return 0;
  }
}

uint32_t SendRequest(uint32_t line, CSTAMsg &msg, void *block, uint32_t wantInvokeId) {
  uint32_t id = NextInvokeId(line);
  SetInvokeId(msg, id);
  if (!g_callbacks.send) return 0;
  // A tracked request is listed before the host sees it: the host may hand in
  // the PBX's answer from inside its send callback.
  const uint64_t listed = wantInvokeId ? ListBeforeSend(line, block, id) : 0;
  const uint32_t accepted = g_callbacks.send(line, &msg, block, id);
  if (listed) SettleAfterSend(line, listed, accepted);
  if (accepted == 0) return 0;
  return wantInvokeId ? id : 0;
}

uint32_t SendWithInvokeId(uint32_t line, CSTAMsg &msg, void *block, uint32_t invokeId) {
  SetInvokeId(msg, invokeId);
  return g_callbacks.send ? g_callbacks.send(line, &msg, block, invokeId) : 0;
}

}  // namespace k3
