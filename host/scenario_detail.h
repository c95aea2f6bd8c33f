// k3-scenario, portable half: helpers the scenario files share among
// themselves (not part of the runner's interface in scenario.h).
#ifndef K3_HOST_SCENARIO_DETAIL_H
#define K3_HOST_SCENARIO_DETAIL_H

#include <cstdint>
#include <string>

#include "host/scenario.h"

namespace k3s {
namespace detail {

// A decimal or 0x hex number with an optional sign, at most 32 bits of magnitude.
bool ParseNumber(const std::string &s, int64_t &out);
int HexDigit(char c);
// A request name: a letter or '_' first, then letters, digits, '_' and '-'.
bool IsName(const std::string &s);
std::string Upper(std::string s);
// A text as a scenario writes it: quoted, with \" \\ and \xHH escapes.
std::string Quoted(const std::string &s);
// An AMHOST element given by its id: "248=...".
bool IsElementKey(const std::string &k);
// "A<sep>B<sep>C": exactly three numbers.
bool TripleOf(const std::string &text, char sep, int64_t out[3]);

inline Field U8(const char *n, uint32_t at) { return {n, at, FieldKind::U8, 1}; }
inline Field U16(const char *n, uint32_t at) { return {n, at, FieldKind::U16, 2}; }
inline Field U32(const char *n, uint32_t at) { return {n, at, FieldKind::U32, 4}; }
inline Field Txt(const char *n, uint32_t at, uint32_t w) { return {n, at, FieldKind::Text, w}; }
inline Field Oct(const char *n, uint32_t at, uint32_t w) { return {n, at, FieldKind::Octets, w}; }

// The simulated PBX's private data: fills a fresh item from a step's content
// arguments (amhost=, maint=, acl=, raw=, oid=), and wraps raw (office-form)
// octets as common arguments with one item.
bool FillItem(const Step &s, CSTA3V6::PrivateDataChoiceSeq &item, std::string &err);
CSTA3V6::CSTACommonArguments *PrivateOctets(const std::string &octets);

}  // namespace detail
}  // namespace k3s

#endif
