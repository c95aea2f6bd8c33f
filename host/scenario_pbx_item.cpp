// k3-scenario, portable half: the private data the simulated PBX puts into its
// escape messages, built from a step's content arguments.
#include <sstream>
#include <vector>

#include "host/scenario_detail.h"
#include "link/request.h"

namespace k3s {
namespace detail {

using namespace CSTA3V6;

namespace {

std::string TextOf(const Value &v) { return v.text; }  // numbers keep their written text

bool Refuse(std::string &err, const std::string &text) {
  err = text;
  return false;
}

// "VALUE/VALIDITY" bits of a bit-field element.
bool AddBitfields(AMHOST &a, uint32_t id, const std::string &key, const std::string &text, std::string &err) {
  size_t slash = text.find('/');
  int64_t v, m;
  if (slash == std::string::npos || !ParseNumber(text.substr(0, slash), v) || !ParseNumber(text.substr(slash + 1), m))
    return Refuse(err, "element " + key + " takes VALUEBITS/VALIDITYBITS");
  a.AddBitfields(id, uint16_t(v), uint16_t(m));
  return true;
}

// "A,B,DATA" of a lamp element.
bool AddLed(AMHOST &a, uint32_t id, const std::string &key, const std::string &text, std::string &err) {
  size_t c1 = text.find(','), c2 = c1 == std::string::npos ? c1 : text.find(',', c1 + 1);
  int64_t v1, v2;
  if (c2 == std::string::npos || !ParseNumber(text.substr(0, c1), v1) ||
      !ParseNumber(text.substr(c1 + 1, c2 - c1 - 1), v2))
    return Refuse(err, "element " + key + " takes A,B,DATA");
  std::string data = text.substr(c2 + 1);
  a.AddLed(id, uint8_t(v1), uint8_t(v2), data.data(), data.size());
  return true;
}

// One element "ID=value" in the form its id's kind takes.
bool AddElement(AMHOST &a, const Arg &e, std::string &err) {
  uint32_t id = uint32_t(std::stoi(e.key));
  const std::string text = TextOf(e.value);
  int64_t v3[3];
  switch (AmhostElementKind(id)) {
    case AMHOST_KIND_BYTE:
    case AMHOST_KIND_WORD:
      if (e.value.kind != Value::Number) return Refuse(err, "element " + e.key + " takes a number");
      a.AddInt(id, int32_t(e.value.number));
      return true;
    case AMHOST_KIND_TEXT: a.AddString(id, text.c_str()); return true;
    case AMHOST_KIND_DATA: a.AddOcts(id, text.data(), text.size()); return true;
    case AMHOST_KIND_TRIPLE:
      if (!TripleOf(text, ',', v3)) return Refuse(err, "element " + e.key + " takes A,B,C");
      a.AddTriple(id, uint8_t(v3[0]), uint8_t(v3[1]), uint8_t(v3[2]));
      return true;
    case AMHOST_KIND_BITFIELDS: return AddBitfields(a, id, e.key, text, err);
    case AMHOST_KIND_LED: return AddLed(a, id, e.key, text, err);
    default: return Refuse(err, "element " + e.key + " has no form the PBX writes");
  }
}

bool FillAmhost(const Step &s, const Arg &am, uint32_t action, PrivateDataChoiceSeq &item, std::string &err) {
  int64_t t[3];
  if (!TripleOf(TextOf(am.value), '/', t)) return Refuse(err, "amhost= takes TYPE/SUBTYPE/THIRD");
  ACL2 *acl = item.NewAcl(ACL_APP_AMHOST, action);
  AMHOST *a = acl->SetAmhost(new AMHOST(uint32_t(t[0]), uint32_t(t[1]), uint32_t(t[2])));
  for (const Arg &e : s.args)
    if (IsElementKey(e.key) && !AddElement(*a, e, err)) return false;
  return true;
}

bool FillMaint(const Step &s, const Arg &mt, uint32_t action, PrivateDataChoiceSeq &item, std::string &err) {
  if (mt.value.kind != Value::Number) return Refuse(err, "maint= takes the message type");
  ACL2 *acl = item.NewAcl(ACL_APP_MAINT, action);
  uint32_t ref = s.Has("ref") ? uint32_t(s.Find("ref")->value.number) : 0;
  MAINT *m = acl->SetMaint(new MAINT(uint32_t(mt.value.number), ref));
  int64_t v[3];
  if (const Arg *d = s.Find("date")) {
    if (!TripleOf(TextOf(d->value), '.', v)) return Refuse(err, "date= takes D.M.Y");
    m->hasDate = true;
    for (int i = 0; i < 3; ++i) m->date[i] = uint8_t(v[i]);
  }
  if (const Arg *t = s.Find("time")) {
    if (!TripleOf(TextOf(t->value), ':', v)) return Refuse(err, "time= takes H:M:S");
    m->hasTime = true;
    for (int i = 0; i < 3; ++i) m->time[i] = uint8_t(v[i]);
  }
  if (const Arg *r = s.Find("rep")) m->SetRepetitionTime(int32_t(r->value.number));
  if (const Arg *d = s.Find("data")) m->SetLoopData(d->value.text.data(), d->value.text.size());
  return true;
}

bool FillAcl(const Arg &acl, PrivateDataChoiceSeq &item, std::string &err) {
  size_t slash = acl.value.text.find('/');
  int64_t app, act;
  if (slash == std::string::npos || !ParseNumber(acl.value.text.substr(0, slash), app) ||
      !ParseNumber(acl.value.text.substr(slash + 1), act))
    return Refuse(err, "acl= takes APPLICATION/ACTION");
  item.NewAcl(uint32_t(app), uint32_t(act));
  return true;
}

// oid= replaces the item's manufacturer identifier.
bool SetOid(const Arg &oid, PrivateDataChoiceSeq &item, std::string &err) {
  std::vector<uint32_t> arcs;
  std::stringstream ss(oid.value.text);
  std::string part;
  int64_t n;
  while (std::getline(ss, part, '.')) {
    if (!ParseNumber(part, n) || n < 0) return Refuse(err, "oid= takes dotted numbers");
    arcs.push_back(uint32_t(n));
  }
  if (arcs.size() < 2 || arcs.size() > 11) return Refuse(err, "oid= takes 2 to 11 arcs");
  arcs.resize(11, NO_ARC);
  item.manufacturer.SetArcs(arcs[0], arcs[1], arcs[2], arcs[3], arcs[4], arcs[5], arcs[6], arcs[7], arcs[8], arcs[9],
                            arcs[10]);
  return true;
}

}  // namespace

bool FillItem(const Step &s, PrivateDataChoiceSeq &item, std::string &err) {
  uint32_t action = s.Has("action") ? uint32_t(s.Find("action")->value.number) : 196;
  bool ok = true;
  if (const Arg *raw = s.Find("raw")) {
    if (raw->value.kind != Value::Octets) return Refuse(err, "raw= takes hex:..");
    // Kept as raw octets so that they travel exactly as written.
    item.SetRaw(raw->value.text.data(), raw->value.text.size());
  } else if (const Arg *am = s.Find("amhost")) {
    ok = FillAmhost(s, *am, action, item, err);
  } else if (const Arg *mt = s.Find("maint")) {
    ok = FillMaint(s, *mt, action, item, err);
  } else if (const Arg *acl = s.Find("acl")) {
    ok = FillAcl(*acl, item, err);
  }
  if (!ok) return false;
  if (const Arg *oid = s.Find("oid"))
    if (!SetOid(*oid, item, err)) return false;
  if (!s.Has("raw")) item.SyncOctets();
  return true;
}

CSTACommonArguments *PrivateOctets(const std::string &octets) {
  auto *ext = new CSTACommonArguments;
  ext->privateData = new AsnList<CSTAPrivateData>;
  PrivateDataChoiceSeq *item = k3::NewPbxPrivateItem(*ext->privateData->Append());
  item->SetRaw(octets.data(), octets.size());  // travels as written; the receiver parses it
  return ext;
}

}  // namespace detail
}  // namespace k3s
