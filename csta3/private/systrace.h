// The SysTRACE application object of the ACL form: tracer and queue control.
// Unlike the other objects it parses the whole ACL string, header included.
//
// These objects live in the compact octet format of the PBX, not in BER: the
// parser takes a pointer and a count, never reads outside them and never
// throws; the writer appends to a byte vector in natural order.
#ifndef K3_CSTA3_PRIVATE_SYSTRACE_H
#define K3_CSTA3_PRIVATE_SYSTRACE_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/octet_vec.h"

namespace CSTA3V6 {

class SysTRACE : public AsnType {
 public:
  uint32_t application = 240;
  uint32_t action = 162;   // 162/163 tracer start/stop, 164/165 queue status get/reset
  AsnOcts data;            // octets after the four header octets

  SysTRACE();
  SysTRACE(const SysTRACE &) = default;
  SysTRACE &operator=(const SysTRACE &) = default;
  ~SysTRACE() override;

  // Takes the whole ACL octet string, header included.
  void DecodeOctets(const unsigned char *p, size_t n);
  // Writes only what follows the header (the ACL2 writes the header).
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
