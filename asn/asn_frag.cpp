#include "asn/asn_frag.h"

#include <cstring>
#include <iostream>
#include <vector>

namespace CSTA3V6 {

void AsnFragStack::Push(const unsigned char *data, size_t len) {
  if (used == capacity) {
    size_t newCap = capacity == 0 ? kFirstCapacity : capacity + kGrowth;
    AsnFragment *grown = new AsnFragment[newCap];
    if (used) std::memcpy(grown, entries, used * sizeof(AsnFragment));
    delete[] entries;
    entries = grown;
    capacity = newCap;
  }
  entries[used++] = AsnFragment{data, len};
  totalLen += len;
}

void AsnFragStack::CopyTo(unsigned char *dst) const {
  for (size_t i = 0; i < used; ++i) {
    if (entries[i].len) std::memcpy(dst, entries[i].data, entries[i].len);
    dst += entries[i].len;
  }
}

AsnFragStack &AsnThreadFragStack() {
  static thread_local AsnFragStack stack;
  return stack;
}

void AsnCollectFragments(AsnBuf &b, AsnLen len, AsnLen &bytesDecoded, bool bitString) {
  const AsnTag primTag = bitString ? 0x03000000u : 0x04000000u;
  const AsnTag consTag = primTag | 0x20000000u;
  AsnFragStack &fs = AsnThreadFragStack();
  fs.Reset();

  // Nested constructed fragments are walked with an explicit stack of frames
  // rather than by recursion, so deep nesting in hostile input cannot exhaust
  // the call stack.
  struct Frame {
    AsnLen len;
    AsnLen consumed;
  };
  std::vector<Frame> outer;
  Frame cur{len, 0};
  for (;;) {
    bool frameDone = false;
    if (cur.len != INDEFINITE_LEN) {
      frameDone = cur.consumed >= cur.len;
    } else if (b.PeekByte() == 0) {
      // End-of-contents: only the first octet ends the list; a bad or missing
      // second octet is reported and passed over.
      b.GetByte();
      unsigned char second = b.GetByte();
      if (second != 0 || b.readError) std::cerr << "Warning - second octet of EOC not zero" << std::endl;
      cur.consumed += 2;
      frameDone = true;
    }

    if (frameDone) {
      if (outer.empty()) break;
      Frame parent = outer.back();
      outer.pop_back();
      parent.consumed += cur.consumed;
      cur = parent;
      continue;
    }

    AsnLen hdr = 0;
    AsnTag tag = BDecTag(b, hdr);
    AsnLen elmtLen = BDecLen(b, hdr);
    cur.consumed += hdr;
    if (tag == primTag) {
      if (elmtLen > b.Remaining()) AsnThrow(-15);
      const unsigned char *p = b.readLoc;
      size_t n = elmtLen;
      if (bitString) {
        if (n == 0) AsnThrow(-1);
        fs.lastUnusedBits = *p;
        ++p;
        --n;
      }
      fs.Push(p, n);
      b.readLoc += elmtLen;
      cur.consumed += elmtLen;
    } else if (tag == consTag) {
      outer.push_back(cur);
      cur = Frame{elmtLen, 0};
    } else {
      AsnThrow(-16);
    }
  }
  bytesDecoded += cur.consumed;
}

}  // namespace CSTA3V6
