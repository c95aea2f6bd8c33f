#include "asn/asn_frag.h"

#include "asn/asn_errors.h"
#include "asn/asn_tags.h"

#include <cstring>
#include <iostream>
#include <vector>

namespace CSTA3V6 {

void AsnFragStack::Push(const unsigned char *data, size_t len) {
  if (used == capacity) {
    const size_t newCap = 2 * capacity;
    AsnFragment *grown = new AsnFragment[newCap];
    std::memcpy(grown, entries, used * sizeof(AsnFragment));
    if (entries != inlineEntries) delete[] entries;
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

void AsnCollectFragments(AsnBuf &b, AsnLen len, AsnLen &bytesDecoded, bool bitString,
                         AsnFragStack &fs) {
  const AsnTag primTag = bitString ? kTagBitString : kTagOctetString;
  const AsnTag consTag = primTag | kTagConstructedBit;

  // Nested constructed fragments are walked with an explicit stack of frames
  // rather than by recursion, so deep nesting in hostile input cannot exhaust
  // the call stack. end is where the frame must stop: its own end for a
  // definite length, else its parent's (the data's end for the outermost).
  struct Frame {
    AsnLen len;
    AsnLen consumed;
    const unsigned char *end;
  };
  auto frameEnd = [&b](AsnLen l, const unsigned char *parentEnd) -> const unsigned char * {
    if (l == INDEFINITE_LEN || size_t(l) >= size_t(parentEnd - b.readLoc)) return parentEnd;
    return b.readLoc + l;
  };
  std::vector<Frame> outer;
  Frame cur{len, 0, frameEnd(len, b.dataEnd)};
  for (;;) {
    bool frameDone = false;
    if (cur.len != INDEFINITE_LEN) {
      frameDone = cur.consumed >= cur.len;
    } else if (b.readLoc < cur.end && *b.readLoc == 0) {
      // End-of-contents: only the first octet ends the list; a bad or missing
      // second octet is reported and passed over (and not counted if missing).
      b.GetByte();
      cur.consumed += 1;
      if (b.readLoc < cur.end) {
        cur.consumed += 1;
        if (b.GetByte() != 0) std::cerr << "Warning - second octet of EOC not zero" << std::endl;
      } else {
        std::cerr << "Warning - second octet of EOC not zero" << std::endl;
      }
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

    // A fragment is due: the data ending here is the tag's fault (-22); a frame
    // ending here while the data goes on is the fragment running past it.
    if (b.readLoc >= cur.end && cur.end < b.dataEnd) AsnThrow(kAsnErrFragmentOverrun);
    AsnLen hdr = 0;
    AsnTag tag = BDecTag(b, hdr);
    AsnLen elmtLen = BDecLen(b, hdr);
    cur.consumed += hdr;
    if (b.readLoc > cur.end) AsnThrow(kAsnErrFragmentOverrun);
    if (tag == primTag) {
      if (size_t(elmtLen) > size_t(cur.end - b.readLoc)) AsnThrow(kAsnErrFragmentOverrun);
      const unsigned char *p = b.readLoc;
      size_t n = elmtLen;
      if (bitString) {
        if (n == 0) AsnThrow(kAsnErrBits);
        fs.lastUnusedBits = *p;
        ++p;
        --n;
      }
      fs.Push(p, n);
      b.readLoc += elmtLen;
      cur.consumed += elmtLen;
    } else if (tag == consTag) {
      if (elmtLen != INDEFINITE_LEN && size_t(elmtLen) > size_t(cur.end - b.readLoc)) AsnThrow(kAsnErrFragmentOverrun);
      outer.push_back(cur);
      cur = Frame{elmtLen, 0, frameEnd(elmtLen, cur.end)};
    } else {
      AsnThrow(kAsnErrFragmentTag);
    }
  }
  bytesDecoded += cur.consumed;
}

}  // namespace CSTA3V6
