// k3-scenario: the portable half of the scenario runner.
//
// A scenario is a line-based text file: each line is one step (a TAPI request,
// a PBX answer or invocation, a monitor notification, an expectation). This
// half reads and checks the file, knows the device-specific structures by
// field name, and builds the simulated PBX's messages as model objects. The
// Windows program (k3_scenario.cpp) drives Kestrel3.dll with it.
#ifndef K3_HOST_SCENARIO_H
#define K3_HOST_SCENARIO_H

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "csta3_model.h"

namespace k3s {

// ---- Values ----------------------------------------------------------------

// A value written in a scenario: a number (decimal or 0x hex), a text ("..."
// with \" \\ \n \xHH escapes, or a bare word), octets (hex:0A0B..), or a
// reference resolved when the step runs: $event.seq, $NAME.field, each with an
// optional +N or -N.
struct Value {
  enum Kind { Number, Text, Octets, Ref } kind = Number;
  int64_t number = 0;
  std::string text;   // Text and Octets: the bytes; Ref: "event.seq" or "NAME.field"
  int64_t offset = 0; // Ref: added to the resolved number
};

// Parses one value token (the part after "key="). False with err set when it
// is not a value.
bool ParseValue(const std::string &token, Value &out, std::string &err);
// A value for printing: numbers in decimal, texts quoted, octets as hex:.
std::string ValueText(const Value &v);
std::string HexOf(const void *p, size_t n, const char *sep = "");
// Parses plain hex digits (spaces allowed between octets) into octets.
bool ParseHex(const std::string &text, std::string &out);

// ---- Steps -----------------------------------------------------------------

struct Arg {
  std::string key;
  Value value;
};

// Every kind of step, by its first word and, where the first word has several,
// its second. The reader finds the kind and checks the step for it; the runner
// does what the kind says.
enum class StepKind : uint8_t {
  Note,  // also "a step of no kind": it does nothing
  Open,
  Close,
  Link,
  Fetch,
  Requires,
  Wait,
  MonitorStart,
  MonitorStop,
  MonitorClear,
  Request,
  PbxResult,
  PbxBare,
  PbxError,
  PbxReject,
  PbxSilence,
  PbxTake,
  PbxInvoke,
  ExpectNothingSent,
  ExpectNoEvent,
  ExpectSent,
  ExpectEvent,
  ExpectCompletion,
};

struct Step {
  StepKind kind = StepKind::Note;
  std::string file;
  int line = 0;
  std::string source;               // the line as written, trimmed
  std::vector<std::string> words;   // positional words (without '=')
  std::vector<Arg> args;            // key=value pairs, in order
  const Arg *Find(const std::string &key) const;
  bool Has(const std::string &key) const { return Find(key) != nullptr; }
  std::string Where() const { return file + ":" + std::to_string(line); }
};

// Reads a scenario. Every malformed line adds one error "file:line: text".
// Returns true when there were no errors.
bool ParseScenario(std::istream &in, const std::string &file, std::vector<Step> &steps,
                   std::vector<std::string> &errors);

// ---- Device-specific structures --------------------------------------------

enum class FieldKind { U8, U16, U32, Text, Octets };

struct Field {
  std::string name;
  uint32_t offset;
  FieldKind kind;
  uint32_t width;  // bytes
};

struct StructInfo {
  uint16_t type;
  const char *name;   // without the DS_ prefix
  uint32_t size;      // the exact size the library demands; 0 for any size
  uint32_t defaultSize;
  std::vector<Field> fields;
};

// Room given to every request buffer: the library writes past the structure
// for some types (0x21 two bytes, 0x35 a whole record, 0x62 the list).
constexpr uint32_t kBlockRoom = 1024;

const std::vector<StructInfo> &Structures();
// By type code ("0x41", "65") or name ("AMHOST_8_2", "DS_AMHOST_8_2").
const StructInfo *FindStructure(const std::string &nameOrCode);
const StructInfo *StructureByCode(uint16_t type);
const Field *FindField(const StructInfo &s, const std::string &name);
// A field given by position: "@offset:u8|u16|u32" or "@offset:text:width".
bool ParseRawField(const std::string &key, Field &out);
// A field by name, or else by position (written into raw); null when neither.
const Field *FieldOf(const StructInfo &s, const std::string &key, Field &raw);

// Writes v into block (of room bytes) at the field. Texts are NUL-terminated
// and must leave room for the terminator. False with err when it does not fit.
bool PutField(uint8_t *block, uint32_t room, const Field &f, const Value &v, std::string &err);
// Reads a field: numbers as decimal text, texts up to their terminator.
std::string GetField(const uint8_t *block, uint32_t room, const Field &f);
// Compares a field with an expected value; on a mismatch err gets the reason.
bool FieldEquals(const uint8_t *block, uint32_t room, const Field &f, const Value &v, std::string &err);

// ---- Result codes and event types ------------------------------------------

const char *ResultName(uint32_t result);  // "SUCCESS", "BAD_STRUCTURE" ...; "?" if unknown
bool ParseResult(const std::string &text, uint32_t &out);
const char *EventName(uint32_t type);
const char *OperationName(int32_t op);

// The fields of an event header (12 bytes) and of the fetched record of the
// event's type; names usable in "expect event".
const std::vector<Field> &EventHeaderFields(uint16_t type);

// How the runner fetches the stored record of an event: the local request type
// and size, and the names of the fields it writes (an agent event's record
// through 0x84, received data through 0x95). False for events whose record is
// left to the scenario (the CDR record, answered with 0x33/0x35) or that have
// none.
struct FetchPlan {
  uint16_t type = 0;
  uint32_t size = 0;
  std::vector<Field> fields;
};
bool FetchPlanFor(uint16_t eventType, FetchPlan &plan);

// ---- The simulated PBX -----------------------------------------------------

// What the host side sees of a message: its ROSE kind, invoke id, operation
// and, for escapes, the ACL header and AMHOST/MAINT values.
struct MessageFacts {
  std::string kind;  // "invoke", "result", "error", "reject", "acse", "?"
  int64_t invokeId = -1;
  int32_t operation = -1;
  bool hasAcl = false;
  uint32_t aclApplication = 0, aclAction = 0;
  bool hasAmhost = false;
  uint32_t amhostType = 0, amhostSub = 0, amhostThird = 0;
  bool hasMaint = false;
  uint32_t maintAlt = 0, maintRef = 0;
  std::string privateOctets;  // pnPrivateData of the first PBX item
};
MessageFacts FactsOf(const CSTA3V6::CSTAMsg &msg);
// Checks the "expect sent" arguments against facts; err lists the mismatches.
bool CheckFacts(const MessageFacts &f, const Step &step, std::string &err);

// The PBX's answer to the message the library sent (answered is that message
// as the PBX decoded it). Step words: "result", "bare", "error", "reject".
bool BuildAnswer(const Step &step, const CSTA3V6::CSTAMsg &answered, CSTA3V6::CSTAMsg &out, std::string &err);
// An invocation of the PBX ("pbx invoke KIND ...") under invokeId.
bool BuildInvocation(const Step &step, uint32_t invokeId, CSTA3V6::CSTAMsg &out, std::string &err);

// BER round trip: encodes msg and decodes it into out, as the link does on
// either side. ber gets the octets. False with err when either direction fails.
bool RoundTrip(const CSTA3V6::CSTAMsg &msg, CSTA3V6::CSTAMsg &out, std::vector<unsigned char> &ber,
               std::string &err);

}  // namespace k3s

#endif
