// The library's event-log source and its reports.
#ifndef K3_BOUNDARY_DIAGNOSTICS_H
#define K3_BOUNDARY_DIAGNOSTICS_H

#include <cstdint>

namespace k3b {

constexpr const char *kEventSource = "Kestrel3.Dll";
constexpr uint32_t kEventIdError = 0xC0000103u;
constexpr uint32_t kEventIdInfo = 0x80000102u;

// Writes the source's key under HKEY_LOCAL_MACHINE; 1 on success, 0 otherwise.
uint32_t RegisterEventLogSource(const char *source, const char *messageFile, uint32_t typesSupported);

// Formatted reports (texts cut at 1024 characters): errors, and information.
void ReportLog(uint16_t category, const char *format, ...) __attribute__((format(printf, 2, 3)));
uint32_t ReportInfo(uint16_t category, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Writes one event with text as its single insertion string; 1 when written.
uint32_t WriteEvent(uint16_t type, uint16_t category, uint32_t eventId, const char *text);

}  // namespace k3b

#endif
