// k3-scenario, portable half: names of result codes, events and operations,
// the fields of event headers and how the runner fetches an event's record.
#include "csta3_names.h"
#include "kestrel3.h"
#include "host/scenario_detail.h"

namespace k3s {

using namespace CSTA3V6;
using namespace detail;

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
    case kOpCSTAEventReport: return "cSTAEventReport";
    case kOpEscape: return "escape";
    case kOpStartDataPath: return "startDataPath";
    case kOpStopDataPath: return "stopDataPath";
    case kOpSendData: return "sendData";
    case kOpGetPhysicalDeviceInformation: return "getPhysicalDeviceInformation";
    case kOpGetAgentState: return "getAgentState";
    case kOpSetAgentState: return "setAgentState";
    case kOpCDRReport: return "cDRReport";
    case kOpStartCDRTransmission: return "startCDRTransmission";
    case kOpStopCDRTransmission: return "stopCDRTransmission";
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

}  // namespace k3s
