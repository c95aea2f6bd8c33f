// Shared by the fillers' users: the filler of the one hand-written class of the
// model (private data) and the rewrite of encodings to indefinite lengths.
#include <vector>

#include "csta3_model.h"
#include "tests/csta3/fill_support.h"

namespace CSTA3V6 {

void Fill(PrivateDataChoiceSeq &x, int v, int) {
  x.manufacturer = AsnOid(1, 3, 12, 2, 1107, 15);
  static const char raw[] = "\x05raw private octets";
  x.pnPrivateData.Set(raw, 4 + size_t(v % 3));
}

namespace {

// Reads one definite TLV at p; tag octets are copied as they are.
size_t ReadTlv(const std::vector<unsigned char> &in, size_t p, size_t &tagLen, size_t &len, size_t &lenLen) {
  size_t q = p + 1;
  if ((in[p] & 0x1F) == 0x1F)
    while (in[q++] & 0x80) {
    }
  tagLen = q - p;
  unsigned char l = in[q++];
  if (l < 0x80) {
    len = l;
  } else {
    len = 0;
    for (int i = 0; i < (l & 0x7F); ++i) len = (len << 8) | in[q++];
  }
  lenLen = q - p - tagLen;
  return q;
}

void Rewrite(const std::vector<unsigned char> &in, size_t p, size_t end, std::vector<unsigned char> &out) {
  while (p < end) {
    size_t tagLen, len, lenLen;
    size_t c = ReadTlv(in, p, tagLen, len, lenLen);
    unsigned char t = in[p];
    bool universalString = tagLen == 1 && (t == 0x04 || t == 0x16 || t == 0x18 || t == 0x19 || t == 0x07);
    if (t & 0x20) {
      out.insert(out.end(), in.begin() + long(p), in.begin() + long(p + tagLen));
      out.push_back(0x80);
      Rewrite(in, c, c + len, out);
      out.push_back(0);
      out.push_back(0);
    } else if (universalString && len >= 2) {
      // constructed, definite outer length: two primitive fragments
      size_t h = len / 2;
      std::vector<unsigned char> inner;
      inner.push_back(0x04);
      inner.push_back(uint8_t(h));
      inner.insert(inner.end(), in.begin() + long(c), in.begin() + long(c + h));
      inner.push_back(0x04);
      inner.push_back(uint8_t(len - h));
      inner.insert(inner.end(), in.begin() + long(c + h), in.begin() + long(c + len));
      out.push_back(uint8_t(t | 0x20));
      out.push_back(uint8_t(inner.size()));
      out.insert(out.end(), inner.begin(), inner.end());
    } else {
      out.insert(out.end(), in.begin() + long(p), in.begin() + long(c + len));
    }
    p = c + len;
  }
}

}  // namespace

std::vector<unsigned char> ToIndefinite(const std::vector<unsigned char> &in) {
  std::vector<unsigned char> out;
  Rewrite(in, 0, in.size(), out);
  return out;
}

}  // namespace CSTA3V6
