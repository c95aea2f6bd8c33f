// Device-specific requests from TAPI: each structure type is checked and turned
// into a CSTA request for the PBX, or answered at once from data the library
// holds.
#ifndef K3_BRIDGE_REQUESTS_H
#define K3_BRIDGE_REQUESTS_H

#include <cstdint>

#include "bridge/request_types.h"
#include "link/engine.h"

namespace k3 {

// What an encoder returns (signed 32-bit). Values 32768..65535 are the invoke
// id of a request now waiting at the PBX.
enum EncoderResult : int32_t {
  kEncNotSent = 0,           // nothing could be sent, or the type has no request
  kEncWrongSize = 1,
  kEncBadValue = 2,          // a field lies outside its set
  kEncNotFound = 3,          // the stored record named by the request does not exist
  kEncAlreadyActive = 4,     // the service is already active on this line
  kEncNoDataSession = 5,     // completes as success, nothing sent
  kEncListBusy = 6,          // completes as success, nothing sent
  kEncSessionMismatch = 7,   // completes as success, nothing sent
  kEncAnsweredRecord = static_cast<int32_t>(0xFFFF0001u),   // reply fields already written
  kEncAnsweredCdr = static_cast<int32_t>(0xFFFF0008u),
  kEncAnsweredRecord2 = static_cast<int32_t>(0xFFFF0009u),
};

// The completion (link/engine.cpp) maps these results to TAPI results.
static_assert(kEncNotSent == kEncoderNotSent, "nothing sent completes as no PBX answer");
static_assert(kEncWrongSize == kEncoderFirstRefusal && kEncAlreadyActive == kEncoderLastRefusal,
              "the refusals are the range the completion maps");
static_assert(kFirstRefusalResult + (kEncWrongSize - kEncoderFirstRefusal) == K3_RESULT_BAD_STRUCTURE &&
                  kFirstRefusalResult + (kEncBadValue - kEncoderFirstRefusal) == K3_RESULT_BAD_VALUE &&
                  kFirstRefusalResult + (kEncNotFound - kEncoderFirstRefusal) == K3_RESULT_NOT_FOUND &&
                  kFirstRefusalResult + (kEncAlreadyActive - kEncoderFirstRefusal) == K3_RESULT_ALREADY_ACTIVE,
              "each refusal completes with its own result");
static_assert(kEncNoDataSession > kEncoderLastRefusal && kEncListBusy > kEncoderLastRefusal &&
                  kEncSessionMismatch > kEncoderLastRefusal && kEncSessionMismatch < int32_t(kFirstInvokeId) &&
                  kEncAnsweredRecord < 0 && kEncAnsweredCdr < 0 && kEncAnsweredRecord2 < 0,
              "the results that complete as success lie outside the refusals and the invoke ids");

// Runs the structure's encoder and returns its result. block is the caller's
// structure, size its length; line is the caller's line index.
int32_t DispatchDevSpecific(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size);

// Runs the encoder and completes the request: a sent request becomes pending,
// everything else is answered now through the reply callback. Returns 0, or
// 0xC0000001 when the reply callback refused. Exceptions from building a
// message pass through (the worker thread completes the request then).
uint32_t ProcessDevSpecificRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size);

// One row of the request table (bridge/request_types.h).
enum class LineRule : uint8_t {
  kCaller,  // sent on the caller's line
  kZero,    // sent on line 0 whatever line the caller named
  kLocal,   // answered from data the library holds
};
using Encoder = int32_t (*)(uint32_t line, uint8_t *block, uint32_t size);
struct RequestType {
  uint16_t code;
  const char *name;  // without the DS_ prefix
  uint32_t size;     // the exact dwSize, K3_ANY_SIZE for any of 2 or more
  Encoder encode;
  LineRule line;
  AnswerKind answer;
};

// The row of a type code, null for an unknown code.
const RequestType *FindRequestType(uint16_t code);


}  // namespace k3

#endif
