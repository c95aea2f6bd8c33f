// Round-trip check of one generated class: fill, encode, decode, compare.
#ifndef K3_TESTS_CSTA3_FILL_SUPPORT_H
#define K3_TESTS_CSTA3_FILL_SUPPORT_H

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "asn/asn.h"

namespace CSTA3V6 {

constexpr int kMaxDepth = 12;

inline void Fill(AsnInt &x, int v, int) { x.value = (v % 2) ? -129 - v : 300 + v; }
inline void Fill(AsnOcts &x, int v, int) {
  static const char text[] = "Kestrel\x01\x7f octets";
  x.Set(text, size_t(v % 5) * 4);
}
// An octet or character string with a SIZE constraint: a length within it.
inline void FillSized(AsnOcts &x, int v, size_t lo, size_t hi) {
  static const char text[] = "Kestrel sized octets 0123456789 abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  size_t n = lo + size_t(unsigned(v)) % (hi - lo + 1);
  x.Set(text, n < sizeof text - 1 ? n : sizeof text - 1);
}
inline void Fill(AsnBits &x, int v, int) {
  x = AsnBits(size_t(3 + v % 11));
  x.SetBit(0);
  x.SetBit(size_t(2 + v % 9));
}
inline void Fill(AsnOid &x, int v, int) { x = (v % 2) ? AsnOid(1, 3, 12, 0, 218) : AsnOid(1, 3, 12, 2, 1107, 15); }
inline void Fill(AsnNull &, int, int) {}
inline void Fill(AsnBool &x, int v, int) { x.value = (v % 2) ? 1 : 0; }
inline void Fill(AsnType &, int, int) {}

// Lists get 0, 1 or 3 elements by variant.
template <class T>
void Fill(AsnList<T> &l, int v, int depth) {
  int n = depth >= kMaxDepth ? 0 : (v % 3 == 0 ? 0 : v % 3 == 1 ? 1 : 3);
  for (int i = 0; i < n; ++i) Fill(*l.Append(), v + i, depth + 1);
}

// Rewrites a definite BER encoding: constructed values take the indefinite
// length, universal string values become constructed strings of two fragments.
std::vector<unsigned char> ToIndefinite(const std::vector<unsigned char> &in);

struct CaseResult {
  bool ok = true;
  std::string why;
};

template <class T>
CaseResult RunCase(int variant) {
  CaseResult r;
  T a;
  Fill(a, variant, 0);
  std::vector<unsigned char> enc = EncodeToVector(a);
  std::ostringstream err;
  T b;
  int rc = DecodeFrom(enc.data(), enc.size(), b, err);
  if (rc != 0) return {false, "decode " + std::to_string(rc) + " " + err.str()};
  if (EncodeToVector(b) != enc) return {false, "re-encode differs"};
  if (AsnPrintToString(a) != AsnPrintToString(b) || AsnPrintToString(a, true) != AsnPrintToString(b, true))
    return {false, "print differs"};
  T c(b);
  T d;
  d = c;
  if (EncodeToVector(d) != enc) return {false, "copy differs"};
  std::vector<unsigned char> ind = ToIndefinite(enc);
  T e;
  rc = DecodeFrom(ind.data(), ind.size(), e, err);
  if (rc != 0) return {false, "indefinite decode " + std::to_string(rc) + " " + err.str()};
  if (EncodeToVector(e) != enc) return {false, "indefinite re-encode differs"};
  return r;
}

// Fills an object known only as AsnType whose class is T.
template <class T>
void FillAs(AsnType &x, int variant) {
  Fill(static_cast<T &>(x), variant, 0);
}

struct Case {
  const char *name;
  CaseResult (*run)(int variant);
  int variants;
  void (*fill)(AsnType &x, int variant);
};
extern const Case kCases[];
extern const size_t kCaseCount;

}  // namespace CSTA3V6

#endif
