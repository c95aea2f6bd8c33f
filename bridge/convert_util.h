// Small helpers shared by the answer and event converters: bounded writes
// into packed little-endian structures, texts of CSTA device identifiers and
// the look-up of the PBX's office-form private-data elements.
#ifndef K3_BRIDGE_CONVERT_UTIL_H
#define K3_BRIDGE_CONVERT_UTIL_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "csta3_model.h"
#include "csta3/private/private_data.h"
#include "kestrel3_structures.h"

// Offset and width of a field of a packed public structure
// (kestrel3_structures.h): the one place the byte layouts are written down.
#define K3_AT(type, field) offsetof(type, field)
#define K3_WIDTH(type, field) sizeof(static_cast<type *>(nullptr)->field)
#define K3_FIELD(type, field) K3_AT(type, field), K3_WIDTH(type, field)

namespace k3 {

// A byte range the converters may write: every write is clipped to size, so
// a structure shorter than its type's layout is never written past its end.
struct OutBytes {
  uint8_t *p;
  size_t size;
  void Byte(size_t at, uint8_t v) const {
    if (at < size) p[at] = v;
  }
  void U16(size_t at, uint16_t v) const {
    Byte(at, uint8_t(v));
    Byte(at + 1, uint8_t(v >> 8));
  }
  void U32(size_t at, uint32_t v) const {
    for (size_t i = 0; i < 4; ++i) Byte(at + i, uint8_t(v >> (8 * i)));
  }
  // A text of n octets in a field of width bytes at `at` (the field ends
  // early where the range ends): as many octets as the field holds, then a
  // terminating NUL when there is room for it. A text that fills its field
  // keeps all its characters and goes without the terminator.
  void Field(size_t at, size_t width, const char *s, size_t n) const;
  // The same in a field that runs to the end of the range.
  void Text(size_t at, const char *s, size_t n) const { Field(at, size, s, n); }
  void Field(size_t at, size_t width, const std::string &s) const { Field(at, width, s.data(), s.size()); }
};

// The text of an octet string up to its first NUL.
std::string CText(const CSTA3V6::AsnOcts &o);

// The text of a device identifier (its dialling or numbering alternative, a
// device number in decimal), up to the first NUL; empty when absent.
std::string DeviceText(const CSTA3V6::DeviceID *id);

// Two-digit years from the PBX's dates: below 80 in this century, 80..99 in
// the last, 100 and above unchanged.
inline uint16_t WidenYear(uint8_t year) {
  if (year < 80) return uint16_t(year + 2000);
  if (year < 100) return uint16_t(year + 1900);
  return year;
}

// The first office-form element with this choiceId in the PBX's private data
// of common arguments (exactly one private-data item, marked as the PBX's,
// in office form); null when any of that is missing.
const CSTA3V6::OfficePrivateDataElement *OfficeElement(const CSTA3V6::CSTACommonArguments *extensions,
                                                       uint32_t choiceId);

// Writes the typed private content of a message the library built (escape
// argument or result, send-data argument) into its pnPrivateData octets, which
// is what the host reads and encodes. Called once the content is filled.
void WritePrivateOctets(CSTA3V6::CSTAMsg &msg);

}  // namespace k3

#endif
