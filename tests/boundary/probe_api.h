// What the test build of the library (Kestrel3Probe.dll) adds for the tests: a
// journal of every handler call, report and debugger text, a count of live
// thread-message records, and request types that make its handler misbehave.
#ifndef K3_TESTS_BOUNDARY_PROBE_API_H
#define K3_TESTS_BOUNDARY_PROBE_API_H

#include <cstdint>

// wStructType values the test handler of message 1026 acts on.
constexpr uint16_t kProbeThrow = 0xE001;  // throws
constexpr uint16_t kProbeSend = 0xE003;   // calls the registered send callback

// Device text and line index that make the monitor and reset handlers throw.
constexpr const char *kProbeThrowDevice = "THROW";
constexpr uint32_t kProbeThrowLine = 0xBAD;

// The inbound "message" the test dispatcher understands: it returns result.
struct ProbeInbound {
  int32_t result;
};

extern "C" {
// Moves the journal (lines ending in '\n') into out; returns its length. When
// out is too small nothing is moved and the needed size (with terminator) is
// returned.
typedef uint32_t (*PFN_K3Probe_Take)(char *out, uint32_t cap);
typedef int32_t (*PFN_K3Probe_LiveRecords)(void);
typedef uint32_t (*PFN_K3Probe_WorkerThreadId)(void);
}

#endif
