// k3-scenario, portable half: names of result codes, events and operations,
// the fields of event headers and how the runner fetches an event's record.
#include "csta3_names.h"
#include "host/scenario_detail.h"

namespace k3s {

using namespace CSTA3V6;
using namespace detail;

const char *ResultName(uint32_t r) {
  switch (r) {
    case 0x00000000: return "SUCCESS";
    case 0xC0000001: return "NOT_QUEUED";
    case 0xC0000002: return "BAD_STRUCTURE";
    case 0xC0000003: return "BAD_VALUE";
    case 0xC0000004: return "NOT_FOUND";
    case 0xC0000005: return "ALREADY_ACTIVE";
    case 0xC0000010: return "CDR_NOT_STARTED";
    case 0xC0000011: return "ANSWER_INVALID";
    case 0xC0000012: return "NO_PBX_ANSWER";
    case 0xC0000014: return "ROSE_ERROR";
    case 0xC0000015: return "PBX_REFUSED";
    case 0xC0000016: return "FAILED";
    default: return "?";
  }
}

bool ParseResult(const std::string &text, uint32_t &out) {
  int64_t n;
  if (ParseNumber(text, n) && n >= 0) {
    out = uint32_t(n);
    return true;
  }
  static const uint32_t codes[] = {0,          0xC0000001, 0xC0000002, 0xC0000003, 0xC0000004, 0xC0000005,
                                   0xC0000010, 0xC0000011, 0xC0000012, 0xC0000014, 0xC0000015, 0xC0000016};
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
