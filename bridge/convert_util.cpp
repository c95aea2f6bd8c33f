#include "bridge/convert_util.h"

#include <cstring>

#include "link/inbound.h"

namespace k3 {

using namespace CSTA3V6;

void OutBytes::Field(size_t at, size_t width, const char *s, size_t n) const {
  if (at >= size) return;
  size_t room = width < size - at ? width : size - at;
  size_t m = n < room ? n : room;
  if (m) std::memcpy(p + at, s, m);
  if (m < room) p[at + m] = 0;
}

std::string CText(const AsnOcts &o) {
  if (!o.Octs() || o.Len() == 0) return std::string();
  return std::string(o.Octs(), strnlen(o.Octs(), o.Len()));
}

namespace {

const AsnOcts *PublicText(const PublicTON *t) {
  if (!t || !t->alternative) return nullptr;
  return static_cast<const AsnOcts *>(t->alternative);  // every alternative is an octet string
}

const AsnOcts *PrivateText(const PrivateTON *t) {
  if (!t || !t->alternative) return nullptr;
  return static_cast<const AsnOcts *>(t->alternative);
}

}  // namespace

std::string DeviceText(const DeviceID *id) {
  if (!id || !id->deviceIdentifier || !id->deviceIdentifier->alternative) return std::string();
  const DeviceIDChoice &c = *id->deviceIdentifier;
  const AsnOcts *text = nullptr;
  switch (c.choiceId) {
    case DeviceIDChoice::dialingNumberCid: text = c.dialingNumber; break;
    case DeviceIDChoice::deviceNumberCid: return std::to_string(c.deviceNumber->value);
    case DeviceIDChoice::implicitPublicCid: text = c.implicitPublic; break;
    case DeviceIDChoice::explicitPublicCid: text = PublicText(c.explicitPublic); break;
    case DeviceIDChoice::implicitPrivateCid: text = c.implicitPrivate; break;
    case DeviceIDChoice::explicitPrivateCid: text = PrivateText(c.explicitPrivate); break;
    case DeviceIDChoice::otherCid: text = c.other; break;
    default: break;
  }
  return text ? CText(*text) : std::string();
}

const OfficePrivateDataElement *OfficeElement(const CSTACommonArguments *extensions, uint32_t choiceId) {
  const PrivateDataChoiceSeq *item = PbxItemOf(extensions);
  if (!item) return nullptr;
  const OfficePrivateData *office = item->Office();
  if (!office) return nullptr;
  const OfficePrivateDataElement *e = office->Find(choiceId);
  return e && e->Present() ? e : nullptr;
}

namespace {

void WriteItem(CSTAPrivateData *data) {
  if (data && data->choiceId == CSTAPrivateData::privateCid && data->private_ &&
      data->private_->choiceId == PrivateDataChoice::comPrivateDataCid && data->private_->comPrivateData)
    data->private_->comPrivateData->SyncOctets();
}

void WriteItems(CSTACommonArguments *extensions) {
  if (!extensions || !extensions->privateData) return;
  for (auto *node = extensions->privateData->first; node; node = node->next) WriteItem(&node->elmt);
}

}  // namespace

void WritePrivateOctets(CSTAMsg &msg) {
  if (msg.choiceId != CSTAMsg::rOSECid || !msg.rOSE || !msg.rOSE->alternative) return;
  ROSEapdus &r = *msg.rOSE;
  if (r.choiceId == ROSEapdus::roiv_apduCid) {
    AsnType *arg = r.roiv_apdu->argument;
    if (auto *escape = dynamic_cast<EscapeArgument *>(arg)) WriteItem(escape->privateData);
    if (auto *send = dynamic_cast<SendDataArgument *>(arg)) WriteItems(send->extensions);
  } else if (r.choiceId == ROSEapdus::rors_apduCid && r.rors_apdu->result) {
    auto *escape = dynamic_cast<EscapeResult *>(r.rors_apdu->result->result);
    if (escape && escape->choiceId == EscapeResult::extensionsCid) WriteItems(escape->extensions);
  }
}

}  // namespace k3
