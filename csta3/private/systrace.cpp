// SysTRACE (tracer and queue control) application object: parser, writer, print.
#include "csta3/private/acl2.h"

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privoctets::PutOcts;
using privoctets::SetOcts;

SysTRACE::SysTRACE() = default;
SysTRACE::~SysTRACE() = default;

void SysTRACE::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 4) return;
  application = p[2];
  action = p[3];
  SetOcts(data, p + 4, n - 4);
}

void SysTRACE::EncodeOctets(OctetVec &out) const { PutOcts(out, data, data.octetLen); }

void SysTRACE::Print(AsnPrintStream &os) const {
  const bool queue = action == ACL_ACT_QUEUE_STATUS || action == ACL_ACT_RESET_QUEUE;
  privprint::Open(os, queue ? " -- QUEUE -- " : " -- TRACER -- ");
  os.Newline();
  os.Indent();
  switch (action) {
    case ACL_ACT_TRACER_START: os << " Tracer Start"; break;
    case ACL_ACT_TRACER_STOP: os << " Tracer Stop "; break;
    case ACL_ACT_QUEUE_STATUS: os << "  Queue Status Get  "; break;
    case ACL_ACT_RESET_QUEUE: os << " Queue Status ReSet  "; break;
    default: os << action; break;
  }
  if (data.octetLen) {
    os << ",";
    os.Newline();
    os.Indent();
    os << "Data" << data;
  }
  privprint::Close(os);
}

}  // namespace CSTA3V6
