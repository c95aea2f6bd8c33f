// Small octet and print helpers shared by the private-data types (internal header).
#ifndef K3_CSTA3_PRIVATE_PRINT_UTIL_H
#define K3_CSTA3_PRIVATE_PRINT_UTIL_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "asn/asn.h"

namespace CSTA3V6 {
namespace privoctets {

inline void SetOcts(AsnOcts &o, const unsigned char *p, size_t n, bool terminator = false) {
  o.Set(reinterpret_cast<const char *>(p), n, terminator);
}

// Appends at most maxLen octets of o.
inline void PutOcts(std::vector<unsigned char> &out, const AsnOcts &o, size_t maxLen) {
  size_t n = std::min<size_t>(o.octetLen, maxLen);
  if (n) out.insert(out.end(), reinterpret_cast<const unsigned char *>(o.octs),
                    reinterpret_cast<const unsigned char *>(o.octs) + n);
}

// Unlinks and frees the last element of a list (the one a parser appended
// and then found it could not fill).
template <class T>
void DropLast(AsnList<T> &list) {
  auto *node = list.last;
  if (!node) return;
  list.last = node->prev;
  if (list.last)
    list.last->next = nullptr;
  else
    list.first = nullptr;
  --list.count;
  delete node;
}

// Parses elements from p[pos..n) into list until fewer than two octets remain
// or an element consumes nothing (that one is dropped again).
template <class T>
void DecodeElements(AsnList<T> &list, const unsigned char *p, size_t n, size_t pos) {
  while (n - pos >= 2) {
    // Parsed in place: the texts keep the terminator they were stored with.
    size_t used = list.Append()->DecodeOctets(p + pos, n - pos);
    if (used == 0) {
      DropLast(list);
      break;
    }
    pos += used;
  }
}

// First element of the list with this identifier, or nullptr.
template <class T>
const T *FindById(const AsnList<T> &list, uint32_t id) {
  for (auto *node = list.first; node; node = node->next)
    if (node->elmt.id == id) return &node->elmt;
  return nullptr;
}

}  // namespace privoctets

namespace privprint {

// "{ <remark>" on a fresh line (the remark inside <REM> markup when tagged),
// then one more level of indentation.
inline void Open(AsnPrintStream &os, const char *remark) {
  if (!os.atLineStart) {
    os.Newline();
    os.Indent();
  }
  if (os.tagged)
    os << "{ " << "<REM>" << remark << "</REM>";
  else
    os << "{ " << remark;
  os.IndentMore();
}

// Starts a field on a line of its own: "," after the previous field, then name.
inline void Field(AsnPrintStream &os, bool &first, const char *name) {
  if (!first) os << ",";
  first = false;
  os.Newline();
  os.Indent();
  os << name;
}

inline void Close(AsnPrintStream &os) {
  os.IndentLess();
  os.Newline();
  os.Indent();
  os << "}";
}

// A number followed by its name from a table of {code, name}, or the number alone.
struct CodeName {
  uint32_t code;
  const char *name;
};

template <size_t N>
inline const char *Lookup(const CodeName (&table)[N], uint32_t code) {
  for (const CodeName &e : table)
    if (e.code == code) return e.name;
  return nullptr;
}

template <size_t N>
inline void NumberAndName(AsnPrintStream &os, const CodeName (&table)[N], uint32_t code) {
  os << code;
  if (const char *n = Lookup(table, code)) os << n;
}

}  // namespace privprint
}  // namespace CSTA3V6

#endif
