// Decoding of BER-encoded CSTAMsg octets, one message or many back to back (a
// link capture): the printing modes of csta3-decode.
#ifndef CSTA3_DECODE_STREAM_H
#define CSTA3_DECODE_STREAM_H

#include <cstddef>
#include <map>
#include <ostream>
#include <string>

namespace k3decode {

struct PrintOptions {
  bool tagged = false;    // markup form of the value notation
  bool reencode = false;  // each decoded message encoded again, as hex
  bool summary = false;   // one line per message instead of the full print
};

// What a stream held. A failed message is one whose frame (APDU tag and definite
// length) was sound but whose content did not decode; a skipped region is a run
// of octets with no sound frame, passed over to reach the next message.
struct StreamStats {
  size_t decoded = 0;
  size_t failed = 0;
  size_t skippedRegions = 0;
  size_t skippedOctets = 0;
  // APDU kind ("roiv-apdu", ...) -> operation or outcome -> count.
  std::map<std::string, std::map<std::string, size_t>> byKind;
  size_t Errors() const { return failed + skippedRegions; }
};

// The octets of the APDU frame that starts at data: 0 when the octets there
// cannot start a message (not an ACSE or ROSE APDU tag, a length form no encoder
// writes, or a definite length that reaches past len); SIZE_MAX for an
// indefinite length, whose end only decoding finds.
size_t FrameLength(const unsigned char *data, size_t len);

// Decodes one message that fills the whole input; prints it as the single-message
// mode does. Returns the exit status: 0 decoded, 1 not.
int DecodeOne(const unsigned char *data, size_t len, const PrintOptions &opt, std::ostream &out);

// Decodes every message of a stream and prints each with its offset and length;
// goes on after a bad message at the end of its frame, or, when its frame is not
// sound, at the next offset that starts a message that decodes. Ends with a
// summary. Returns the counts.
StreamStats DecodeStream(const unsigned char *data, size_t len, const PrintOptions &opt, std::ostream &out);

}  // namespace k3decode

#endif
