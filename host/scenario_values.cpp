// k3-scenario, portable half: the values a scenario writes (numbers, texts,
// octets, references) and the small text helpers the other files share.
#include <cctype>
#include <sstream>

#include "host/scenario_detail.h"

namespace k3s {
namespace detail {

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

std::string Upper(std::string s) {
  for (char &c : s) c = char(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

std::string Quoted(const std::string &s) {
  std::string q = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') q.push_back('\\'), q.push_back(char(c));
    else if (c < 32 || c > 126) q += "\\x" + HexOf(&c, 1);
    else q.push_back(char(c));
  }
  return q + "\"";
}

bool IsElementKey(const std::string &k) {
  if (k.empty() || k.size() > 3) return false;
  for (char c : k)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  return std::stoi(k) <= 255;
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

}  // namespace detail

using detail::HexDigit;
using detail::ParseNumber;
using detail::Quoted;

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

}  // namespace k3s
