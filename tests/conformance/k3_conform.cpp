// k3-conform: the Kestrel3 side of the conformance suite against the Erlang judge.
//   k3-conform decode          lines "LABEL HEX" on standard input, each one whole
//                              CSTAMsg; writes "LABEL RC CLASS HEX" per line: the
//                              decode result, the class of the open argument,
//                              result or parameter, and our re-encoding
//   k3-conform fill COUNT SEED writes "LABEL HEX" lines of filled messages: every
//                              argument and result class of the operation table,
//                              the error parameter, rejects and the event report
#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include "csta3_model.h"
#include "tests/csta3/fill_support.h"

using namespace CSTA3V6;

namespace {

std::string ClassName(const AsnType *t) {
  if (!t) return "-";
  int status = 0;
  char *d = abi::__cxa_demangle(typeid(*t).name(), nullptr, nullptr, &status);
  std::string n = status == 0 && d ? d : typeid(*t).name();
  std::free(d);
  size_t colons = n.rfind("::");
  return colons == std::string::npos ? n : n.substr(colons + 2);
}

std::string Hex(const std::vector<unsigned char> &v) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  s.reserve(v.size() * 2);
  for (unsigned char c : v) {
    s += digits[c >> 4];
    s += digits[c & 15];
  }
  return s;
}

bool Unhex(const std::string &s, std::vector<unsigned char> &out) {
  if (s.size() % 2 || s.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return false;
  for (size_t i = 0; i < s.size(); i += 2)
    out.push_back(static_cast<unsigned char>(std::stoi(s.substr(i, 2), nullptr, 16)));
  return true;
}

// The open value that the factories chose for a decoded message.
const AsnType *OpenValue(const CSTAMsg &m) {
  if (m.choiceId != CSTAMsg::rOSECid || !m.rOSE) return nullptr;
  const ROSEapdus &r = *m.rOSE;
  switch (r.choiceId) {
    case ROSEapdus::roiv_apduCid: return r.roiv_apdu ? r.roiv_apdu->argument : nullptr;
    case ROSEapdus::rors_apduCid: return r.rors_apdu && r.rors_apdu->result ? r.rors_apdu->result->result : nullptr;
    case ROSEapdus::roer_apduCid: return r.roer_apdu ? r.roer_apdu->parameter : nullptr;
    default: return nullptr;
  }
}

int Decode() {
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream in(line);
    std::string label, hex;
    if (!(in >> label >> hex)) continue;
    std::vector<unsigned char> octets;
    if (!Unhex(hex, octets)) {
      std::cout << label << " bad-hex - -\n";
      continue;
    }
    CSTAMsg msg;
    std::ostringstream err;
    AsnLen used = 0;
    int rc = DecodeFrom(octets.data(), octets.size(), msg, err, &used);
    if (rc == 0 && used != octets.size()) rc = 1;  // trailing octets: not one whole message
    std::string cls = ClassName(OpenValue(msg));
    if (rc != 0) {
      std::string why = err.str();
      for (char &c : why)
        if (c == '\n' || c == ' ') c = '_';
      std::cout << label << ' ' << rc << ' ' << cls << " - " << why << '\n';
      continue;
    }
    // Printing walks every decoded component; a fault shows under the sanitizers.
    std::string text = AsnPrintToString(msg);
    if (text.empty()) rc = 2;
    std::cout << label << ' ' << rc << ' ' << cls << ' ' << Hex(EncodeToVector(msg)) << '\n';
  }
  return 0;
}

void Emit(const std::string &label, const CSTAMsg &m) { std::cout << label << ' ' << Hex(EncodeToVector(m)) << '\n'; }

CSTAMsg *NewRose(ROSEapdus::ChoiceIdEnum which) {
  auto *m = new CSTAMsg;
  m->choiceId = CSTAMsg::rOSECid;
  m->rOSE = new ROSEapdus;
  m->rOSE->choiceId = which;
  return m;
}

// Every class the factories know, COUNT variants each from SEED on; the event
// report walks its category and event alternatives with extra variants.
int FillAll(int count, int seed) {
  std::unordered_map<std::string, void (*)(AsnType &, int)> fill;
  for (size_t i = 0; i < kCaseCount; ++i) fill[kCases[i].name] = kCases[i].fill;
  int invokeId = 1;
  for (int op = 0; op < 1024; ++op) {
    for (int res = 0; res < 2; ++res) {
      std::unique_ptr<AsnType> probe(res ? ResultFactory(op) : ArgumentFactory(op));
      std::string cls = ClassName(probe.get());
      if (cls == "AsnType") continue;
      auto f = fill.find(cls);
      if (f == fill.end()) {
        std::cerr << "k3-conform: no filler for " << cls << "\n";
        return 1;
      }
      int n = op == 21 ? std::max(count, 8 * 18) : count;
      for (int i = 0; i < n; ++i) {
        AsnType *v = res ? ResultFactory(op) : ArgumentFactory(op);
        f->second(*v, seed * 7919 + i);
        std::unique_ptr<CSTAMsg> m(NewRose(res ? ROSEapdus::rors_apduCid : ROSEapdus::roiv_apduCid));
        if (res) {
          m->rOSE->rors_apdu = new RORSapdu;
          m->rOSE->rors_apdu->invokeID.value = invokeId++;
          m->rOSE->rors_apdu->result = new RORSapduSeq;
          m->rOSE->rors_apdu->result->operation_value.value = op;
          m->rOSE->rors_apdu->result->result = v;
        } else {
          m->rOSE->roiv_apdu = new ROIVapdu;
          m->rOSE->roiv_apdu->invokeID.value = invokeId++;
          m->rOSE->roiv_apdu->operation_value.value = op;
          m->rOSE->roiv_apdu->argument = v;
        }
        Emit(std::string(res ? "res:" : "arg:") + std::to_string(op) + ':' + cls, *m);
      }
    }
  }
  auto f = fill.find("UniversalFailure");
  for (int i = 0; i < std::max(count, 8 * 4); ++i) {
    std::unique_ptr<CSTAMsg> m(NewRose(ROSEapdus::roer_apduCid));
    m->rOSE->roer_apdu = new ROERapdu;
    m->rOSE->roer_apdu->invokeID.value = invokeId++;
    m->rOSE->roer_apdu->error_value.value = 1;
    m->rOSE->roer_apdu->parameter = ParameterFactory(1);
    f->second(*m->rOSE->roer_apdu->parameter, seed * 7919 + i);
    Emit("err:1:UniversalFailure", *m);
  }
  for (int i = 0; i < std::max(count, 8); ++i) {
    std::unique_ptr<CSTAMsg> m(NewRose(ROSEapdus::rorj_apduCid));
    m->rOSE->rorj_apdu = new RORJapdu;
    fill.at("RORJapdu")(*m->rOSE->rorj_apdu, seed * 7919 + i);
    Emit("rej:0:-", *m);
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 2 && !std::strcmp(argv[1], "decode")) return Decode();
  if (argc == 4 && !std::strcmp(argv[1], "fill")) return FillAll(std::atoi(argv[2]), std::atoi(argv[3]));
  std::cerr << "usage: k3-conform decode | k3-conform fill COUNT SEED\n";
  return 2;
}
