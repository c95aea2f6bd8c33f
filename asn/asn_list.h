// SEQUENCE OF / SET OF: a doubly linked list that owns its nodes. The outer
// tag and length are written and checked by the enclosing type.
#ifndef K3_ASN_ASN_LIST_H
#define K3_ASN_ASN_LIST_H

#include <cstddef>
#include <cstdint>

#include "asn/asn_buf.h"
#include "asn/asn_errors.h"
#include "asn/asn_print.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

template <class T>
class AsnList : public AsnType {
 public:
  struct Node {
    T elmt;
    Node *next;
    Node *prev;
    static void *operator new(std::size_t n) { return AsnPoolAlloc(n); }
    static void operator delete(void *p, std::size_t n) noexcept { AsnPoolFree(p, n); }
  };

  uint64_t count = 0;
  Node *first = nullptr;
  Node *last = nullptr;

  AsnList() = default;
  AsnList(const AsnList &o) : AsnType() { CopyFrom(o); }
  AsnList &operator=(const AsnList &o) {
    if (this != &o) CopyFrom(o);
    return *this;
  }
  ~AsnList() override { RemoveAll(); }

  // Links a new default element after the last one and returns it to be filled.
  T *Append() {
    Node *n = new Node{};
    n->prev = last;
    n->next = nullptr;
    if (last) {
      last->next = n;
    } else {
      first = n;
    }
    last = n;
    ++count;
    return &n->elmt;
  }

  uint64_t Count() const { return count; }
  Node *First() const { return first; }
  Node *Last() const { return last; }
  static Node *Next(const Node *n) { return n ? n->next : nullptr; }
  static Node *Prev(const Node *n) { return n ? n->prev : nullptr; }

  void RemoveAll() {
    Node *n = first;
    while (n) {
      Node *next = n->next;
      delete n;
      n = next;
    }
    count = 0;
    first = last = nullptr;
  }

  // Elements from last to first, each with its own tag and length.
  AsnLen BEncContent(AsnBuf &b) const {
    AsnLen l = 0;
    for (const Node *n = last; n; n = n->prev) l += n->elmt.BEnc(b);
    return l;
  }

  // Elements until len octets are consumed, or up to the end-of-contents octets
  // when len is indefinite. Decoded elements are appended to what is there. An
  // element that runs past a definite length throws kAsnListLength.
  void BDecContent(AsnBuf &b, AsnTag /*tagId*/, AsnLen len, AsnLen &bytesDecoded) {
    AsnLen local = 0;
    if (len == INDEFINITE_LEN) {
      while (b.PeekByte() != 0) Append()->BDec(b, local);
      BDecEoc(b, local);
    } else {
      while (local < len) Append()->BDec(b, local);
      if (local != len) AsnThrow(kAsnListLength);
    }
    bytesDecoded += local;
  }

  void Print(AsnPrintStream &os) const override {
    if (!os.atLineStart) {
      os.Newline();
      os.Indent();
    }
    if (os.tagged) {
      os << "{ " << "<REM>" << "-- SEQUENCE OF --" << "</REM>";
    } else {
      os << "{ -- SEQUENCE OF --";
    }
    os.IndentMore();
    for (const Node *n = first; n; n = n->next) {
      os.Newline();
      os.Indent();
      os << n->elmt;
      if (n->next) os << ", ";
    }
    os.IndentLess();
    os.Newline();
    os.Indent();
    os << "}";
  }

  // Range-for over the elements.
  template <class NodeP, class Ref>
  class Iter {
   public:
    explicit Iter(NodeP n) : n_(n) {}
    Ref operator*() const { return n_->elmt; }
    Iter &operator++() {
      n_ = n_->next;
      return *this;
    }
    bool operator!=(const Iter &o) const { return n_ != o.n_; }

   private:
    NodeP n_;
  };
  using iterator = Iter<Node *, T &>;
  using const_iterator = Iter<const Node *, const T &>;
  iterator begin() { return iterator(first); }
  iterator end() { return iterator(nullptr); }
  const_iterator begin() const { return const_iterator(first); }
  const_iterator end() const { return const_iterator(nullptr); }

 private:
  // One walk along the source: the copy is linear in the list's length.
  void CopyFrom(const AsnList &o) {
    RemoveAll();
    for (const Node *n = o.first; n; n = n->next) *Append() = n->elmt;
  }
};

}  // namespace CSTA3V6

#endif
