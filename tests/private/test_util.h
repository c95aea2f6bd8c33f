#ifndef K3_TESTS_PRIVATE_TEST_UTIL_H
#define K3_TESTS_PRIVATE_TEST_UTIL_H

#include <initializer_list>
#include <string>
#include <vector>

#include "csta3/private/private_data.h"

namespace k3test {

using Bytes = std::vector<unsigned char>;

inline Bytes B(std::initializer_list<int> v) {
  Bytes out;
  for (int x : v) out.push_back(static_cast<unsigned char>(x));
  return out;
}

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

inline Bytes OctsBytes(const CSTA3V6::AsnOcts &o) {
  return Bytes(reinterpret_cast<const unsigned char *>(o.octs),
               reinterpret_cast<const unsigned char *>(o.octs) + o.octetLen);
}

template <class T>
std::string PrintOf(const T &v, bool tagged = false) {
  return CSTA3V6::AsnPrintToString(v, tagged);
}

template <class T>
Bytes OctetsOf(const T &v) {
  CSTA3V6::OctetVec out;
  v.EncodeOctets(out);
  return out;
}

}  // namespace k3test

#endif
