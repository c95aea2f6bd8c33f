#ifndef K3_TESTS_ASN_TEST_UTIL_H
#define K3_TESTS_ASN_TEST_UTIL_H

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "asn/asn.h"

namespace k3test {

using Bytes = std::vector<unsigned char>;

template <class T>
Bytes Enc(const T &v) {
  return CSTA3V6::EncodeToVector(v);
}

// Decodes v from in; returns 0 or the error code. *used gets the decoder's count
// of octets.
template <class T>
int Dec(const Bytes &in, T &v, CSTA3V6::AsnLen *used = nullptr) {
  std::ostringstream es;
  return CSTA3V6::DecodeFrom(in.data(), in.size(), v, es, used);
}

// Captures what is written to std::cerr while alive.
class CerrCapture {
 public:
  CerrCapture() : old_(std::cerr.rdbuf(buf_.rdbuf())) {}
  ~CerrCapture() { std::cerr.rdbuf(old_); }
  std::string Text() const { return buf_.str(); }

 private:
  std::ostringstream buf_;
  std::streambuf *old_;
};

}  // namespace k3test

#endif
