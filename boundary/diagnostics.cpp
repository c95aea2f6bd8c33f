// Event-log source registration and the reports written to the event log.
#include "boundary/diagnostics.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "boundary/probe.h"
#include "link/platform.h"

namespace k3b {

uint32_t RegisterEventLogSource(const char *source, const char *messageFile, uint32_t typesSupported) {
  if (!source || !messageFile) return 0;
  char keyPath[512];
  std::snprintf(keyPath, sizeof keyPath, "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\%s", source);
  HKEY key = nullptr;
  if (RegCreateKeyA(HKEY_LOCAL_MACHINE, keyPath, &key) != ERROR_SUCCESS) return 0;

  // On a failed value the key is left open: registration is given up as a whole.
  const DWORD fileBytes = DWORD(std::strlen(messageFile) + 1);
  const DWORD categoryCount = 6;
  const DWORD types = typesSupported;
  if (RegSetValueExA(key, "EventMessageFile", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE *>(messageFile),
                     fileBytes) != ERROR_SUCCESS)
    return 0;
  if (RegSetValueExA(key, "CategoryCount", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&categoryCount),
                     sizeof categoryCount) != ERROR_SUCCESS)
    return 0;
  if (RegSetValueExA(key, "CategoryMessageFile", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE *>(messageFile),
                     fileBytes) != ERROR_SUCCESS)
    return 0;
  if (RegSetValueExA(key, "TypesSupported", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&types), sizeof types) !=
      ERROR_SUCCESS)
    return 0;
  RegCloseKey(key);
  return 1;
}

uint32_t WriteEvent(uint16_t type, uint16_t category, uint32_t eventId, const char *text) {
  if (!text) text = "";
  ProbeNote(type == EVENTLOG_ERROR_TYPE ? "LOG" : "INFO", text);

  HANDLE source = RegisterEventSourceA(nullptr, kEventSource);
  if (!source) return 0;

  // The event carries the current user's security identifier.
  char user[128] = {};
  DWORD userLen = sizeof user;
  if (!GetUserNameA(user, &userLen)) user[0] = '\0';
  DWORD sidSize = 0;
  DWORD domainSize = 0;
  SID_NAME_USE use;
  LookupAccountNameA(nullptr, user, nullptr, &sidSize, nullptr, &domainSize, &use);
  void *sid = std::calloc(sidSize ? sidSize : 1, 1);
  char *domain = static_cast<char *>(std::calloc(domainSize ? domainSize : 1, 1));
  bool haveSid = sid && domain && sidSize &&
                 LookupAccountNameA(nullptr, user, sid, &sidSize, domain, &domainSize, &use) && IsValidSid(sid);

  const char *strings[1] = {text};
  if (!ReportEventA(source, type, category, eventId, haveSid ? sid : nullptr, 1, 0, strings, nullptr)) {
    // Given up at once: the source handle and both buffers are not released.
    return 0;
  }
  DeregisterEventSource(source);
  std::free(sid);
  std::free(domain);
  return 1;
}

void ReportLog(uint16_t category, const char *format, ...) {
  char text[k3::kMaxReportText + 1];
  va_list args;
  va_start(args, format);
  k3::FormatBounded(text, format, args);
  va_end(args);
  WriteEvent(EVENTLOG_ERROR_TYPE, category, kEventIdError, text);
}

uint32_t ReportInfo(uint16_t category, const char *format, ...) {
  char text[k3::kMaxReportText + 1];
  va_list args;
  va_start(args, format);
  k3::FormatBounded(text, format, args);
  va_end(args);
  return WriteEvent(EVENTLOG_INFORMATION_TYPE, category, kEventIdInfo, text);
}

}  // namespace k3b
