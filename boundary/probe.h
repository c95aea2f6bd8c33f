// Observation points for the test build of the library (K3_PROBE); in the
// shipped library they compile to nothing.
#ifndef K3_BOUNDARY_PROBE_H
#define K3_BOUNDARY_PROBE_H

#include <cstdint>

namespace k3b {
#ifdef K3_PROBE
void ProbeRecordCount(int delta);
void ProbeNote(const char *kind, const char *text);
#else
inline void ProbeRecordCount(int) {}
inline void ProbeNote(const char *, const char *) {}
#endif
}  // namespace k3b

#endif
