// The PBX's ACL form of private data: the ACL2 header and the application
// object it carries. Each application object is a class of its own (amhost.h,
// mr.h, maint.h, cpstreq.h, systrace.h); K3_ACL_OBJECTS below ties each one to
// its application code.
#ifndef K3_CSTA3_PRIVATE_ACL2_H
#define K3_CSTA3_PRIVATE_ACL2_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/amhost.h"
#include "csta3/private/cpstreq.h"
#include "csta3/private/maint.h"
#include "csta3/private/mr.h"
#include "csta3/private/octet_vec.h"
#include "csta3/private/systrace.h"

namespace CSTA3V6 {

enum AclApplication : uint32_t {
  ACL_APP_TDS = 1,
  ACL_APP_AMHOST = 2,
  ACL_APP_MR = 3,
  ACL_APP_MAINT = 6,
  ACL_APP_CPSTREQ = 7,
  ACL_APP_ACL = 240,
};

enum AclAction : uint32_t {
  ACL_ACT_TRACER_START = 162,
  ACL_ACT_TRACER_STOP = 163,
  ACL_ACT_QUEUE_STATUS = 164,
  ACL_ACT_RESET_QUEUE = 165,
  ACL_ACT_START = 192,
  ACL_ACT_STOP = 193,
  ACL_ACT_STARTACK = 194,
  ACL_ACT_STARTNACK = 195,
  ACL_ACT_AINFO = 196,
};

// Which octets an application object parses: the body after the four-octet
// header, or the whole ACL string (header included).
enum class AclOctets { Body, Whole };

// The application objects an ACL2 can carry, one row each:
//   X(application code, print name of the code, class, member, setter, octets)
// ACL2's members and setters, its decode, encode, print, copy and clear all come
// from these rows: a new application object is its own class and one row here.
// (ACL_APP_TDS has a print name but no object; acl2.cpp names it.)
#define K3_ACL_OBJECTS(X)                                                 \
  X(ACL_APP_AMHOST, " (AMHOST)", AMHOST, amhost, SetAmhost, Body)         \
  X(ACL_APP_MR, " (MR)", MR, mr, SetMr, Body)                             \
  X(ACL_APP_MAINT, " (MAINT)", MAINT, maint, SetMaint, Body)              \
  X(ACL_APP_CPSTREQ, " (CPSTREQ)", CPSTREQ, cpstreq, SetCpstreq, Body)    \
  X(ACL_APP_ACL, " (Acl)", SysTRACE, sysTrace, SetSysTrace, Whole)

class ACL2 : public AsnType {
 public:
  uint32_t application = 255;  // the "selector"
  uint32_t action = 196;       // the "operation code"
  // One owned object per row; only the one of the current application is
  // decoded, written and printed.
#define K3_X(code, name, T, member, setter, octets) T *member = nullptr;
  K3_ACL_OBJECTS(K3_X)
#undef K3_X

  ACL2();
  ACL2(uint32_t app, uint32_t act);
  ACL2(const ACL2 &o);
  ACL2 &operator=(const ACL2 &o);
  ~ACL2() override;

  uint32_t Selector() const { return application; }
  uint32_t OperationCode() const { return action; }

  // Builders: replace the object of that kind (taking ownership) and return it.
#define K3_X(code, name, T, member, setter, octets) T *setter(T *obj);
  K3_ACL_OBJECTS(K3_X)
#undef K3_X
  void ClearObjects();

  // Parses a whole ACL-form octet string (first octet 0x1A, at least four).
  // Returns false (and leaves the object untouched) when it is not one.
  bool DecodeOctets(const unsigned char *p, size_t n);
  // Writes the four-octet header and the object selected by the application.
  void EncodeOctets(OctetVec &out) const;

  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
