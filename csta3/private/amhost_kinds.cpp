// The AMHOST element identifier table: each identifier's kind (its octet
// layout) and print name. Every identifier not listed has kind 0 and no name.
#include "csta3/private/acl2.h"
#include "csta3/private/amhost_ids.h"

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
      AmhostElementId id;
      uint8_t kind;
      const char *name;
    };
    constexpr Row rows[] = {
        {AMHOST_ID_SERVER_FLAG, 8, nullptr},
        {AMHOST_ID_COS_DAY_NIGHT, 1, "COS Day/Night"},
        {AMHOST_ID_SUBSCRIBER_NUMBER, 2, "Call/Subscriber Number"},
        {AMHOST_ID_NAME, 2, "Name"},
        {AMHOST_ID_PIN, 2, "Personal Identification Number"},
        {AMHOST_ID_SWITCH_MODE, 1, "SwitchMode"},
        {AMHOST_ID_SWITCH_TYPE, 2, "Switch Type"},
        {AMHOST_ID_DEVICE_TYPE, 1, "Device Type"},
        {AMHOST_ID_CAUSE, 1, "Cause"},
        {AMHOST_ID_DSSINFO, 9, " DSSINFO "},
        {AMHOST_ID_LED_BROADCAST, 7, " LEDBROADCASTELEMENT "},
        {AMHOST_ID_DEVICE, 4, "Device ID"},
        {AMHOST_ID_ANNOUNCEMENT_1, 4, "Announcement 1 ID"},
        {AMHOST_ID_ANNOUNCEMENT_2, 4, "Announcement 2 ID"},
        {AMHOST_ID_MUSIC_ON_HOLD_1, 4, "Music On Hold 1 ID"},
        {AMHOST_ID_MUSIC_ON_HOLD_2, 4, "Music On Hold 2 ID"},
        {AMHOST_ID_DEVICE_NIGHT, 4, "Device ID Night"},
        {AMHOST_ID_OVERFLOW_DEVICE, 4, "Overflow Device ID"},
        {AMHOST_ID_ANNOUNCEMENT_1_TIME, 3, "Announcement 1 Time"},
        {AMHOST_ID_ANNOUNCEMENT_2_RECYCLE_TIME, 3, "Announcement 2 Recycle Time"},
        {AMHOST_ID_ANNOUNCEMENT_2_TIME, 3, "Announcement 2 Time"},
        {AMHOST_ID_FEATURES, 1, "Features"},
        {AMHOST_ID_FEATURES2, 6, "Features2"},
        {AMHOST_ID_NIGHT_DIAL_NUMBER, 2, "Night Dial Number"},
        {AMHOST_ID_NITEPWD, 2, "NITEPWD"},
        {AMHOST_ID_OVERFLOW_THRESHOLD, 1, "Overflow Threshold"},
        {AMHOST_ID_OVERFLOW_TIME, 3, "Overflow Time"},
        {AMHOST_ID_PRE_ANNOUNCEMENT_1_TIME, 3, "Pre-Announcement 1 Time"},
        {AMHOST_ID_PRE_ANNOUNCEMENT_2_TIME, 3, "Pre-Announcement 2 Time"},
        {AMHOST_ID_QUEUE_THRESHOLD_MAX, 1, "Queue Threshold Maximum"},
        {AMHOST_ID_QUEUE_THRESHOLD_MIN, 1, "Queue Threshold Minimum"},
        {AMHOST_ID_TIME, 5, "Time"},
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
