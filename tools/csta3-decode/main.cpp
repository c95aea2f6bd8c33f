// csta3-decode: prints one BER-encoded CSTAMsg.
//   csta3-decode [--tagged] [--reencode] FILE      binary octets from FILE
//   csta3-decode [--tagged] [--reencode] --hex     hex text from standard input
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "csta3_model.h"

namespace {

int Usage() {
  std::cerr << "usage: csta3-decode [--tagged] [--reencode] (--hex | FILE)\n";
  return 2;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Hex digits, optionally separated by blanks, commas or "0x" prefixes.
bool ParseHex(const std::string &text, std::vector<unsigned char> &out) {
  int high = -1;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '0' && i + 1 < text.size() && (text[i + 1] == 'x' || text[i + 1] == 'X') && high < 0) {
      ++i;
      continue;
    }
    int v = HexValue(c);
    if (v < 0) {
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',' || c == ':') continue;
      return false;
    }
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<unsigned char>(high * 16 + v));
      high = -1;
    }
  }
  return high < 0;
}

}  // namespace

int main(int argc, char **argv) {
  bool tagged = false, reencode = false, hex = false;
  const char *file = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--tagged")) {
      tagged = true;
    } else if (!std::strcmp(argv[i], "--reencode")) {
      reencode = true;
    } else if (!std::strcmp(argv[i], "--hex")) {
      hex = true;
    } else if (argv[i][0] == '-' || file) {
      return Usage();
    } else {
      file = argv[i];
    }
  }
  if (hex == (file != nullptr)) return Usage();

  std::vector<unsigned char> octets;
  if (hex) {
    std::string text((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
    if (!ParseHex(text, octets)) {
      std::cerr << "csta3-decode: input is not hex text\n";
      return 2;
    }
  } else {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::cerr << "csta3-decode: cannot read " << file << "\n";
      return 2;
    }
    octets.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  using namespace CSTA3V6;
  CSTAMsg msg;
  std::ostringstream err;
  AsnLen used = 0;
  int rc = DecodeFrom(octets.data(), octets.size(), msg, err, &used);
  if (rc != 0) {
    std::cout << err.str() << "decode error " << rc << "\n";
    return 1;
  }
  AsnPrintStream ps(std::cout, tagged);
  ps << msg;
  ps.Newline();
  if (used != octets.size()) std::cout << "(" << octets.size() - used << " octets after the message ignored)\n";
  if (reencode) {
    std::vector<unsigned char> enc = EncodeToVector(msg);
    for (size_t i = 0; i < enc.size(); ++i) {
      char b[4];
      std::snprintf(b, sizeof b, "%02X", enc[i]);
      std::cout << (i ? " " : "") << b;
    }
    std::cout << "\n";
  }
  return 0;
}
