// csta3-decode: prints BER-encoded CSTAMsg octets: one message, or with --stream
// many back to back, as a link capture holds them.
//   csta3-decode [--tagged] [--reencode] [--stream] [--summary] FILE   binary octets ("-": standard input)
//   csta3-decode [--tagged] [--reencode] [--stream] [--summary] --hex  hex text from standard input
// Exit status: 0 every message decoded, 1 some did not, 2 usage or input error.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

#include "tools/csta3-decode/stream.h"

namespace {

int Usage() {
  std::cerr << "usage: csta3-decode [--tagged] [--reencode] [--stream] [--summary] (--hex | FILE | -)\n";
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
  std::ios::sync_with_stdio(false);
  k3decode::PrintOptions opt;
  bool hex = false, stream = false;
  const char *file = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--tagged")) {
      opt.tagged = true;
    } else if (!std::strcmp(argv[i], "--reencode")) {
      opt.reencode = true;
    } else if (!std::strcmp(argv[i], "--summary")) {
      opt.summary = true;
    } else if (!std::strcmp(argv[i], "--stream")) {
      stream = true;
    } else if (!std::strcmp(argv[i], "--hex")) {
      hex = true;
    } else if ((argv[i][0] == '-' && argv[i][1] != '\0') || file) {
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
  } else if (!std::strcmp(file, "-")) {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    octets.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::cerr << "csta3-decode: cannot read " << file << "\n";
      return 2;
    }
    octets.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  if (!stream) return k3decode::DecodeOne(octets.data(), octets.size(), opt, std::cout);
  if (octets.empty()) {
    std::cerr << "csta3-decode: the stream is empty\n";
    return 2;
  }
  return k3decode::DecodeStream(octets.data(), octets.size(), opt, std::cout).Errors() ? 1 : 0;
}
