// MR (message recording) application object: parser, writer, print.
#include "csta3/private/acl2.h"

#include <algorithm>

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;
using privoctets::PutOcts;
using privoctets::SetOcts;

namespace {

const CodeName kMrMsgNames[] = {{1, " (Register)"},
                                {2, " (Register Acknowledge)"},
                                {3, " (Register Reject)"},
                                {4, " (Cancel)"},
                                {5, " (Cancel Acknowledge)"},
                                {6, " (Data)"},
                                {7, " (Data Acknowledge)"},
                                {8, " (Data Negative Acknowledge)"}};
const CodeName kMrElementNames[] = {{MR_CALLING_PARTY_NUMBER, "Calling Party Number"},
                                    {MR_ACCOUNT_CODE, "Account Code"},
                                    {MR_SOURCE_EXTENSION, "Source Extension"},
                                    {MR_SOURCE_TRUNK, "Source Trunk"},
                                    {MR_DESTINATION_EXTENSION, "Destination Extension"},
                                    {MR_DESTINATION_TRUNK, "Destination Trunk"},
                                    {MR_CALL_START_DATE, "Call Start Date"},
                                    {MR_CALL_START_TIME, "Call Start Time"},
                                    {MR_HOURS, "Hours"},
                                    {MR_MINUTES, "Minutes"},
                                    {MR_SECONDS, "Seconds"},
                                    {MR_LISTED_DIRECTORY_NUMBER, "Listed Directory Number"},
                                    {MR_CHARGE_UNITS, "Charge Units"},
                                    {MR_CALL_FORWARDING_TO_CO, "Call Forwarding To Central Office"},
                                    {MR_COMMUNICATION_SERVICE, "Communication Service"},
                                    {MR_CAUSE, "Cause"},
                                    {MR_RECORD_TYPE, "Record Type"}};
const CodeName kMrCauseNames[] = {
    {1, " (Wrong Version)"}, {2, " (MR Type Not Configured)"}, {3, " (Database Can Not Be Activated)"}};

}  // namespace

// Octets: message type, then elements of identifier, data length n, n octets.

MR_Element::MR_Element() = default;
MR_Element::~MR_Element() = default;

size_t MR_Element::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 2) return 0;
  size_t len = p[1];
  if (2 + len > n) return 0;
  id = p[0];
  SetOcts(value, p + 2, len, true);
  return 2 + len;
}

void MR_Element::EncodeOctets(OctetVec &out) const {
  size_t len = std::min<size_t>(value.octetLen, 255);
  out.insert(out.end(), {static_cast<unsigned char>(id), static_cast<unsigned char>(len)});
  PutOcts(out, value, len);
}

void MR_Element::Print(AsnPrintStream &os) const {
  if (const char *name = privprint::Lookup(kMrElementNames, id))
    os << name;
  else
    os << id;
  if (id == MR_CAUSE && value.octetLen == 1) {
    os << " = ";
    privprint::NumberAndName(os, kMrCauseNames, static_cast<unsigned char>(value.octs[0]));
  } else {
    os << value;
  }
}

MR::MR() = default;
MR::~MR() = default;

const MR_Element *MR::Find(uint32_t elemId) const { return privoctets::FindById(elements, elemId); }

MR_Element *MR::Add(uint32_t elemId, const void *p, size_t n) {
  MR_Element *e = elements.Append();
  e->id = elemId;
  e->value.Set(static_cast<const char *>(p), n, true);
  return e;
}

void MR::DecodeOctets(const unsigned char *p, size_t n) {
  if (n == 0) return;
  messageType = p[0];
  privoctets::DecodeElements(elements, p, n, 1);
}

void MR::EncodeOctets(OctetVec &out) const {
  out.push_back(static_cast<unsigned char>(messageType));
  for (auto *node = elements.first; node; node = node->next) node->elmt.EncodeOctets(out);
}

void MR::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- MR --");
  privprint::Field(os, first, "MessageType = ");
  privprint::NumberAndName(os, kMrMsgNames, messageType);
  privprint::Field(os, first, "Elements");
  os << elements;
  privprint::Close(os);
}

}  // namespace CSTA3V6
