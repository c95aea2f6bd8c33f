// MAINT (maintenance messages) application object: parser, writer, print.
#include "csta3/private/acl2.h"

#include <cstdio>
#include <cstring>

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;
using privoctets::PutOcts;

namespace {

const CodeName kMaintMsgNames[] = {{1, " (LoopBackMessage)"}, {2, " (HeartbeatMessage)"},
                                   {3, " (SwitchHeartbeatOn)"}, {4, " (SwitchHeartbeatOff)"}};

}  // namespace

// Items: 0x22 header (4 octets: mark, length, message type, cross reference),
// 0xB8 date and 0xB9 time (6 octets: mark, length, reserved, three values),
// 0x23 repetition time (4 octets: mark, length, low, high).

MAINT::MAINT() = default;

MAINT::MAINT(uint32_t msgType, uint32_t crossReference, const int32_t *secondInt, const void *octets,
             size_t octetCount)
    : messageType(msgType), crossRef(crossReference) {
  if (secondInt) SetRepetitionTime(*secondInt);
  if (octets) SetLoopData(octets, octetCount);
}

MAINT::MAINT(const MAINT &o) : AsnType() { *this = o; }

MAINT &MAINT::operator=(const MAINT &o) {
  if (this == &o) return *this;
  messageType = o.messageType;
  crossRef = o.crossRef;
  hasDate = o.hasDate;
  std::memcpy(date, o.date, sizeof date);
  hasTime = o.hasTime;
  std::memcpy(time, o.time, sizeof time);
  if (o.repetitionTime)
    SetRepetitionTime(o.repetitionTime->value);
  else {
    delete repetitionTime;
    repetitionTime = nullptr;
  }
  if (o.loopData) {
    if (!loopData) loopData = new AsnOcts;
    *loopData = *o.loopData;
  } else {
    delete loopData;
    loopData = nullptr;
  }
  return *this;
}

MAINT::~MAINT() {
  delete repetitionTime;
  delete loopData;
}

void MAINT::SetRepetitionTime(int32_t v) {
  if (!repetitionTime) repetitionTime = new AsnInt;
  repetitionTime->Set(v);
}

void MAINT::SetLoopData(const void *p, size_t n) {
  if (!loopData) loopData = new AsnOcts;
  loopData->Set(static_cast<const char *>(p), n);
}

void MAINT::DecodeOctets(const unsigned char *p, size_t n) {
  size_t pos = 0;
  while (pos < n) {
    const size_t start = pos;
    if (n - pos >= 4 && p[pos] == 0x22) {
      messageType = p[pos + 2];
      crossRef = p[pos + 3];
      pos += 4;
      if (messageType == MAINT_LOOPBACK) {
        if (pos < n) SetLoopData(p + pos, n - pos);
        return;
      }
    }
    if (n - pos >= 6 && p[pos] == 0xB8) {
      hasDate = true;
      std::memcpy(date, p + pos + 3, 3);
      pos += 6;
    }
    if (n - pos >= 6 && p[pos] == 0xB9) {
      hasTime = true;
      std::memcpy(time, p + pos + 3, 3);
      pos += 6;
    }
    if (n - pos >= 4 && p[pos] == 0x23) {
      SetRepetitionTime(p[pos + 2] | (p[pos + 3] << 8));
      pos += 4;
    }
    if (pos == start) break;
  }
}

void MAINT::EncodeOctets(OctetVec &out) const {
  out.insert(out.end(), {0x22, 0x04, static_cast<unsigned char>(messageType), static_cast<unsigned char>(crossRef)});
  if (messageType == MAINT_LOOPBACK) {
    if (loopData) PutOcts(out, *loopData, loopData->octetLen);
    return;
  }
  if (hasDate) out.insert(out.end(), {0xB8, 0x06, 0x00, date[0], date[1], date[2]});
  if (hasTime) out.insert(out.end(), {0xB9, 0x06, 0x00, time[0], time[1], time[2]});
  if (repetitionTime)
    out.insert(out.end(), {0x23, 0x04, static_cast<unsigned char>(repetitionTime->value),
                           static_cast<unsigned char>(repetitionTime->value >> 8)});
}

void MAINT::Print(AsnPrintStream &os) const {
  char buf[16];
  bool first = true;
  privprint::Open(os, "-- MAINT --");
  privprint::Field(os, first, "MessageType = ");
  privprint::NumberAndName(os, kMaintMsgNames, messageType);
  privprint::Field(os, first, "CrossRef = ");
  os << crossRef;
  if (hasDate) {
    std::snprintf(buf, sizeof buf, "%02d.%02d.%02d", date[0], date[1], date[2]);
    privprint::Field(os, first, "Date = ");
    os << buf;
  }
  if (hasTime) {
    std::snprintf(buf, sizeof buf, "%02d.%02d.%02d", time[0], time[1], time[2]);
    privprint::Field(os, first, "Time = ");
    os << buf;
  }
  if (repetitionTime) {
    privprint::Field(os, first, "RepetitionTime");
    os << *repetitionTime;
  }
  if (loopData) {
    privprint::Field(os, first, "LoopData");
    os << *loopData;
  }
  privprint::Close(os);
}

}  // namespace CSTA3V6
