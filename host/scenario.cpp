// k3-scenario, portable half: scenario files, structure fields, and the
// simulated PBX's messages.
#include "host/scenario.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "kestrel3.h"
#include "link/request.h"

namespace k3s {

using namespace CSTA3V6;

// ---------------------------------------------------------------------------
// Values

namespace {

bool ParseNumber(const std::string &s, int64_t &out) {
  if (s.empty()) return false;
  size_t i = 0;
  bool neg = false;
  if (s[0] == '-' || s[0] == '+') neg = s[0] == '-', i = 1;
  if (i >= s.size()) return false;
  int base = 10;
  if (s.size() > i + 2 && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X')) base = 16, i += 2;
  uint64_t v = 0;
  for (; i < s.size(); ++i) {
    int d;
    char c = s[i];
    if (c >= '0' && c <= '9') d = c - '0';
    else if (base == 16 && c >= 'a' && c <= 'f') d = c - 'a' + 10;
    else if (base == 16 && c >= 'A' && c <= 'F') d = c - 'A' + 10;
    else return false;
    v = v * uint64_t(base) + uint64_t(d);
    if (v > 0xFFFFFFFFull) return false;
  }
  out = neg ? -int64_t(v) : int64_t(v);
  return true;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsName(const std::string &s) {
  if (s.empty() || !(std::isalpha(static_cast<unsigned char>(s[0])) || s[0] == '_')) return false;
  for (char c : s)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-')) return false;
  return true;
}

}  // namespace

bool ParseHex(const std::string &text, std::string &out) {
  out.clear();
  int hi = -1;
  for (char c : text) {
    if (c == ' ' || c == ':' || c == '-') continue;
    int d = HexDigit(c);
    if (d < 0) return false;
    if (hi < 0) hi = d;
    else out.push_back(char(hi << 4 | d)), hi = -1;
  }
  return hi < 0;
}

bool ParseValue(const std::string &token, Value &out, std::string &err) {
  out = Value();
  if (token.empty()) {
    out.kind = Value::Text;
    return true;
  }
  if (token[0] == '"') {
    std::string s;
    size_t i = 1;
    for (; i < token.size() && token[i] != '"'; ++i) {
      char c = token[i];
      if (c != '\\') {
        s.push_back(c);
        continue;
      }
      if (++i >= token.size()) break;
      switch (token[i]) {
        case 'n': s.push_back('\n'); break;
        case 't': s.push_back('\t'); break;
        case '0': s.push_back('\0'); break;
        case 'x': {
          int a = i + 1 < token.size() ? HexDigit(token[i + 1]) : -1;
          int b = i + 2 < token.size() ? HexDigit(token[i + 2]) : -1;
          if (a < 0 || b < 0) {
            err = "\\x needs two hex digits";
            return false;
          }
          s.push_back(char(a << 4 | b));
          i += 2;
          break;
        }
        default: s.push_back(token[i]);
      }
    }
    if (i != token.size() - 1) {
      err = "unterminated or trailing text after quoted value " + token;
      return false;
    }
    out.kind = Value::Text;
    out.text = s;
    return true;
  }
  if (token.compare(0, 4, "hex:") == 0) {
    out.kind = Value::Octets;
    if (!ParseHex(token.substr(4), out.text)) {
      err = "bad hex octets in " + token;
      return false;
    }
    return true;
  }
  if (token[0] == '$') {
    out.kind = Value::Ref;
    size_t pm = token.find_first_of("+-", 1);
    out.text = token.substr(1, pm == std::string::npos ? std::string::npos : pm - 1);
    if (pm != std::string::npos && !ParseNumber(token.substr(pm), out.offset)) {
      err = "bad offset in " + token;
      return false;
    }
    size_t dot = out.text.find('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == out.text.size()) {
      err = "a reference reads $event.seq or $NAME.field: " + token;
      return false;
    }
    return true;
  }
  if (ParseNumber(token, out.number)) {
    out.kind = Value::Number;
    out.text = token;  // kept for text fields ("0471" stays "0471")
    return true;
  }
  out.kind = Value::Text;
  out.text = token;
  return true;
}

std::string HexOf(const void *p, size_t n, const char *sep) {
  static const char digits[] = "0123456789ABCDEF";
  std::string s;
  const unsigned char *b = static_cast<const unsigned char *>(p);
  for (size_t i = 0; i < n; ++i) {
    if (i && *sep) s += sep;
    s.push_back(digits[b[i] >> 4]);
    s.push_back(digits[b[i] & 15]);
  }
  return s;
}

namespace {
std::string Quoted(const std::string &s) {
  std::string q = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') q.push_back('\\'), q.push_back(char(c));
    else if (c < 32 || c > 126) q += "\\x" + HexOf(&c, 1);
    else q.push_back(char(c));
  }
  return q + "\"";
}
}  // namespace

std::string ValueText(const Value &v) {
  switch (v.kind) {
    case Value::Number: return std::to_string(v.number);
    case Value::Text: return Quoted(v.text);
    case Value::Octets: return "hex:" + HexOf(v.text.data(), v.text.size());
    case Value::Ref: {
      std::string s = "$" + v.text;
      if (v.offset > 0) s += "+" + std::to_string(v.offset);
      if (v.offset < 0) s += std::to_string(v.offset);
      return s;
    }
  }
  return "?";
}

// ---------------------------------------------------------------------------
// Device-specific structures

namespace {

Field U8(const char *n, uint32_t at) { return {n, at, FieldKind::U8, 1}; }
Field U16(const char *n, uint32_t at) { return {n, at, FieldKind::U16, 2}; }
Field U32(const char *n, uint32_t at) { return {n, at, FieldKind::U32, 4}; }
Field Txt(const char *n, uint32_t at, uint32_t w) { return {n, at, FieldKind::Text, w}; }
Field Oct(const char *n, uint32_t at, uint32_t w) { return {n, at, FieldKind::Octets, w}; }

std::vector<Field> TlvFields() {
  std::vector<Field> f;
  for (uint32_t i = 0; i < 20; ++i) {
    std::string k = std::to_string(i + 1);
    uint32_t at = 2 + 11 * i;
    f.push_back({"tag" + k, at, FieldKind::U8, 1});
    f.push_back({"format" + k, at + 1, FieldKind::U8, 1});
    f.push_back({"value" + k, at + 2, FieldKind::Text, 9});
  }
  return f;
}

std::vector<Field> ListFields() {
  std::vector<Field> f = {U32("sequence", 2), U16("count", 6)};
  for (uint32_t i = 0; i < 20; ++i) f.push_back({"entry" + std::to_string(i + 1), 8 + 9 * i, FieldKind::Text, 9});
  return f;
}

std::vector<StructInfo> MakeStructures() {
  const std::vector<Field> amhost8 = {U16("value1", 2), U16("value2", 4), U16("value3", 6)};
  const std::vector<Field> flag = {U8("flag", 2)};
  const std::vector<Field> devName = {Txt("device", 2, 9), Txt("name", 11, 33)};
  const std::vector<Field> dev6 = {Txt("device", 2, 9), U8("flag", 11)};
  const std::vector<Field> agent = {Txt("device", 2, 9), U32("state", 11), Txt("agent", 15, 4)};
  const std::vector<Field> cdrAnswer = {U32("session", 2), U32("sequence", 6)};
  return {
      {0x11, "MAINT_KIND3", 17, 17,
       {U16("value", 2), U8("reference", 4), U16("day", 5), U16("month", 7), U16("year", 9), U16("hour", 11),
        U16("minute", 13), U16("second", 15)}},
      {0x14, "MAINT_KIND4", 3, 3, {U8("session", 2)}},
      {0x21, "MAINT_KIND1", 54, 54, {Oct("data", 2, 48), U8("length", 53)}},
      {0x31, "START_CDR_TRANSMISSION", 0, 6, {U32("session", 2)}},
      {0x33, "CDR_REPORT_RESULT", 0, 344, cdrAnswer},
      {0x34, "STOP_CDR_TRANSMISSION", 6, 6, {U32("session", 2)}},
      {0x35, "CDR_REPORT_RESULT_2", 0, 10,
       {U32("session", 2), U32("sequence", 6), U32("record.sequence", 10), U16("record.type", 14),
        Txt("record.calling", 50, 33), Txt("record.called", 83, 33), U32("record.duration", 289), U8("record.suppl", 301), Txt("record.account", 302, 33),
        U32("record.minutes", 368), U32("record.invoke", 438)}},
      {0x41, "AMHOST_8_2", 8, 8, amhost8},
      {0x42, "AMHOST_8_8", 8, 8, amhost8},
      {0x43, "AMHOST_10_7_8", 3, 3, flag},
      {0x44, "AMHOST_10_2", 3, 3, flag},
      {0x45, "PRIVATE_TLV_LIST", 222, 222, TlvFields()},
      {0x46, "ACL2_240", 3, 3, {U8("selector", 2)}},
      {0x47, "RESERVED_47", 0, 2, {}},
      {0x48, "RESERVED_48", 0, 2, {}},
      {0x52, "AMHOST_1_2", 143, 143,
       {Txt("device", 2, 9), Txt("text1", 11, 33), Txt("text2", 44, 33), Txt("text3", 77, 33),
        Txt("text4", 110, 33)}},
      {0x54, "AMHOST_1_1_A", 44, 44, devName},
      {0x55, "AMHOST_1_1_B", 44, 44, devName},
      {0x56, "AMHOST_2_4_A", 15, 15, {Txt("name", 2, 9), U32("switch", 11)}},
      {0x58, "AMHOST_2_4_B", 16, 16, {Txt("name", 2, 9), U8("value", 11), U32("switch", 12)}},
      {0x61, "AMHOST_7_2", 21, 21,
       {Txt("device", 2, 9), U32("sequence", 11), U16("count", 15), U32("needed", 17)}},
      {0x62, "GET_STORED_LIST", 17, 17, ListFields()},
      {0x63, "AMHOST_7_5_A", 20, 20, {Txt("device1", 2, 9), Txt("device2", 11, 9)}},
      {0x64, "AMHOST_7_5_B", 20, 20, {Txt("device1", 2, 9), Txt("device2", 11, 9)}},
      {0x65, "AMHOST_7_5_C", 20, 20, {Txt("device1", 2, 9), Txt("device2", 11, 9)}},
      {0x71, "AMHOST_6_2_A", 44, 44, devName},
      {0x72, "AMHOST_6_1_A", 12, 12, dev6},
      {0x73, "AMHOST_6_2_B", 12, 12, dev6},
      {0x74, "AMHOST_6_2_C", 12, 12, dev6},
      {0x75, "AMHOST_6_1_B", 12, 12, dev6},
      {0x76, "AMHOST_6_1_C", 13, 13, {Txt("device", 2, 9), U8("flagA", 11), U8("flagB", 12)}},
      {0x82, "GET_AGENT_STATE", 19, 19, agent},
      {0x83, "SET_AGENT_STATE", 19, 19, agent},
      {0x84, "GET_STORED_RECORD", 0, 36,
       {U32("sequence", 2), Txt("text1", 6, 9), Txt("text2", 15, 4), Txt("text3", 19, 9), U32("value1", 28),
        U32("value2", 32)}},
      {0x91, "ACL2_1_192", 6, 6, {U32("flag", 2)}},
      {0x93, "SEND_DATA", 52, 52, {Txt("name", 2, 42), U32("x", 44), U32("y", 48)}},
      {0x95, "GET_STORED_RECORD_2", 0, 24, {U32("sequence", 2), Txt("text1", 6, 9), Txt("text2", 15, 9)}},
      {0xA1, "GET_PHYSICAL_DEVICE_INFO", 19, 19, {Txt("device", 2, 9), U32("class", 11)}},
  };
}

std::string Upper(std::string s) {
  for (char &c : s) c = char(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

const std::vector<StructInfo> &Structures() {
  static const std::vector<StructInfo> table = MakeStructures();
  return table;
}

const StructInfo *StructureByCode(uint16_t type) {
  for (const StructInfo &s : Structures())
    if (s.type == type) return &s;
  return nullptr;
}

const StructInfo *FindStructure(const std::string &nameOrCode) {
  int64_t code;
  if (ParseNumber(nameOrCode, code)) return code >= 0 && code <= 0xFFFF ? StructureByCode(uint16_t(code)) : nullptr;
  std::string n = Upper(nameOrCode);
  if (n.compare(0, 3, "DS_") == 0) n = n.substr(3);
  for (const StructInfo &s : Structures())
    if (n == s.name) return &s;
  return nullptr;
}

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

std::string GetField(const uint8_t *block, uint32_t room, const Field &f) {
  if (f.offset + f.width > room) return "?";
  const uint8_t *p = block + f.offset;
  switch (f.kind) {
    case FieldKind::U8:
    case FieldKind::U16:
    case FieldKind::U32: {
      uint32_t u = 0;
      for (uint32_t i = 0; i < f.width; ++i) u |= uint32_t(p[i]) << (8 * i);
      return std::to_string(u);
    }
    case FieldKind::Text: {
      size_t n = 0;
      while (n < f.width && p[n]) ++n;
      return Quoted(std::string(reinterpret_cast<const char *>(p), n));
    }
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
      uint32_t u = 0;
      for (uint32_t i = 0; i < f.width; ++i) u |= uint32_t(p[i]) << (8 * i);
      uint32_t mask = f.width == 4 ? 0xFFFFFFFFu : (1u << (8 * f.width)) - 1;
      same = v.kind == Value::Number && u == (uint32_t(v.number) & mask);
      break;
    }
    case FieldKind::Text: {
      size_t n = 0;
      while (n < f.width && p[n]) ++n;
      same = v.kind != Value::Ref && std::string(reinterpret_cast<const char *>(p), n) == v.text;
      break;
    }
    case FieldKind::Octets:
      // Octets compare over the expected length; the rest of the field is not looked at.
      same = v.kind != Value::Ref && v.text.size() <= f.width && std::memcmp(p, v.text.data(), v.text.size()) == 0;
      break;
  }
  if (!same) err = f.name + " is " + GetField(block, room, f) + ", expected " + ValueText(v);
  return same;
}

// ---------------------------------------------------------------------------
// Names

const char *ResultName(uint32_t r) {
  switch (r) {
#define K3_RESULT_NAME(name) \
  case K3_RESULT_##name: return #name;
    K3_RESULT_CODES(K3_RESULT_NAME)
#undef K3_RESULT_NAME
    default: return "?";
  }
}

bool ParseResult(const std::string &text, uint32_t &out) {
  int64_t n;
  if (ParseNumber(text, n) && n >= 0) {
    out = uint32_t(n);
    return true;
  }
  static const uint32_t codes[] = {
#define K3_RESULT_VALUE(name) K3_RESULT_##name,
      K3_RESULT_CODES(K3_RESULT_VALUE)
#undef K3_RESULT_VALUE
  };
  for (uint32_t c : codes)
    if (Upper(text) == ResultName(c)) {
      out = c;
      return true;
    }
  return false;
}

const char *EventName(uint32_t type) {
  switch (type) {
    case 0x13: return "reference";
    case 0x32: return "CDR record";
    case 0x81: return "agent";
    case 0x92: return "data path started";
    case 0x94: return "data received";
    case 0x96: return "data path stopped";
    default: return "?";
  }
}

const char *OperationName(int32_t op) {
  switch (op) {
    case 21: return "cSTAEventReport";
    case 51: return "escape";
    case 110: return "startDataPath";
    case 111: return "stopDataPath";
    case 112: return "sendData";
    case 202: return "getPhysicalDeviceInformation";
    case 304: return "getAgentState";
    case 312: return "setAgentState";
    case 361: return "cDRReport";
    case 363: return "startCDRTransmission";
    case 364: return "stopCDRTransmission";
    default: return "?";
  }
}

const std::vector<Field> &EventHeaderFields(uint16_t type) {
  static const std::vector<Field> stored = {U32("seq", 2), U32("param", 6), Txt("text", 10, 2)};
  static const std::vector<Field> pathStarted = {U8("element3", 2), Txt("device", 3, 9)};
  static const std::vector<Field> pathStopped = {Txt("device", 2, 10)};
  static const std::vector<Field> reference = {U8("reference", 2), U16("date", 3), U16("year", 5), U16("time", 7),
                                               U16("second", 9)};
  static const std::vector<Field> none;
  switch (type) {
    case 0x32:
    case 0x81:
    case 0x94: return stored;
    case 0x92: return pathStarted;
    case 0x96: return pathStopped;
    case 0x13: return reference;
    default: return none;
  }
}

bool FetchPlanFor(uint16_t eventType, FetchPlan &plan) {
  if (eventType == 0x81) {
    plan.type = 0x84;
    plan.size = 36;
    plan.fields = {Txt("device", 6, 9), Txt("agent", 15, 4), Txt("group", 19, 9), U32("kind", 28), U32("state", 32)};
    return true;
  }
  if (eventType == 0x94) {
    plan.type = 0x95;
    plan.size = 15 + 64;  // the received text is written up to the end of the structure
    plan.fields = {Txt("device", 6, 9), Txt("data", 15, 64)};
    return true;
  }
  return false;
}

// ---------------------------------------------------------------------------
// Scenario files

const Arg *Step::Find(const std::string &key) const {
  for (const Arg &a : args)
    if (a.key == key) return &a;
  return nullptr;
}

namespace {

// Splits a line into tokens: whitespace separates, "..." keeps spaces, '#'
// outside quotes starts a comment.
bool Tokenize(const std::string &line, std::vector<std::string> &out, std::string &err) {
  std::string cur;
  bool inQuote = false, any = false;
  for (size_t i = 0; i < line.size(); ++i) {
    char c = line[i];
    if (inQuote) {
      cur.push_back(c);
      if (c == '\\' && i + 1 < line.size()) cur.push_back(line[++i]);
      else if (c == '"') inQuote = false;
      continue;
    }
    if (c == '#') break;
    if (c == ' ' || c == '\t' || c == '\r') {
      if (any) out.push_back(cur), cur.clear(), any = false;
      continue;
    }
    if (c == '"') inQuote = true;
    cur.push_back(c);
    any = true;
  }
  if (inQuote) {
    err = "unterminated quote";
    return false;
  }
  if (any) out.push_back(cur);
  return true;
}

bool IsElementKey(const std::string &k) {
  if (k.empty() || k.size() > 3) return false;
  for (char c : k)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  return std::stoi(k) <= 255;
}

const std::set<std::string> kContentKeys = {"amhost", "action", "maint", "ref", "date", "time", "data",
                                            "rep",    "acl",    "raw",   "oid"};

struct Checker {
  std::map<std::string, const StructInfo *> requests;  // NAME -> its structure

  bool Fail(std::string &err, const std::string &text) {
    err = text;
    return false;
  }

  bool OnlyKeys(const Step &s, const std::set<std::string> &allowed, bool elements, std::string &err) {
    for (const Arg &a : s.args)
      if (!allowed.count(a.key) && !(elements && IsElementKey(a.key))) return Fail(err, "unknown argument " + a.key + "=");
    return true;
  }

  bool NumberArg(const Step &s, const char *key, std::string &err) {
    const Arg *a = s.Find(key);
    if (a && a->value.kind != Value::Number && a->value.kind != Value::Ref)
      return Fail(err, std::string(key) + "= takes a number");
    return true;
  }

  bool CheckRef(const Value &v, std::string &err) {
    if (v.kind != Value::Ref) return true;
    size_t dot = v.text.find('.');
    std::string who = v.text.substr(0, dot), what = v.text.substr(dot + 1);
    if (who == "event") return what == "seq" ? true : Fail(err, "only $event.seq is known");
    if (who == "sent") return what == "invoke" ? true : Fail(err, "only $sent.invoke is known");
    auto it = requests.find(who);
    if (it == requests.end()) return Fail(err, "$" + who + ": no request of that name before this line");
    Field raw;
    if (!FindField(*it->second, what) && !ParseRawField(what, raw))
      return Fail(err, "$" + v.text + ": request " + who + " has no field " + what);
    return true;
  }

  bool Content(const Step &s, bool required, std::string &err) {
    int forms = s.Has("amhost") + s.Has("maint") + s.Has("acl") + s.Has("raw");
    if (forms > 1) return Fail(err, "give only one of amhost=, maint=, acl=, raw=");
    if (required && forms == 0) return Fail(err, "the private data needs amhost=, maint=, acl= or raw=");
    for (const char *k : {"action", "ref", "rep"})
      if (!NumberArg(s, k, err)) return false;
    for (const Arg &a : s.args)
      if (IsElementKey(a.key) && !s.Has("amhost")) return Fail(err, "element " + a.key + "= needs amhost=");
    return true;
  }

  bool Check(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    const std::string &verb = w[0];
    for (const Arg &a : s.args)
      if (!CheckRef(a.value, err)) return false;
    if (verb == "open") return w.size() == 1 && OnlyKeys(s, {"version"}, false, err) && NumberArg(s, "version", err);
    if (verb == "close" || verb == "link" || verb == "fetch") {
      if (verb == "close") return w.size() == 1 && s.args.empty() ? true : Fail(err, "close takes nothing");
      if (verb == "link") return w.size() == 2 && (w[1] == "up" || w[1] == "down") ? true : Fail(err, "link up|down");
      return w.size() == 2 && (w[1] == "on" || w[1] == "off") ? true : Fail(err, "fetch on|off");
    }
    if (verb == "note") return true;
    if (verb == "requires") return w.size() == 2 && w[1] == "timeout" ? true : Fail(err, "requires timeout");
    if (verb == "wait") {
      int64_t ms;
      return w.size() == 2 && ParseNumber(w[1], ms) && ms >= 0 && ms <= 600000 ? true
                                                                               : Fail(err, "wait takes milliseconds (0..600000)");
    }
    if (verb == "monitor") {
      if (w.size() == 2 && w[1] == "clear") return s.args.empty() ? true : Fail(err, "monitor clear takes nothing");
      if (w.size() == 3 && w[1] == "stop") return s.args.empty() ? true : Fail(err, "monitor stop DEVICE");
      if (w.size() == 3 && w[1] == "start") {
        const Arg *x = s.Find("xref");
        if (!x || x->value.kind != Value::Octets) return Fail(err, "monitor start needs xref=hex:...");
        return OnlyKeys(s, {"xref"}, false, err);
      }
      return Fail(err, "monitor start DEVICE xref=hex:.. | monitor stop DEVICE | monitor clear");
    }
    if (verb == "request") return Request(s, err);
    if (verb == "pbx") return Pbx(s, err);
    if (verb == "expect") return Expect(s, err);
    return Fail(err, "unknown step " + verb);
  }

  bool Request(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    if (w.size() != 3) return Fail(err, "request NAME TYPE [size=N] [field=value ...]");
    if (!IsName(w[1]) || w[1] == "event" || w[1] == "sent") return Fail(err, "bad request name " + w[1]);
    if (requests.count(w[1])) return Fail(err, "request name " + w[1] + " used twice");
    const StructInfo *si = FindStructure(w[2]);
    if (!si) return Fail(err, "unknown structure type " + w[2]);
    std::vector<uint8_t> scratch(kBlockRoom);
    for (const Arg &a : s.args) {
      if (a.key == "size") {
        if (a.value.kind != Value::Number || a.value.number < 0 || a.value.number > kBlockRoom)
          return Fail(err, "size= takes 0.." + std::to_string(kBlockRoom));
        continue;
      }
      Field raw;
      const Field *f = FindField(*si, a.key);
      if (!f && ParseRawField(a.key, raw)) f = &raw;
      if (!f) return Fail(err, std::string("structure ") + si->name + " has no field " + a.key);
      if (a.value.kind != Value::Ref && !PutField(scratch.data(), kBlockRoom, *f, a.value, err)) return false;
    }
    requests[w[1]] = si;
    return true;
  }

  bool Pbx(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    if (w.size() < 2) return Fail(err, "pbx result|bare|error|reject|silence|invoke ...");
    const std::string &what = w[1];
    if (what == "silence" || what == "take")
      return w.size() == 2 && s.args.empty() ? true : Fail(err, "pbx " + what + " takes nothing");
    if (!NumberArg(s, "keep", err)) return false;
    if (what == "bare" || what == "reject")
      return w.size() == 2 && OnlyKeys(s, {"invoke", "keep"}, false, err) && NumberArg(s, "invoke", err);
    if (what == "error")
      return w.size() == 2 && OnlyKeys(s, {"invoke", "code", "keep"}, false, err) && NumberArg(s, "invoke", err) &&
             NumberArg(s, "code", err);
    if (what == "result") {
      std::set<std::string> keys = kContentKeys;
      keys.insert({"invoke", "op", "agent", "state", "category", "xref", "keep"});
      if (w.size() != 2) return Fail(err, "pbx result [key=value ...]");
      return OnlyKeys(s, keys, true, err) && NumberArg(s, "invoke", err) && NumberArg(s, "op", err) &&
             NumberArg(s, "state", err) && NumberArg(s, "category", err) && Content(s, false, err);
    }
    if (what == "invoke") {
      if (w.size() < 3) return Fail(err, "pbx invoke agent|startpath|senddata|stoppath|cdr|escape ...");
      const std::string &kind = w[2];
      if (!NumberArg(s, "invoke", err)) return false;
      if (kind == "agent") {
        static const std::set<std::string> events = {"busy",     "loggedon", "loggedoff", "notready",
                                                     "ready",    "wac",      "autoanswer"};
        if (w.size() != 4 || !events.count(w[3]))
          return Fail(err, "pbx invoke agent busy|loggedon|loggedoff|notready|ready|wac|autoanswer xref=hex:..");
        if (!s.Has("xref")) return Fail(err, "an agent event needs xref=hex:..");
        return OnlyKeys(s, {"invoke", "xref", "device", "agent", "group", "private"}, false, err);
      }
      if (w.size() != 3) return Fail(err, "too many words");
      if (kind == "startpath")
        return OnlyKeys(s, {"invoke", "device", "element3", "private"}, false, err) && NumberArg(s, "element3", err);
      if (kind == "senddata" || kind == "stoppath") {
        if (!s.Has("xref")) return Fail(err, kind + " needs xref=hex:..");
        return OnlyKeys(s, {"invoke", "xref", "data"}, false, err);
      }
      if (kind == "cdr") {
        if (!OnlyKeys(s, {"invoke", "calling", "called", "account", "access", "duration", "carrier", "route",
                          "tariff", "created", "element20", "private", "supplementary"},
                      false, err))
          return false;
        for (const char *k : {"duration", "carrier", "route", "tariff", "supplementary"})
          if (!NumberArg(s, k, err)) return false;
        return true;
      }
      if (kind == "escape") {
        std::set<std::string> keys = kContentKeys;
        keys.insert("invoke");
        return OnlyKeys(s, keys, true, err) && Content(s, true, err);
      }
      return Fail(err, "unknown invocation " + kind);
    }
    return Fail(err, "pbx result|bare|error|reject|silence|take|invoke ...");
  }

  bool Expect(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    if (w.size() < 2) return Fail(err, "expect NAME ... | expect event TYPE ... | expect sent ... | expect nothing-sent | expect no-event");
    if (!NumberArg(s, "within", err)) return false;
    const std::string &what = w[1];
    if (what == "nothing-sent" || what == "no-event")
      return w.size() == 2 && OnlyKeys(s, {"within"}, false, err);
    if (what == "sent") {
      return w.size() == 2 &&
             OnlyKeys(s, {"within", "op", "invoke", "kind", "acl", "amhost", "maint", "ref", "raw"}, false, err) &&
             NumberArg(s, "op", err) && NumberArg(s, "invoke", err) && NumberArg(s, "maint", err) &&
             NumberArg(s, "ref", err);
    }
    if (what == "event") {
      int64_t type;
      if (w.size() != 3 || !ParseNumber(w[2], type) || EventName(uint32_t(type))[0] == '?')
        return Fail(err, "expect event TYPE (0x13, 0x32, 0x81, 0x92, 0x94, 0x96) [field=value ...]");
      std::set<std::string> keys = {"within", "device", "agent", "group", "kind", "state", "data"};
      for (const Field &f : EventHeaderFields(uint16_t(type))) keys.insert(f.name);
      return OnlyKeys(s, keys, false, err);
    }
    auto it = requests.find(what);
    if (it == requests.end()) return Fail(err, "expect: no request named " + what + " before this line");
    if (w.size() > 3 || (w.size() == 3 && w[2] != "pending" && w[2] != "none"))
      return Fail(err, "expect NAME [pending|none] [result=R] [field=value ...]");
    for (const Arg &a : s.args) {
      if (a.key == "within") continue;
      if (a.key == "result") {
        uint32_t r;
        std::string text = a.value.kind == Value::Number ? std::to_string(a.value.number) : a.value.text;
        if (!ParseResult(text, r)) return Fail(err, "unknown result " + text);
        continue;
      }
      Field raw;
      if (!FindField(*it->second, a.key) && !ParseRawField(a.key, raw))
        return Fail(err, std::string("structure ") + it->second->name + " has no field " + a.key);
    }
    return true;
  }
};

}  // namespace

bool ParseScenario(std::istream &in, const std::string &file, std::vector<Step> &steps,
                   std::vector<std::string> &errors) {
  Checker checker;
  std::string line;
  int number = 0;
  size_t errorsBefore = errors.size();
  while (std::getline(in, line)) {
    ++number;
    Step s;
    s.file = file;
    s.line = number;
    std::vector<std::string> tokens;
    std::string err;
    if (!Tokenize(line, tokens, err)) {
      errors.push_back(s.Where() + ": " + err);
      continue;
    }
    if (tokens.empty()) continue;
    size_t b = line.find_first_not_of(" \t"), e = line.find_last_not_of(" \t\r");
    s.source = line.substr(b, e - b + 1);
    bool ok = true;
    for (const std::string &t : tokens) {
      size_t eq = t[0] == '"' ? std::string::npos : t.find('=');
      if (eq == std::string::npos) {
        if (!s.args.empty() && s.words[0] != "note") {
          err = "word " + t + " after key=value arguments";
          ok = false;
          break;
        }
        s.words.push_back(t);
        continue;
      }
      Arg a;
      a.key = t.substr(0, eq);
      if (a.key.empty()) {
        err = "missing key before = in " + t;
        ok = false;
        break;
      }
      if (s.Find(a.key) && !IsElementKey(a.key)) {
        err = "argument " + a.key + "= given twice";
        ok = false;
        break;
      }
      if (!ParseValue(t.substr(eq + 1), a.value, err)) {
        ok = false;
        break;
      }
      s.args.push_back(a);
    }
    if (ok && s.words.empty()) err = "a step begins with a word", ok = false;
    if (ok) ok = checker.Check(s, err);
    if (!ok) {
      errors.push_back(s.Where() + ": " + err);
      continue;
    }
    steps.push_back(std::move(s));
  }
  return errors.size() == errorsBefore;
}

// ---------------------------------------------------------------------------
// The simulated PBX

namespace {

PrivateDataChoiceSeq *FirstItem(AsnList<CSTAPrivateData> *list) {
  if (!list || !list->First()) return nullptr;
  CSTAPrivateData &d = list->First()->elmt;
  if (d.choiceId != CSTAPrivateData::privateCid || !d.private_) return nullptr;
  if (d.private_->choiceId != PrivateDataChoice::comPrivateDataCid) return nullptr;
  return d.private_->comPrivateData;
}

const PrivateDataChoiceSeq *ItemOf(const CSTAMsg &msg) {
  if (msg.choiceId != CSTAMsg::rOSECid || !msg.rOSE || !msg.rOSE->alternative) return nullptr;
  const ROSEapdus &r = *msg.rOSE;
  if (r.choiceId == ROSEapdus::roiv_apduCid) {
    const ROIVapdu &iv = *r.roiv_apdu;
    if (!iv.argument) return nullptr;
    if (iv.operation_value.value == 51) {
      const auto *arg = static_cast<const EscapeArgument *>(iv.argument);
      if (arg->privateData && arg->privateData->choiceId == CSTAPrivateData::privateCid && arg->privateData->private_ &&
          arg->privateData->private_->choiceId == PrivateDataChoice::comPrivateDataCid)
        return arg->privateData->private_->comPrivateData;
      return nullptr;
    }
    if (iv.operation_value.value == 112) {
      const auto *arg = static_cast<const SendDataArgument *>(iv.argument);
      return arg->extensions ? FirstItem(arg->extensions->privateData) : nullptr;
    }
    return nullptr;
  }
  if (r.choiceId == ROSEapdus::rors_apduCid && r.rors_apdu->result && r.rors_apdu->result->result &&
      r.rors_apdu->result->operation_value.value == 51) {
    const auto *res = static_cast<const EscapeResult *>(r.rors_apdu->result->result);
    if (res->choiceId == EscapeResult::extensionsCid && res->extensions) return FirstItem(res->extensions->privateData);
  }
  return nullptr;
}

bool TripleOf(const std::string &text, char sep, int64_t out[3]) {
  std::stringstream ss(text);
  std::string part;
  int n = 0;
  while (std::getline(ss, part, sep)) {
    if (n == 3 || !ParseNumber(part, out[n])) return false;
    ++n;
  }
  return n == 3;
}

std::string TextOf(const Value &v) { return v.text; }  // numbers keep their written text

// Fills a fresh PBX private-data item from the content arguments of a step.
bool FillItem(const Step &s, PrivateDataChoiceSeq &item, std::string &err) {
  uint32_t action = s.Has("action") ? uint32_t(s.Find("action")->value.number) : 196;
  if (const Arg *raw = s.Find("raw")) {
    if (raw->value.kind != Value::Octets) return err = "raw= takes hex:..", false;
    // Kept as raw octets so that they travel exactly as written.
    item.SetRaw(raw->value.text.data(), raw->value.text.size());
  } else if (const Arg *am = s.Find("amhost")) {
    int64_t t[3];
    if (!TripleOf(TextOf(am->value), '/', t)) return err = "amhost= takes TYPE/SUBTYPE/THIRD", false;
    ACL2 *acl = item.NewAcl(ACL_APP_AMHOST, action);
    AMHOST *a = acl->SetAmhost(new AMHOST(uint32_t(t[0]), uint32_t(t[1]), uint32_t(t[2])));
    for (const Arg &e : s.args) {
      if (!IsElementKey(e.key)) continue;
      uint32_t id = uint32_t(std::stoi(e.key));
      const std::string text = TextOf(e.value);
      int64_t v3[3];
      switch (AmhostElementKind(id)) {
        case AMHOST_KIND_BYTE:
        case AMHOST_KIND_WORD:
          if (e.value.kind != Value::Number) return err = "element " + e.key + " takes a number", false;
          a->AddInt(id, int32_t(e.value.number));
          break;
        case AMHOST_KIND_TEXT: a->AddString(id, text.c_str()); break;
        case AMHOST_KIND_DATA: a->AddOcts(id, text.data(), text.size()); break;
        case AMHOST_KIND_TRIPLE:
          if (!TripleOf(text, ',', v3)) return err = "element " + e.key + " takes A,B,C", false;
          a->AddTriple(id, uint8_t(v3[0]), uint8_t(v3[1]), uint8_t(v3[2]));
          break;
        case AMHOST_KIND_BITFIELDS: {
          size_t slash = text.find('/');
          int64_t v, m;
          if (slash == std::string::npos || !ParseNumber(text.substr(0, slash), v) ||
              !ParseNumber(text.substr(slash + 1), m))
            return err = "element " + e.key + " takes VALUEBITS/VALIDITYBITS", false;
          a->AddBitfields(id, uint16_t(v), uint16_t(m));
          break;
        }
        case AMHOST_KIND_LED: {
          size_t c1 = text.find(','), c2 = c1 == std::string::npos ? c1 : text.find(',', c1 + 1);
          int64_t v1, v2;
          if (c2 == std::string::npos || !ParseNumber(text.substr(0, c1), v1) ||
              !ParseNumber(text.substr(c1 + 1, c2 - c1 - 1), v2))
            return err = "element " + e.key + " takes A,B,DATA", false;
          std::string data = text.substr(c2 + 1);
          a->AddLed(id, uint8_t(v1), uint8_t(v2), data.data(), data.size());
          break;
        }
        default: return err = "element " + e.key + " has no form the PBX writes", false;
      }
    }
  } else if (const Arg *mt = s.Find("maint")) {
    if (mt->value.kind != Value::Number) return err = "maint= takes the message type", false;
    ACL2 *acl = item.NewAcl(ACL_APP_MAINT, action);
    uint32_t ref = s.Has("ref") ? uint32_t(s.Find("ref")->value.number) : 0;
    MAINT *m = acl->SetMaint(new MAINT(uint32_t(mt->value.number), ref));
    int64_t v[3];
    if (const Arg *d = s.Find("date")) {
      if (!TripleOf(TextOf(d->value), '.', v)) return err = "date= takes D.M.Y", false;
      m->hasDate = true;
      for (int i = 0; i < 3; ++i) m->date[i] = uint8_t(v[i]);
    }
    if (const Arg *t = s.Find("time")) {
      if (!TripleOf(TextOf(t->value), ':', v)) return err = "time= takes H:M:S", false;
      m->hasTime = true;
      for (int i = 0; i < 3; ++i) m->time[i] = uint8_t(v[i]);
    }
    if (const Arg *r = s.Find("rep")) m->SetRepetitionTime(int32_t(r->value.number));
    if (const Arg *d = s.Find("data")) m->SetLoopData(d->value.text.data(), d->value.text.size());
  } else if (const Arg *acl = s.Find("acl")) {
    size_t slash = acl->value.text.find('/');
    int64_t app, act;
    if (slash == std::string::npos || !ParseNumber(acl->value.text.substr(0, slash), app) ||
        !ParseNumber(acl->value.text.substr(slash + 1), act))
      return err = "acl= takes APPLICATION/ACTION", false;
    item.NewAcl(uint32_t(app), uint32_t(act));
  }
  if (const Arg *oid = s.Find("oid")) {
    std::vector<uint32_t> arcs;
    std::stringstream ss(oid->value.text);
    std::string part;
    int64_t n;
    while (std::getline(ss, part, '.')) {
      if (!ParseNumber(part, n) || n < 0) return err = "oid= takes dotted numbers", false;
      arcs.push_back(uint32_t(n));
    }
    if (arcs.size() < 2 || arcs.size() > 11) return err = "oid= takes 2 to 11 arcs", false;
    arcs.resize(11, NO_ARC);
    item.manufacturer.SetArcs(arcs[0], arcs[1], arcs[2], arcs[3], arcs[4], arcs[5], arcs[6], arcs[7], arcs[8],
                              arcs[9], arcs[10]);
  }
  if (!s.Has("raw")) item.SyncOctets();
  return true;
}

// Common arguments with one PBX private-data item of raw (office-form) octets.
CSTACommonArguments *PrivateOctets(const std::string &octets) {
  auto *ext = new CSTACommonArguments;
  ext->privateData = new AsnList<CSTAPrivateData>;
  PrivateDataChoiceSeq *item = k3::NewPbxPrivateItem(*ext->privateData->Append());
  item->SetRaw(octets.data(), octets.size());  // travels as written; the receiver parses it
  return ext;
}

DeviceID *Device(const std::string &digits) {
  auto *d = new DeviceID;
  d->deviceIdentifier = new DeviceIDChoice;
  d->deviceIdentifier->choiceId = DeviceIDChoice::dialingNumberCid;
  d->deviceIdentifier->dialingNumber = new NumberDigits(digits.c_str());
  return d;
}

template <class Party>
Party *PartyOf(const Step &s, const char *key) {
  const Arg *a = s.Find(key);
  if (!a) return nullptr;
  auto *p = new Party;
  p->deviceIdentifier = Device(a->value.text);
  return p;
}

IOCrossRefID *CrossRef(const std::string &octets) {
  auto *x = new IOCrossRefID;
  x->choiceId = IOCrossRefID::computerProvidedCid;
  x->computerProvided = new AsnOcts(octets.data(), octets.size());
  return x;
}

template <class E>
AsnType *AgentEvent(const Step &s) {
  auto *e = new E;
  e->agentDevice = new SubjectDeviceID;
  e->agentDevice->choiceId = SubjectDeviceID::deviceIdentifierCid;
  e->agentDevice->deviceIdentifier = Device(s.Has("device") ? s.Find("device")->value.text : "100");
  if (const Arg *a = s.Find("agent")) e->agentID = new AgentID(a->value.text.data(), a->value.text.size());
  if (const Arg *g = s.Find("group")) e->acdGroup = Device(g->value.text);
  if (const Arg *p = s.Find("private")) e->extensions = PrivateOctets(p->value.text);
  return e;
}

bool BuildAgentReport(const Step &s, CSTAMsg &out, std::string &err) {
  using L = LogicalDeviceFeatureEvents;
  const std::string &which = s.words[3];
  AsnType *ev = nullptr;
  L::ChoiceIdEnum cid;
  if (which == "busy") cid = L::agentBusyCid, ev = AgentEvent<AgentBusyEvent>(s);
  else if (which == "loggedon") cid = L::agentLoggedOnCid, ev = AgentEvent<AgentLoggedOnEvent>(s);
  else if (which == "loggedoff") cid = L::agentLoggedOffCid, ev = AgentEvent<AgentLoggedOffEvent>(s);
  else if (which == "notready") cid = L::agentNotReadyCid, ev = AgentEvent<AgentNotReadyEvent>(s);
  else if (which == "ready") cid = L::agentReadyCid, ev = AgentEvent<AgentReadyEvent>(s);
  else if (which == "wac") cid = L::agentWorkingAfterCallCid, ev = AgentEvent<AgentWorkingAfterCallEvent>(s);
  else {
    cid = L::autoAnswerCid;
    auto *aa = new AutoAnswerEvent;
    aa->invokingDevice = new SubjectDeviceID;
    aa->invokingDevice->choiceId = SubjectDeviceID::deviceIdentifierCid;
    aa->invokingDevice->deviceIdentifier = Device(s.Has("device") ? s.Find("device")->value.text : "100");
    aa->autoAnswerOn.Set(true);
    ev = aa;
  }
  auto *arg = new CSTAEventReportArgument;
  const Arg *x = s.Find("xref");
  if (x->value.kind != Value::Octets) {
    delete ev;
    delete arg;
    return err = "xref= takes hex:..", false;
  }
  arg->crossRefIdentifier.Set(x->value.text.data(), x->value.text.size());
  arg->eventSpecificInfo = new EventSpecificInfo;
  arg->eventSpecificInfo->choiceId = EventSpecificInfo::logicalDeviceFeatureEventsCid;
  L *events = arg->eventSpecificInfo->logicalDeviceFeatureEvents = new L;
  events->choiceId = cid;
  events->alternative = ev;
  k3::BuildInvoke(out, 21, arg);
  return true;
}

bool BuildCdr(const Step &s, CSTAMsg &out, std::string &err) {
  auto *arg = new CDRReportArgument;
  k3::BuildInvoke(out, 361, arg);  // owned by the message from here on
  arg->numberOfRecordsSent.Set(1);
  CDRInformationItem &item = *(arg->cdrInfo = new CDRInfo)->Append();
  item.recordCreationTime.Set(s.Has("created") ? s.Find("created")->value.text.c_str() : "20261123081530Z");
  item.callingDevice = PartyOf<CallingDeviceID>(s, "calling");
  item.calledDevice = PartyOf<CalledDeviceID>(s, "called");
  if (const Arg *a = s.Find("access")) item.accessCode = new AsnOcts(a->value.text.data(), a->value.text.size());
  if (const Arg *a = s.Find("account")) item.accountInfo = new AccountInfo(a->value.text.data(), a->value.text.size());
  if (const Arg *a = s.Find("duration")) item.connectionDuration = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("carrier")) item.carrier = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("route")) item.selectedRoute = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("tariff")) item.tariffTable = new AsnInt(int32_t(a->value.number));
  if (const Arg *a = s.Find("supplementary")) {
    // Bits by number (bit 0 first), as a mask: 0x204 sets bits 2 and 9.
    item.supplServiceInfo = new SupplServiceInfo(16);
    for (int b = 0; b < 16; ++b)
      if (uint32_t(a->value.number) >> b & 1) item.supplServiceInfo->SetBit(size_t(b));
  }
  std::string priv;
  if (const Arg *p = s.Find("private")) priv = p->value.text;
  if (const Arg *e = s.Find("element20")) {
    // Private element 20: two one-octet time parts and two texts, "M1,M2,TEXT1,TEXT2".
    std::vector<std::string> parts;
    std::stringstream ss(e->value.text);
    std::string part;
    while (std::getline(ss, part, ',')) parts.push_back(part);
    int64_t m1, m2;
    if (parts.size() != 4 || !ParseNumber(parts[0], m1) || !ParseNumber(parts[1], m2) || parts[2].size() > 60 ||
        parts[3].size() > 60)
      return err = "element20= takes M1,M2,TEXT1,TEXT2", false;
    std::string body = {char(1), char(m1), char(1), char(m2), char(parts[2].size())};
    body += parts[2];
    body.push_back(char(parts[3].size()));
    body += parts[3];
    priv += std::string{char(0xE4), char(body.size() + 2)} + body;
  }
  if (!priv.empty()) arg->extensions = PrivateOctets(priv);
  return true;
}

}  // namespace

MessageFacts FactsOf(const CSTAMsg &msg) {
  MessageFacts f;
  if (msg.choiceId == CSTAMsg::aCSECid) {
    f.kind = "acse";
    return f;
  }
  f.kind = "?";
  if (!msg.rOSE || !msg.rOSE->alternative) return f;
  const ROSEapdus &r = *msg.rOSE;
  switch (r.choiceId) {
    case ROSEapdus::roiv_apduCid:
      f.kind = "invoke";
      f.invokeId = r.roiv_apdu->invokeID.value;
      f.operation = r.roiv_apdu->operation_value.value;
      break;
    case ROSEapdus::rors_apduCid:
      f.kind = "result";
      f.invokeId = r.rors_apdu->invokeID.value;
      if (r.rors_apdu->result) f.operation = r.rors_apdu->result->operation_value.value;
      break;
    case ROSEapdus::roer_apduCid:
      f.kind = "error";
      f.invokeId = r.roer_apdu->invokeID.value;
      break;
    case ROSEapdus::rorj_apduCid:
      f.kind = "reject";
      if (r.rorj_apdu->invokeID && r.rorj_apdu->invokeID->choiceId == RORJapduChoice::presentCid &&
          r.rorj_apdu->invokeID->present)
        f.invokeId = r.rorj_apdu->invokeID->present->value;
      break;
  }
  if (const PrivateDataChoiceSeq *item = ItemOf(msg)) {
    f.privateOctets = item->RawOctets().Str();
    if (const ACL2 *acl = item->Acl()) {
      f.hasAcl = true;
      f.aclApplication = acl->application;
      f.aclAction = acl->action;
      if (acl->amhost) {
        f.hasAmhost = true;
        f.amhostType = acl->amhost->nounNr, f.amhostSub = acl->amhost->verbNr, f.amhostThird = acl->amhost->messageType;
      }
      if (acl->maint) f.hasMaint = true, f.maintAlt = acl->maint->messageType, f.maintRef = acl->maint->crossRef;
    }
  }
  return f;
}

bool CheckFacts(const MessageFacts &f, const Step &s, std::string &err) {
  std::vector<std::string> bad;
  auto num = [&](const char *key, bool present, int64_t actual) {
    const Arg *a = s.Find(key);
    if (!a) return;
    if (!present) bad.push_back(std::string(key) + " absent, expected " + std::to_string(a->value.number));
    else if (actual != a->value.number)
      bad.push_back(std::string(key) + " is " + std::to_string(actual) + ", expected " + std::to_string(a->value.number));
  };
  num("op", f.operation >= 0, f.operation);
  num("invoke", f.invokeId >= 0, f.invokeId);
  num("maint", f.hasMaint, f.maintAlt);
  num("ref", f.hasMaint, f.maintRef);
  if (const Arg *a = s.Find("kind"))
    if (a->value.text != f.kind) bad.push_back("kind is " + f.kind + ", expected " + a->value.text);
  if (const Arg *a = s.Find("acl")) {
    std::string actual = f.hasAcl ? std::to_string(f.aclApplication) + "/" + std::to_string(f.aclAction) : "none";
    if (actual != a->value.text) bad.push_back("acl is " + actual + ", expected " + a->value.text);
  }
  if (const Arg *a = s.Find("amhost")) {
    std::string actual = f.hasAmhost ? std::to_string(f.amhostType) + "/" + std::to_string(f.amhostSub) + "/" +
                                           std::to_string(f.amhostThird)
                                     : "none";
    if (actual != a->value.text) bad.push_back("amhost is " + actual + ", expected " + a->value.text);
  }
  if (const Arg *a = s.Find("raw"))
    if (a->value.text != f.privateOctets)
      bad.push_back("private octets are hex:" + HexOf(f.privateOctets.data(), f.privateOctets.size()) +
                    ", expected hex:" + HexOf(a->value.text.data(), a->value.text.size()));
  err.clear();
  for (size_t i = 0; i < bad.size(); ++i) err += (i ? "; " : "") + bad[i];
  return bad.empty();
}

bool BuildAnswer(const Step &s, const CSTAMsg &answered, CSTAMsg &out, std::string &err) {
  MessageFacts facts = FactsOf(answered);
  int64_t id = s.Has("invoke") ? s.Find("invoke")->value.number : facts.invokeId;
  if (!s.Has("invoke") && facts.kind != "invoke")
    return err = "the message to answer is a " + facts.kind + ", not an invocation; give invoke=", false;
  const std::string &what = s.words[1];
  out.choiceId = CSTAMsg::rOSECid;
  if (what == "error") {
    out.rOSE = new ROSEapdus;
    out.rOSE->choiceId = ROSEapdus::roer_apduCid;
    out.rOSE->roer_apdu = new ROERapdu;
    out.rOSE->roer_apdu->invokeID.Set(int32_t(id));
    out.rOSE->roer_apdu->error_value.Set(s.Has("code") ? int32_t(s.Find("code")->value.number) : 1);
    return true;
  }
  if (what == "reject") {
    out.rOSE = new ROSEapdus;
    out.rOSE->choiceId = ROSEapdus::rorj_apduCid;
    RORJapdu *rj = out.rOSE->rorj_apdu = new RORJapdu;
    rj->invokeID = new RORJapduChoice;
    rj->invokeID->choiceId = RORJapduChoice::presentCid;
    rj->invokeID->present = new AsnInt(int32_t(id));
    rj->problem = new RORJapduChoice1;
    rj->problem->choiceId = RORJapduChoice1::generalCid;
    rj->problem->general = new GeneralProblem(0);
    return true;
  }
  if (what == "bare") {
    out.rOSE = new ROSEapdus;
    out.rOSE->choiceId = ROSEapdus::rors_apduCid;
    out.rOSE->rors_apdu = new RORSapdu;
    out.rOSE->rors_apdu->invokeID.Set(int32_t(id));
    return true;
  }
  int32_t op = s.Has("op") ? int32_t(s.Find("op")->value.number) : facts.operation;
  // Private-data content belongs to an escape result, also with nothing to copy the operation from.
  if (op < 0 && (s.Has("amhost") || s.Has("maint") || s.Has("acl") || s.Has("raw"))) op = 51;
  AsnType *result = nullptr;
  switch (op) {
    case 51: {
      auto *res = new EscapeResult;
      k3::BuildResult(out, op, res);
      bool content = s.Has("amhost") || s.Has("maint") || s.Has("acl") || s.Has("raw");
      if (!content) {
        res->choiceId = EscapeResult::noDataCid;
        res->noData = new AsnNull;
      } else {
        res->choiceId = EscapeResult::extensionsCid;
        res->extensions = new CSTACommonArguments;
        res->extensions->privateData = new AsnList<CSTAPrivateData>;
        if (!FillItem(s, *k3::NewPbxPrivateItem(*res->extensions->privateData->Append()), err)) return false;
      }
      k3::SetInvokeId(out, uint32_t(id));
      return true;
    }
    case 304: {
      auto *res = new GetAgentStateResult;
      res->agentStateList = new AgentStateList;
      if (s.Has("agent") || s.Has("state")) {
        AgentStateEntry &e = *res->agentStateList->Append();
        if (const Arg *a = s.Find("agent")) e.agentID = new AgentID(a->value.text.data(), a->value.text.size());
        e.loggedOn.Set(true);
        if (const Arg *st = s.Find("state")) {
          e.agentInfo = new AsnList<AgentInfo>;
          e.agentInfo->Append()->agentState.Set(int32_t(st->value.number));
        }
      }
      result = res;
      break;
    }
    case 202: {
      auto *res = new GetPhysicalDeviceInformationResult;
      if (const Arg *c = s.Find("category")) res->deviceCategory = new DeviceCategory(int32_t(c->value.number));
      result = res;
      break;
    }
    case 363: {
      auto *res = new StartCDRTransmissionResult;
      std::string x = s.Has("xref") ? s.Find("xref")->value.text : std::string("\x01", 1);
      res->cdrCrossRefID.Set(x.data(), x.size());
      result = res;
      break;
    }
    case 364: {
      auto *res = new StopCDRTransmissionResult;
      res->choiceId = StopCDRTransmissionResult::noDataCid;
      res->noData = new AsnNull;
      result = res;
      break;
    }
    case 312: result = new SetAgentStateResult; break;
    case 112: {
      auto *res = new SendDataResult;
      res->choiceId = SendDataResult::noDataCid;
      res->noData = new AsnNull;
      result = res;
      break;
    }
    default:
      return err = "no result form for operation " + std::to_string(op) + "; use pbx bare, error or reject", false;
  }
  k3::BuildResult(out, op, result);
  k3::SetInvokeId(out, uint32_t(id));
  return true;
}

bool BuildInvocation(const Step &s, uint32_t invokeId, CSTAMsg &out, std::string &err) {
  const std::string &kind = s.words[2];
  bool ok = true;
  if (kind == "agent") {
    ok = BuildAgentReport(s, out, err);
  } else if (kind == "startpath") {
    auto *arg = new StartDataPathArgument;
    arg->object = new CSTAObject;
    arg->object->choiceId = CSTAObject::deviceObjectCid;
    arg->object->deviceObject = Device(s.Has("device") ? s.Find("device")->value.text : "100");
    std::string priv;
    if (const Arg *p = s.Find("private")) priv = p->value.text;
    if (const Arg *e = s.Find("element3")) priv += std::string{char(0xE0), 5, char(e->value.number), 0, 0};
    if (!priv.empty()) arg->extensions = PrivateOctets(priv);
    k3::BuildInvoke(out, 110, arg);
  } else if (kind == "senddata" || kind == "stoppath") {
    const Arg *x = s.Find("xref");
    if (x->value.kind != Value::Octets) return err = "xref= takes hex:..", false;
    if (kind == "senddata") {
      auto *arg = new SendDataArgument;
      arg->ioCrossRefID = CrossRef(x->value.text);
      if (const Arg *d = s.Find("data")) arg->ioData.Set(d->value.text.data(), d->value.text.size());
      k3::BuildInvoke(out, 112, arg);
    } else {
      auto *arg = new StopDataPathArgument;
      arg->ioCrossRefID = CrossRef(x->value.text);
      k3::BuildInvoke(out, 111, arg);
    }
  } else if (kind == "cdr") {
    ok = BuildCdr(s, out, err);
  } else if (kind == "escape") {
    PrivateDataChoiceSeq *item = k3::BuildEscapeInvokeRaw(out);
    ok = FillItem(s, *item, err);
  } else {
    return err = "unknown invocation " + kind, false;
  }
  if (ok) k3::SetInvokeId(out, invokeId);
  return ok;
}

bool RoundTrip(const CSTAMsg &msg, CSTAMsg &out, std::vector<unsigned char> &ber, std::string &err) {
  if (!EncodeToVector(msg, ber) || ber.empty()) return err = "the message could not be encoded", false;
  std::ostringstream lines;
  AsnLen used = 0;
  int rc = DecodeFrom(ber.data(), ber.size(), out, lines, &used);
  if (rc != 0) {
    std::string text = lines.str();
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return err = "decoding the encoded message failed (" + std::to_string(rc) + "): " + text, false;
  }
  if (used != ber.size()) return err = "decoding used " + std::to_string(used) + " of " + std::to_string(ber.size()) + " octets", false;
  return true;
}

}  // namespace k3s
