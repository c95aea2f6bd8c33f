// ACL form of the PBX's private data: the ACL2 header and the table that
// dispatches to the application object of each application code.
#include "csta3/private/acl2.h"

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;

namespace {

const CodeName kActionNames[] = {{162, " TRACER_START "}, {163, " TRACER_STOP "}, {164, " QUEUE_STATUS "},
                                 {165, " RESET_QUEUE "},  {192, "START"},         {193, "STOP"},
                                 {194, "STARTACK"},       {195, "STARTNACK"},     {196, "AINFO"}};

template <class T>
void CopyOwned(T *&dst, const T *src) {
  if (src) {
    if (!dst) dst = new T;
    *dst = *src;
  } else {
    delete dst;
    dst = nullptr;
  }
}

template <class T>
T *ReplaceOwned(T *&dst, T *src) {
  if (dst != src) delete dst;
  dst = src;
  return src;
}

// How ACL2 reaches the object of one row of K3_ACL_OBJECTS.
template <class T, T *ACL2::*kMember, AclOctets kOctets>
struct ObjectOps {
  static void Decode(ACL2 &acl, const unsigned char *p, size_t n) {
    T *obj = ReplaceOwned(acl.*kMember, new T);
    if (kOctets == AclOctets::Whole)
      obj->DecodeOctets(p, n);
    else
      obj->DecodeOctets(p + 4, n - 4);
  }
  static void Encode(const ACL2 &acl, OctetVec &out) {
    if (const T *obj = acl.*kMember) obj->EncodeOctets(out);
  }
  static const AsnType *Object(const ACL2 &acl) { return acl.*kMember; }
};

struct Application {
  uint32_t code;
  const char *name;  // appended to the code when printed
  // Null for a code that carries no object of its own.
  void (*decode)(ACL2 &acl, const unsigned char *p, size_t n);  // p, n: the whole ACL string
  void (*encode)(const ACL2 &acl, OctetVec &out);               // after the header
  const AsnType *(*object)(const ACL2 &acl);
};

template <class T, T *ACL2::*kMember, AclOctets kOctets>
constexpr Application Row(uint32_t code, const char *name) {
  using Ops = ObjectOps<T, kMember, kOctets>;
  return {code, name, &Ops::Decode, &Ops::Encode, &Ops::Object};
}

const Application kApplications[] = {
    {ACL_APP_TDS, " (TDS)", nullptr, nullptr, nullptr},
#define K3_X(code, name, T, member, setter, octets) Row<T, &ACL2::member, AclOctets::octets>(code, name),
    K3_ACL_OBJECTS(K3_X)
#undef K3_X
};

// The row of an application code, or nullptr when it has none.
const Application *FindApplication(uint32_t code) {
  for (const Application &a : kApplications)
    if (a.code == code) return &a;
  return nullptr;
}

}  // namespace

ACL2::ACL2() = default;
ACL2::ACL2(uint32_t app, uint32_t act) : application(app), action(act) {}
ACL2::ACL2(const ACL2 &o) : AsnType() { *this = o; }

ACL2 &ACL2::operator=(const ACL2 &o) {
  if (this == &o) return *this;
  application = o.application;
  action = o.action;
#define K3_X(code, name, T, member, setter, octets) CopyOwned(member, o.member);
  K3_ACL_OBJECTS(K3_X)
#undef K3_X
  return *this;
}

ACL2::~ACL2() { ClearObjects(); }

#define K3_X(code, name, T, member, setter, octets) \
  T *ACL2::setter(T *obj) { return ReplaceOwned(member, obj); }
K3_ACL_OBJECTS(K3_X)
#undef K3_X

void ACL2::ClearObjects() {
#define K3_X(code, name, T, member, setter, octets) setter(nullptr);
  K3_ACL_OBJECTS(K3_X)
#undef K3_X
}

bool ACL2::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 4 || p[0] != 0x1A) return false;
  ClearObjects();
  application = p[2];
  action = p[3];
  const Application *app = FindApplication(application);
  if (app && app->decode) app->decode(*this, p, n);
  return true;
}

void ACL2::EncodeOctets(OctetVec &out) const {
  out.insert(out.end(), {0x1A, 0x04, static_cast<unsigned char>(application), static_cast<unsigned char>(action)});
  const Application *app = FindApplication(application);
  if (app && app->encode) app->encode(*this, out);
}

void ACL2::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- ACL --");
  privprint::Field(os, first, "Action = ");
  if (const char *name = privprint::Lookup(kActionNames, action))
    os << name;
  else
    os << action;
  privprint::Field(os, first, "Application = ");
  const Application *app = FindApplication(application);
  os << application;
  if (app) os << app->name;
  const AsnType *obj = app && app->object ? app->object(*this) : nullptr;
  if (obj) os << *obj;
  privprint::Close(os);
}

}  // namespace CSTA3V6
