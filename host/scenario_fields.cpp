// k3-scenario, portable half: reading, writing and comparing the fields of a
// structure buffer, by name or by position.
#include <cstring>
#include <sstream>
#include <vector>

#include "host/scenario_detail.h"

namespace k3s {

using detail::ParseNumber;
using detail::Quoted;

const Field *FindField(const StructInfo &s, const std::string &name) {
  for (const Field &f : s.fields)
    if (f.name == name) return &f;
  return nullptr;
}

bool ParseRawField(const std::string &key, Field &out) {
  // @offset:u8 | @offset:u16 | @offset:u32 | @offset:text:width | @offset:hex:width
  if (key.size() < 2 || key[0] != '@') return false;
  std::vector<std::string> parts;
  std::stringstream ss(key.substr(1));
  std::string p;
  while (std::getline(ss, p, ':')) parts.push_back(p);
  int64_t at, width = 0;
  if (parts.size() < 2 || !ParseNumber(parts[0], at) || at < 0 || at >= kBlockRoom) return false;
  out.name = key;
  out.offset = uint32_t(at);
  if (parts.size() == 2 && parts[1] == "u8") out.kind = FieldKind::U8, out.width = 1;
  else if (parts.size() == 2 && parts[1] == "u16") out.kind = FieldKind::U16, out.width = 2;
  else if (parts.size() == 2 && parts[1] == "u32") out.kind = FieldKind::U32, out.width = 4;
  else if (parts.size() == 3 && (parts[1] == "text" || parts[1] == "hex") && ParseNumber(parts[2], width) &&
           width > 0 && width <= kBlockRoom) {
    out.kind = parts[1] == "text" ? FieldKind::Text : FieldKind::Octets;
    out.width = uint32_t(width);
  } else {
    return false;
  }
  return out.offset + out.width <= kBlockRoom;
}

const Field *FieldOf(const StructInfo &s, const std::string &key, Field &raw) {
  if (const Field *f = FindField(s, key)) return f;
  return ParseRawField(key, raw) ? &raw : nullptr;
}

bool PutField(uint8_t *block, uint32_t room, const Field &f, const Value &v, std::string &err) {
  if (f.offset + f.width > room) {
    err = "field " + f.name + " lies outside the buffer";
    return false;
  }
  uint8_t *p = block + f.offset;
  switch (f.kind) {
    case FieldKind::U8:
    case FieldKind::U16:
    case FieldKind::U32: {
      if (v.kind != Value::Number) {
        err = "field " + f.name + " takes a number, not " + ValueText(v);
        return false;
      }
      int64_t lo = -(int64_t(1) << (8 * f.width - 1)), hi = (int64_t(1) << (8 * f.width)) - 1;
      if (v.number < lo || v.number > hi) {
        err = "value " + std::to_string(v.number) + " does not fit field " + f.name;
        return false;
      }
      uint32_t u = uint32_t(v.number);
      for (uint32_t i = 0; i < f.width; ++i) p[i] = uint8_t(u >> (8 * i));
      return true;
    }
    case FieldKind::Text:
    case FieldKind::Octets: {
      if (v.kind == Value::Ref) {
        err = "field " + f.name + " takes text or octets";
        return false;
      }
      const std::string &bytes = v.text;
      // A text may fill its field completely (no terminator) to try what the
      // library does with it; octets always fit their width exactly or less.
      if (bytes.size() > f.width) {
        err = "value " + ValueText(v) + " is longer than field " + f.name + " (" + std::to_string(f.width) + " bytes)";
        return false;
      }
      std::memset(p, 0, f.width);
      std::memcpy(p, bytes.data(), bytes.size());
      return true;
    }
  }
  return false;
}

namespace {

// A little-endian number of width bytes, and a text up to its terminator.
uint32_t NumberAt(const uint8_t *p, uint32_t width) {
  uint32_t u = 0;
  for (uint32_t i = 0; i < width; ++i) u |= uint32_t(p[i]) << (8 * i);
  return u;
}

std::string TextAt(const uint8_t *p, uint32_t width) {
  size_t n = 0;
  while (n < width && p[n]) ++n;
  return std::string(reinterpret_cast<const char *>(p), n);
}

}  // namespace

std::string GetField(const uint8_t *block, uint32_t room, const Field &f) {
  if (f.offset + f.width > room) return "?";
  const uint8_t *p = block + f.offset;
  switch (f.kind) {
    case FieldKind::U8:
    case FieldKind::U16:
    case FieldKind::U32: return std::to_string(NumberAt(p, f.width));
    case FieldKind::Text: return Quoted(TextAt(p, f.width));
    case FieldKind::Octets: return "hex:" + HexOf(p, f.width);
  }
  return "?";
}

bool FieldEquals(const uint8_t *block, uint32_t room, const Field &f, const Value &v, std::string &err) {
  if (f.offset + f.width > room) {
    err = f.name + " lies outside the buffer";
    return false;
  }
  const uint8_t *p = block + f.offset;
  bool same = false;
  switch (f.kind) {
    case FieldKind::U8:
    case FieldKind::U16:
    case FieldKind::U32: {
      uint32_t mask = f.width == 4 ? 0xFFFFFFFFu : (1u << (8 * f.width)) - 1;
      same = v.kind == Value::Number && NumberAt(p, f.width) == (uint32_t(v.number) & mask);
      break;
    }
    case FieldKind::Text: same = v.kind != Value::Ref && TextAt(p, f.width) == v.text; break;
    case FieldKind::Octets:
      // Octets compare over the expected length; the rest of the field is not looked at.
      same = v.kind != Value::Ref && v.text.size() <= f.width && std::memcmp(p, v.text.data(), v.text.size()) == 0;
      break;
  }
  if (!same) err = f.name + " is " + GetField(block, room, f) + ", expected " + ValueText(v);
  return same;
}


}  // namespace k3s
