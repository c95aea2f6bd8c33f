// The platform seam on Windows: tick count, debugger output, event log.
#include <windows.h>

#include "boundary/boundary.h"
#include "boundary/diagnostics.h"
#include "boundary/probe.h"
#include "link/platform.h"

namespace k3b {
namespace {

class Win32Platform : public k3::Platform {
 public:
  uint32_t TickCount() override { return GetTickCount(); }
  void DebugOutput(const char *text) override {
    ProbeNote("DEBUG", text);
    OutputDebugStringA(text);
  }
  uint32_t EventLog(uint16_t category, uint16_t type, const char *text) override {
    return WriteEvent(type, category, type == k3::kEventInformation ? kEventIdInfo : kEventIdError, text);
  }
};

Win32Platform g_win32;

}  // namespace

void InstallWin32Platform() { k3::SetPlatform(&g_win32); }
void RemoveWin32Platform() { k3::SetPlatform(nullptr); }

}  // namespace k3b
