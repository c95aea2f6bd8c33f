#include "tools/csta3-decode/stream.h"

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <vector>

#include "csta3_model.h"
#include "csta3_names.h"

namespace k3decode {

using namespace CSTA3V6;

namespace {

const char *const kKinds[] = {"roiv-apdu", "rors-apdu", "roer-apdu", "rorj-apdu"};
const char *const kAcseKinds[] = {"aarq-apdu", "aare-apdu", "rlrq-apdu", "rlre-apdu", "abrt-apdu"};
const char *const kProblems[] = {"general", "invoke", "returnResult", "returnError"};

std::string Operation(int32_t value) {
  const char *name = OperationName(value);
  return name ? std::string(name) : "operation-value " + std::to_string(value);
}

// The decoder's error lines as one line.
std::string OneLine(const std::string &text) {
  std::string s;
  for (char c : text) {
    if (c == '\r') continue;
    s += c == '\n' ? ' ' : c;
  }
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

void PutHex(std::ostream &out, const std::vector<unsigned char> &octets) {
  char b[4];
  for (size_t i = 0; i < octets.size(); ++i) {
    std::snprintf(b, sizeof b, i ? " %02X" : "%02X", octets[i]);
    out << b;
  }
  out << "\n";
}

// Kind, invoke id and operation or outcome of one decoded message; counts it.
std::string Describe(const CSTAMsg &msg, StreamStats *stats) {
  std::string kind, what, id;
  if (msg.choiceId == CSTAMsg::aCSECid) {
    kind = "aCSE";
    what = msg.aCSE && msg.aCSE->choiceId <= ACSE_apdu::abrtCid ? kAcseKinds[msg.aCSE->choiceId] : "?";
  } else if (const ROSEapdus *r = msg.rOSE) {
    kind = r->choiceId <= ROSEapdus::rorj_apduCid ? kKinds[r->choiceId] : "?";
    switch (r->choiceId) {
      case ROSEapdus::roiv_apduCid:
        id = std::to_string(int32_t(r->roiv_apdu->invokeID));
        what = Operation(r->roiv_apdu->operation_value);
        break;
      case ROSEapdus::rors_apduCid:
        id = std::to_string(int32_t(r->rors_apdu->invokeID));
        what = r->rors_apdu->result ? Operation(r->rors_apdu->result->operation_value) + " result" : "no result";
        break;
      case ROSEapdus::roer_apduCid:
        id = std::to_string(int32_t(r->roer_apdu->invokeID));
        what = "error " + std::to_string(int32_t(r->roer_apdu->error_value));
        break;
      case ROSEapdus::rorj_apduCid: {
        const RORJapdu *j = r->rorj_apdu;
        id = j->invokeID && j->invokeID->choiceId == RORJapduChoice::presentCid && j->invokeID->present
                 ? std::to_string(int32_t(*j->invokeID->present))
                 : "NULL";
        what = "reject";
        if (j->problem && j->problem->choiceId <= RORJapduChoice1::returnErrorCid && j->problem->alternative) {
          what += std::string(" ") + kProblems[j->problem->choiceId] + " " +
                  std::to_string(int32_t(*static_cast<const AsnInt *>(j->problem->alternative)));
        }
        break;
      }
    }
  } else {
    kind = "?";
  }
  if (stats) ++stats->byKind[kind][what.empty() ? kind : what];
  std::string line = kind;
  if (!id.empty()) line += " invokeID=" + id;
  if (!what.empty()) line += " " + what;
  return line;
}

void PrintFull(const CSTAMsg &msg, const PrintOptions &opt, std::ostream &out) {
  // The print flushes at every line end: collect it, so a long capture is not
  // written line by line.
  std::ostringstream text;
  AsnPrintStream ps(text, opt.tagged);
  ps << msg;
  ps.Newline();
  out << text.str();
  if (opt.reencode) PutHex(out, EncodeToVector(msg));
}

void PrintSummary(const StreamStats &s, size_t len, std::ostream &out) {
  out << "-- " << s.decoded + s.failed << " messages in " << len << " octets: " << s.decoded << " decoded, "
      << s.failed << " failed";
  if (s.skippedRegions)
    out << "; " << s.skippedOctets << " octets skipped in " << s.skippedRegions
        << (s.skippedRegions == 1 ? " place" : " places");
  out << "\n";
  for (const char *name : {"roiv-apdu", "rors-apdu", "roer-apdu", "rorj-apdu", "aCSE", "?"}) {
    auto kind = s.byKind.find(name);
    if (kind == s.byKind.end()) continue;
    size_t total = 0;
    for (const auto &op : kind->second) total += op.second;
    out << "   " << total << " " << name << ":";
    const char *sep = " ";
    for (const auto &op : kind->second) {
      out << sep << op.second << " " << op.first;
      sep = ", ";
    }
    out << "\n";
  }
}

}  // namespace

size_t FrameLength(const unsigned char *data, size_t len) {
  if (len < 2) return 0;
  unsigned char tag = data[0];
  if (!((tag >= 0x60 && tag <= 0x64) || (tag >= 0xA1 && tag <= 0xA4))) return 0;
  unsigned char first = data[1];
  if (first == 0x80) return SIZE_MAX;
  size_t header = 2, content = first;
  if (first > 0x80) {
    size_t n = first & 0x7F;
    if (n > 4 || len < 2 + n) return 0;
    content = 0;
    for (size_t i = 0; i < n; ++i) content = content << 8 | data[2 + i];
    header += n;
  }
  if (content > len - header) return 0;
  return header + content;
}

int DecodeOne(const unsigned char *data, size_t len, const PrintOptions &opt, std::ostream &out) {
  CSTAMsg msg;
  std::ostringstream err;
  AsnLen used = 0;
  int rc = DecodeFrom(data, len, msg, err, &used);
  if (rc != 0) {
    if (opt.summary)
      out << "@0 decode error " << rc << ": " << OneLine(err.str()) << "\n";
    else
      out << err.str() << "decode error " << rc << "\n";
    return 1;
  }
  if (opt.summary) {
    out << "@0 " << used << " " << Describe(msg, nullptr) << "\n";
  } else {
    PrintFull(msg, opt, out);
  }
  if (used != len) out << "(" << len - used << " octets after the message ignored)\n";
  return 0;
}

StreamStats DecodeStream(const unsigned char *data, size_t len, const PrintOptions &opt, std::ostream &out) {
  StreamStats stats;
  size_t off = 0;
  while (off < len) {
    CSTAMsg msg;
    std::ostringstream err;
    AsnLen used = 0;
    int rc = DecodeFrom(data + off, len - off, msg, err, &used);
    if (rc == 0 && used > 0) {
      ++stats.decoded;
      std::string line = Describe(msg, &stats);
      if (opt.summary) {
        out << "@" << off << " " << used << " " << line << "\n";
      } else {
        out << "@" << off << " length " << used << "\n";
        PrintFull(msg, opt, out);
      }
      off += used;
      continue;
    }
    size_t frame = FrameLength(data + off, len - off);
    if (frame != 0 && frame != SIZE_MAX) {
      // A sound frame around content that does not decode: the next message
      // starts where the frame ends.
      ++stats.failed;
      out << "@" << off << " " << (opt.summary ? "" : "length ") << frame << (opt.summary ? " " : ": ")
          << "decode error " << rc << ": " << OneLine(err.str()) << "\n";
      off += frame;
      continue;
    }
    // No frame to trust: the next offset whose octets decode as a message.
    size_t next = off + 1;
    for (; next < len; ++next) {
      if (FrameLength(data + next, len - next) == 0) continue;
      CSTAMsg probe;
      std::ostringstream ignored;
      if (DecodeFrom(data + next, len - next, probe, ignored) == 0) break;
    }
    ++stats.skippedRegions;
    stats.skippedOctets += next - off;
    std::string why = OneLine(err.str());
    out << "@" << off << " skipped " << next - off << " octets to " << next << ": "
        << (why.empty() ? "decode error " + std::to_string(rc) : why) << "\n";
    off = next;
  }
  PrintSummary(stats, len, out);
  return stats;
}

}  // namespace k3decode
