#include "asn/asn_print.h"

#include <sstream>

namespace CSTA3V6 {

void AsnType::Print(AsnPrintStream &os) const {
  if (!os.atLineStart) {
    os.Newline();
    os.Indent();
  }
  os << "Unknown operation-value";
}

AsnPrintStream::AsnPrintStream(std::ostream &os, bool tagged_, uint16_t indentStep_)
    : tagged(tagged_), indentStep(indentStep_), out_(&os) {}

AsnPrintStream &AsnPrintStream::operator<<(const char *s) {
  *out_ << s;
  atLineStart = false;
  return *this;
}

AsnPrintStream &AsnPrintStream::operator<<(const std::string &s) {
  *out_ << s;
  atLineStart = false;
  return *this;
}

AsnPrintStream &AsnPrintStream::operator<<(char c) {
  *out_ << c;
  atLineStart = false;
  return *this;
}

#define K3_PRINT_NUMBER(T)                            \
  AsnPrintStream &AsnPrintStream::operator<<(T v) {   \
    *out_ << v;                                       \
    atLineStart = false;                              \
    return *this;                                     \
  }
K3_PRINT_NUMBER(int)
K3_PRINT_NUMBER(unsigned)
K3_PRINT_NUMBER(long)
K3_PRINT_NUMBER(unsigned long)
K3_PRINT_NUMBER(long long)
K3_PRINT_NUMBER(unsigned long long)
#undef K3_PRINT_NUMBER

AsnPrintStream &AsnPrintStream::operator<<(const AsnType &v) {
  v.Print(*this);
  atLineStart = false;
  return *this;
}

void AsnPrintStream::Newline() {
  *out_ << '\n';
  out_->flush();
}

void AsnPrintStream::Indent() {
  for (uint16_t i = 0; i < indent; ++i) *out_ << ' ';
  atLineStart = true;
}

std::string AsnPrintToString(const AsnType &v, bool tagged, uint16_t indentStep) {
  std::ostringstream s;
  AsnPrintStream ps(s, tagged, indentStep);
  ps << v;
  return s.str();
}

}  // namespace CSTA3V6
