// The CPSTREQ application object of the ACL form: a device state request
// (the device) and its report (device, active features, call-processing state).
//
// These objects live in the compact octet format of the PBX, not in BER: the
// parser takes a pointer and a count, never reads outside them and never
// throws; the writer appends to a byte vector in natural order.
#ifndef K3_CSTA3_PRIVATE_CPSTREQ_H
#define K3_CSTA3_PRIVATE_CPSTREQ_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/octet_vec.h"

namespace CSTA3V6 {

// Bits of CPSTREQ::actFeat.
enum CpstreqFeature : uint32_t {
  CPSTREQ_CALL_FORWARDING = 0x01,
  CPSTREQ_DO_NOT_DISTURB = 0x02,
  CPSTREQ_STOP_HUNT = 0x04,
  CPSTREQ_UNAVAILABLE = 0x08,
};

class CPSTREQ : public AsnType {
 public:
  AsnOcts device;
  bool hasState = false;   // a report carries the two values below, a request not
  uint32_t actFeat = 0;    // CpstreqFeature bits
  uint32_t cpState = 0;    // 0 Idle .. 11 Overriding; anything else Unknown

  CPSTREQ();
  CPSTREQ(const CPSTREQ &) = default;
  CPSTREQ &operator=(const CPSTREQ &) = default;
  ~CPSTREQ() override;

  void DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
