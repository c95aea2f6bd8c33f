// The MAINT application object of the ACL form: maintenance messages (loop
// back, heartbeat) with an optional date, time and repetition time.
//
// These objects live in the compact octet format of the PBX, not in BER: the
// parser takes a pointer and a count, never reads outside them and never
// throws; the writer appends to a byte vector in natural order.
#ifndef K3_CSTA3_PRIVATE_MAINT_H
#define K3_CSTA3_PRIVATE_MAINT_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/octet_vec.h"

namespace CSTA3V6 {

enum MaintMessageType : uint32_t {
  MAINT_LOOPBACK = 1,
  MAINT_HEARTBEAT = 2,
  MAINT_SWITCH_HEARTBEAT_ON = 3,
  MAINT_SWITCH_HEARTBEAT_OFF = 4,
};

class MAINT : public AsnType {
 public:
  uint32_t messageType = MAINT_HEARTBEAT;  // the "alternative" for the callers
  uint32_t crossRef = 0;                   // the "first integer"
  bool hasDate = false;
  unsigned char date[3] = {0, 0, 0};       // day, month, year
  bool hasTime = false;
  unsigned char time[3] = {0, 0, 0};       // hour, minute, second
  AsnInt *repetitionTime = nullptr;        // the optional "second integer"
  AsnOcts *loopData = nullptr;             // the optional octets

  MAINT();
  // Builder: message type, cross reference, optional second integer, optional octets.
  MAINT(uint32_t msgType, uint32_t crossReference, const int32_t *secondInt = nullptr,
        const void *octets = nullptr, size_t octetCount = 0);
  MAINT(const MAINT &o);
  MAINT &operator=(const MAINT &o);
  ~MAINT() override;

  uint32_t Alternative() const { return messageType; }
  uint32_t CrossRef() const { return crossRef; }
  void SetRepetitionTime(int32_t v);
  void SetLoopData(const void *p, size_t n);

  void DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
