// Shared by the request encoders (bridge/pbx_requests.cpp, bridge/local_answers.cpp):
// reading and writing the caller's packed structure by the fields of its
// public type, and sending a built request.
#ifndef K3_BRIDGE_REQUEST_UTIL_H
#define K3_BRIDGE_REQUEST_UTIL_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "bridge/convert_util.h"
#include "bridge/request_types.h"
#include "bridge/requests.h"
#include "csta3_model.h"

namespace k3 {

// Every encoder of the table; the dispatcher has checked the size and chosen
// the line.
#define K3_DECLARE_ENCODER(name, size, encoder, line, answer) int32_t encoder(uint32_t, uint8_t *, uint32_t);
K3_REQUEST_TYPES(K3_DECLARE_ENCODER)
#undef K3_DECLARE_ENCODER

// The structures are little-endian, as are the machines the library runs on.
template <class T>
T ReadAt(const uint8_t *p, size_t at) {
  T v;
  std::memcpy(&v, p + at, sizeof v);
  return v;
}
template <class T>
void WriteAt(uint8_t *p, size_t at, T v) {
  std::memcpy(p + at, &v, sizeof v);
}
#define K3_GET(p, type, field) ::k3::ReadAt<decltype(type::field)>(p, K3_AT(type, field))
#define K3_PUT(p, type, field, v) ::k3::WriteAt<decltype(type::field)>(p, K3_AT(type, field), v)

// The text of a NUL-terminated field, terminator excluded. A field without a
// terminator yields all of its bytes; nothing past the field is read.
inline std::string FieldText(const uint8_t *p, size_t at, size_t width) {
  const char *s = reinterpret_cast<const char *>(p + at);
  return std::string(s, strnlen(s, width));
}
#define K3_TEXT(p, type, field) ::k3::FieldText(p, K3_AT(type, field), K3_WIDTH(type, field))

// Copies a text of at most srcWidth bytes (up to its terminator) into a field
// of width bytes at `at`: as many characters as the field holds, then a NUL
// when there is room for one.
inline void PutText(uint8_t *p, size_t at, size_t width, const uint8_t *src, size_t srcWidth) {
  size_t n = std::min<size_t>(strnlen(reinterpret_cast<const char *>(src), srcWidth), width);
  std::memcpy(p + at, src, n);
  if (n < width) p[at + n] = 0;
}

inline int32_t Sent(uint32_t invokeId) { return static_cast<int32_t>(invokeId); }

// Every request goes out with its private content already in octets.
uint32_t SendBuilt(uint32_t line, CSTA3V6::CSTAMsg &msg, void *block, uint32_t wantInvokeId);

}  // namespace k3

#endif
