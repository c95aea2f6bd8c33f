// Value-notation printing: a wrapper around an output stream that tracks the
// line start and the indent, and optionally wraps values in markup tags.
#ifndef K3_ASN_ASN_PRINT_H
#define K3_ASN_ASN_PRINT_H

#include <cstdint>
#include <ostream>
#include <string>

#include "asn/asn_type.h"

namespace CSTA3V6 {

class AsnPrintStream {
 public:
  explicit AsnPrintStream(std::ostream &os, bool tagged = false, uint16_t indentStep = 2);

  bool atLineStart = true;  // set by Indent, cleared by every write
  bool tagged;              // wrap values in markup tags
  uint16_t indent = 0;      // current number of spaces
  uint16_t indentStep;      // what one nesting level adds

  AsnPrintStream &operator<<(const char *s);
  AsnPrintStream &operator<<(const std::string &s);
  AsnPrintStream &operator<<(char c);
  AsnPrintStream &operator<<(int v);
  AsnPrintStream &operator<<(unsigned v);
  AsnPrintStream &operator<<(long v);
  AsnPrintStream &operator<<(unsigned long v);
  AsnPrintStream &operator<<(long long v);
  AsnPrintStream &operator<<(unsigned long long v);
  // v.Print(*this), then clears atLineStart.
  AsnPrintStream &operator<<(const AsnType &v);

  void Newline();  // "\n" and flush
  void Indent();   // indent spaces; sets atLineStart
  void IndentMore() { indent = uint16_t(indent + indentStep); }
  void IndentLess() { indent = indent > indentStep ? uint16_t(indent - indentStep) : uint16_t(0); }

  std::ostream &os() { return *out_; }

 private:
  std::ostream *out_;
};

// The printed form of v on a fresh stream (for traces and tests).
std::string AsnPrintToString(const AsnType &v, bool tagged = false, uint16_t indentStep = 2);

}  // namespace CSTA3V6

#endif
