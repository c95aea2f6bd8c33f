#include "bridge/requests.h"

#include "bridge/convert_util.h"
#include "bridge/request_util.h"
#include "link/request.h"

namespace k3 {

namespace {

#define K3_ROW(name, size, encoder, line, answer) \
  {DS_##name, #name, size, encoder, LineRule::k##line, AnswerKind::k##answer},
const RequestType kRequestTypes[] = {K3_REQUEST_TYPES(K3_ROW)};
#undef K3_ROW

constexpr bool CodesAreUnique() {
  constexpr uint16_t codes[] = {
#define K3_CODE(name, size, encoder, line, answer) DS_##name,
      K3_REQUEST_TYPES(K3_CODE)
#undef K3_CODE
  };
  constexpr size_t n = sizeof codes / sizeof codes[0];
  for (size_t i = 0; i < n; ++i)
    for (size_t k = i + 1; k < n; ++k)
      if (codes[i] == codes[k]) return false;
  return true;
}
static_assert(CodesAreUnique(), "one row per type code");

}  // namespace

const RequestType *FindRequestType(uint16_t code) {
  for (const RequestType &t : kRequestTypes)
    if (t.code == code) return &t;
  return nullptr;
}

uint32_t SendBuilt(uint32_t line, CSTA3V6::CSTAMsg &msg, void *block, uint32_t wantInvokeId) {
  WritePrivateOctets(msg);
  return SendRequest(line, msg, block, wantInvokeId);
}

// The size is checked before any field is read; the answer kind is set
// before the encoder sends, so the pending entry carries it.
int32_t DispatchDevSpecific(uint32_t line, uint32_t, uint8_t *p, uint32_t size) {
  if (size < sizeof(K3_DS_HEADER) || !p) return kEncWrongSize;
  const RequestType *type = FindRequestType(K3_GET(p, K3_DS_HEADER, wStructType));
  if (!type || (type->size != K3_ANY_SIZE && size != type->size)) return kEncWrongSize;
  SetAnswerKind(type->answer);
  return type->encode(type->line == LineRule::kZero ? 0 : line, p, size);
}

uint32_t ProcessDevSpecificRequest(uint32_t line, uint32_t requestId, uint8_t *block, uint32_t size) {
  return RunRequest(line, requestId, block, size, DispatchDevSpecific);
}

}  // namespace k3
