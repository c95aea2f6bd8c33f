// Device-specific requests from TAPI: each structure type is checked and turned
// into a CSTA request for the PBX, or answered at once from data the library
// holds.
#ifndef K3_BRIDGE_REQUESTS_H
#define K3_BRIDGE_REQUESTS_H

#include <cstdint>

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

// Runs the structure's encoder and returns its result. block is the caller's
// structure, size its length; line is the caller's line index.
int32_t DispatchDevSpecific(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size);

// Runs the encoder and completes the request: a sent request becomes pending,
// everything else is answered now through the reply callback. Returns 0, or
// 0xC0000001 when the reply callback refused. Exceptions from building a
// message pass through (the worker thread completes the request then).
uint32_t ProcessDevSpecificRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size);

// Layout of the CDR record that type 0x33 writes from offset 10 of its
// structure (offsets inside the structure). Texts are NUL-terminated and cut
// to their field.
namespace cdr33 {
constexpr uint32_t kTimeStamp = 10;       // 12 bytes, as stored
constexpr uint32_t kDevices = 22;         // seven device texts of 25 bytes: calling, called,
constexpr uint32_t kDeviceWidth = 25;     //   associated calling, associated called,
                                          //   network calling, network called, access code
constexpr uint32_t kMediaClass = 197;     // u32
constexpr uint32_t kTariffTable = 201;    // u32
constexpr uint32_t kDuration = 205;       // u32
constexpr uint32_t kCarrier = 209;        // u32
constexpr uint32_t kSelectedRoute = 213;  // u32
constexpr uint32_t kSupplService = 217;   // u8
constexpr uint32_t kAccountInfo = 218;    // 33 bytes
constexpr uint32_t kChargingPresent = 251;  // u32
constexpr uint32_t kChargingText = 255;   // 17 bytes
constexpr uint32_t kChargingValue = 272;  // u32
constexpr uint32_t kChargingKind = 276;   // u32
constexpr uint32_t kMinutes = 280;        // u32
constexpr uint32_t kText1 = 284;          // 30 bytes
constexpr uint32_t kText2 = 314;          // 30 bytes
constexpr uint32_t kTextWidth = 30;
constexpr uint32_t kEnd = 344;            // 10 + 334
}  // namespace cdr33

}  // namespace k3

#endif
