#include "link/platform.h"

#include <chrono>
#include <cstdio>

namespace k3 {

namespace {
Platform *g_installed = nullptr;

uint32_t SteadyMillis() {
  using namespace std::chrono;
  return uint32_t(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}
}  // namespace

PortablePlatform &Portable() {
  static PortablePlatform instance;
  return instance;
}

Platform &CurrentPlatform() { return g_installed ? *g_installed : Portable(); }

void SetPlatform(Platform *p) { g_installed = p; }

size_t FormatBounded(char (&out)[kMaxReportText + 1], const char *format, va_list args) {
  out[0] = '\0';
  if (!format) return 0;
  int n = std::vsnprintf(out, sizeof out, format, args);
  if (n < 0) {
    out[0] = '\0';
    return 0;
  }
  return size_t(n) < kMaxReportText ? size_t(n) : kMaxReportText;
}

uint32_t TickCount() { return CurrentPlatform().TickCount(); }

void DebugOutput(const char *text) { CurrentPlatform().DebugOutput(text ? text : ""); }

void ReportLog(uint16_t category, const char *format, ...) {
  char text[kMaxReportText + 1];
  va_list args;
  va_start(args, format);
  FormatBounded(text, format, args);
  va_end(args);
  CurrentPlatform().EventLog(category, kEventError, text);
}

uint32_t ReportInfo(uint16_t category, const char *format, ...) {
  char text[kMaxReportText + 1];
  va_list args;
  va_start(args, format);
  FormatBounded(text, format, args);
  va_end(args);
  return CurrentPlatform().EventLog(category, kEventInformation, text);
}

void DebugSendReply() {
  // Written as is: the text carries no conversion.
  DebugOutput("TAPIExtendedService-SendReply: 0x08x\n");
}

void DebugMissingPbxAnswer(int32_t invokeId) {
  char text[64];
  std::snprintf(text, sizeof text, "LINEERR_MISSINGPBXANSWER, invokeid %X \n", unsigned(invokeId));
  DebugOutput(text);
}

uint32_t PortablePlatform::TickCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return fixed_ ? now_ : SteadyMillis();
}

void PortablePlatform::DebugOutput(const char *text) {
  std::lock_guard<std::mutex> lock(mutex_);
  debug_.emplace_back(text ? text : "");
}

uint32_t PortablePlatform::EventLog(uint16_t category, uint16_t type, const char *text) {
  std::lock_guard<std::mutex> lock(mutex_);
  events_.push_back(Event{category, type, text ? text : ""});
  return 1;
}

void PortablePlatform::SetTick(uint32_t now) {
  std::lock_guard<std::mutex> lock(mutex_);
  fixed_ = true;
  now_ = now;
}

void PortablePlatform::AdvanceTick(uint32_t delta) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!fixed_) {
    fixed_ = true;
    now_ = SteadyMillis();
  }
  now_ += delta;  // wraps like the real tick
}

void PortablePlatform::UseRealClock() {
  std::lock_guard<std::mutex> lock(mutex_);
  fixed_ = false;
}

std::vector<std::string> PortablePlatform::DebugLines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return debug_;
}

std::vector<PortablePlatform::Event> PortablePlatform::Events() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return events_;
}

void PortablePlatform::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  debug_.clear();
  events_.clear();
}

}  // namespace k3
