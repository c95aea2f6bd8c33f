// The AMHOST element identifier table: each identifier's kind (its octet
// layout) and print name. Every identifier not listed has kind 0 and no name.
#include "csta3/private/acl2.h"

namespace CSTA3V6 {

namespace {

struct ElementInfo {
  uint8_t kind;
  const char *name;
};

struct ElementTable {
  ElementInfo e[256];
  constexpr ElementTable() : e{} {
    struct Row {
      uint8_t id, kind;
      const char *name;
    };
    constexpr Row rows[] = {
        {10, 8, nullptr},
        {161, 1, "COS Day/Night"},
        {162, 2, "Call/Subscriber Number"},
        {163, 2, "Name"},
        {165, 2, "Personal Identification Number"},
        {168, 1, "SwitchMode"},
        {169, 2, "Switch Type"},
        {171, 1, "Device Type"},
        {173, 1, "Cause"},
        {175, 9, " DSSINFO "},
        {176, 7, " LEDBROADCASTELEMENT "},
        {211, 4, "Device ID"},
        {212, 4, "Announcement 1 ID"},
        {213, 4, "Announcement 2 ID"},
        {214, 4, "Music On Hold 1 ID"},
        {215, 4, "Music On Hold 2 ID"},
        {216, 4, "Device ID Night"},
        {217, 4, "Overflow Device ID"},
        {225, 3, "Announcement 1 Time"},
        {227, 3, "Announcement 2 Recycle Time"},
        {228, 3, "Announcement 2 Time"},
        {230, 1, "Features"},
        {231, 6, "Features2"},
        {237, 2, "Night Dial Number"},
        {238, 2, "NITEPWD"},
        {241, 1, "Overflow Threshold"},
        {242, 3, "Overflow Time"},
        {243, 3, "Pre-Announcement 1 Time"},
        {244, 3, "Pre-Announcement 2 Time"},
        {245, 1, "Queue Threshold Maximum"},
        {246, 1, "Queue Threshold Minimum"},
        {248, 5, "Time"},
    };
    for (const Row &r : rows) e[r.id] = ElementInfo{r.kind, r.name};
  }
};

// Built at compile time, so there is nothing to initialise at run time.
constexpr ElementTable kElements;

}  // namespace

uint32_t AmhostElementKind(uint32_t id) { return id < 256 ? kElements.e[id].kind : 0; }

const char *AmhostElementName(uint32_t id) { return id < 256 ? kElements.e[id].name : nullptr; }

}  // namespace CSTA3V6
