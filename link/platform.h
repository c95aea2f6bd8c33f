// The few operating-system services the portable layers need: a millisecond tick,
// debugger output and the event log. The Windows library installs its own
// implementation when it is loaded; everywhere else the portable one answers,
// and tests can set its clock and read what was written.
#ifndef K3_LINK_PLATFORM_H
#define K3_LINK_PLATFORM_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace k3 {

// Event types as the event log knows them.
constexpr uint16_t kEventError = 1;
constexpr uint16_t kEventWarning = 2;
constexpr uint16_t kEventInformation = 4;

// Longest text one report carries; longer texts are cut.
constexpr size_t kMaxReportText = 1024;

class Platform {
 public:
  virtual ~Platform() = default;
  virtual uint32_t TickCount() = 0;                  // milliseconds, wraps at 2^32
  virtual void DebugOutput(const char *text) = 0;    // debugger output, text as is
  // One event-log entry; returns 1 when it was written, 0 otherwise.
  virtual uint32_t EventLog(uint16_t category, uint16_t type, const char *text) = 0;
};

// The installed implementation, or the portable one when none is installed.
Platform &CurrentPlatform();
// Installs p (not owned); nullptr goes back to the portable implementation.
void SetPlatform(Platform *p);

// Formats into out (room for kMaxReportText characters and the terminator),
// cutting the text at kMaxReportText characters. Returns the length written.
size_t FormatBounded(char (&out)[kMaxReportText + 1], const char *format, va_list args);

// Shortcuts over CurrentPlatform().
uint32_t TickCount();
void DebugOutput(const char *text);
// Formatted event-log entries: errors and information.
void ReportLog(uint16_t category, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
uint32_t ReportInfo(uint16_t category, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

// The two debugger texts of request completion: after every reply to TAPI, and
// when a request could not be handed to the PBX (invokeId is the encoder's 0).
void DebugSendReply();
void DebugMissingPbxAnswer(int32_t invokeId);

// The portable implementation. Its clock follows a steady clock until a test
// sets it; from then on it moves only when set or advanced. Everything written
// is kept for reading.
class PortablePlatform : public Platform {
 public:
  struct Event {
    uint16_t category;
    uint16_t type;
    std::string text;
  };

  uint32_t TickCount() override;
  void DebugOutput(const char *text) override;
  uint32_t EventLog(uint16_t category, uint16_t type, const char *text) override;

  void SetTick(uint32_t now);        // fixes the clock at now
  void AdvanceTick(uint32_t delta);  // moves a fixed clock on (fixes it first if needed)
  void UseRealClock();

  std::vector<std::string> DebugLines() const;
  std::vector<Event> Events() const;
  void Clear();  // forgets what was written

 private:
  mutable std::mutex mutex_;
  bool fixed_ = false;
  uint32_t now_ = 0;
  std::vector<std::string> debug_;
  std::vector<Event> events_;
};

// The process-wide portable instance (the default platform).
PortablePlatform &Portable();

}  // namespace k3

#endif
