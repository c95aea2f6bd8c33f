// CPSTREQ (device state request and report) application object: parser, writer, print.
#include "csta3/private/acl2.h"

#include <algorithm>

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;
using privoctets::PutOcts;
using privoctets::SetOcts;

namespace {

const CodeName kCpStateNames[] = {{0, " (Idle)"},          {1, " (Dialing)"},
                                  {2, " (DialingExternal)"}, {3, " (RingBack)"},
                                  {4, " (Ringing)"},       {5, " (TalkingInternal)"},
                                  {6, " (TalkingOutgoing)"}, {7, " (TalkingIncoming)"},
                                  {8, " (Busy)"},          {9, " (Held)"},
                                  {10, " (LineLockout)"},  {11, " (Overriding)"}};

}  // namespace

// Octets: device length d, d octets of device; a report adds the feature
// octet (CpstreqFeature bits) and the state octet.

CPSTREQ::CPSTREQ() = default;
CPSTREQ::~CPSTREQ() = default;

void CPSTREQ::DecodeOctets(const unsigned char *p, size_t n) {
  if (n == 0) return;
  size_t d = p[0];
  if (1 + d > n) return;
  SetOcts(device, p + 1, d, true);
  if (n - 1 - d >= 2) {
    hasState = true;
    actFeat = p[1 + d];
    cpState = p[2 + d];
  }
}

void CPSTREQ::EncodeOctets(OctetVec &out) const {
  size_t d = std::min<size_t>(device.octetLen, 255);
  out.push_back(static_cast<unsigned char>(d));
  PutOcts(out, device, d);
  if (hasState) out.insert(out.end(), {static_cast<unsigned char>(actFeat), static_cast<unsigned char>(cpState)});
}

void CPSTREQ::Print(AsnPrintStream &os) const {
  static const CodeName kFeatures[] = {{CPSTREQ_CALL_FORWARDING, "Call Forwarding Active"},
                                       {CPSTREQ_DO_NOT_DISTURB, "Do Not Disturb Active"},
                                       {CPSTREQ_STOP_HUNT, "Stop Hunt Active"},
                                       {CPSTREQ_UNAVAILABLE, "Unavailable Active"}};
  bool first = true;
  privprint::Open(os, "-- CPSTREQ --");
  privprint::Field(os, first, "Device");
  os << device;
  if (hasState) {
    privprint::Field(os, first, "ActFeat = ");
    os << "{ ";
    bool firstBit = true;
    for (const CodeName &f : kFeatures) {
      if (!(actFeat & f.code)) continue;
      if (!firstBit) os << ", ";
      firstBit = false;
      os << f.name;
    }
    os << " }";
    privprint::Field(os, first, "CPState = ");
    os << cpState;
    const char *name = privprint::Lookup(kCpStateNames, cpState);
    os << (name ? name : " (Unknown)");
  }
  privprint::Close(os);
}

}  // namespace CSTA3V6
