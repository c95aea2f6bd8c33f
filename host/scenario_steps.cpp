// k3-scenario, portable half: reading a scenario file into steps and checking
// each step before anything runs. One table names every kind of step; the
// Windows runner handles steps by the kind found here.
#include <map>
#include <set>
#include <vector>

#include "host/scenario_detail.h"

namespace k3s {

using namespace detail;

const Arg *Step::Find(const std::string &key) const {
  for (const Arg &a : args)
    if (a.key == key) return &a;
  return nullptr;
}

namespace {

// Splits a line into tokens: whitespace separates, "..." keeps spaces, '#'
// outside quotes starts a comment.
bool Tokenize(const std::string &line, std::vector<std::string> &out, std::string &err) {
  std::string cur;
  bool inQuote = false, any = false;
  for (size_t i = 0; i < line.size(); ++i) {
    char c = line[i];
    if (inQuote) {
      cur.push_back(c);
      if (c == '\\' && i + 1 < line.size()) cur.push_back(line[++i]);
      else if (c == '"') inQuote = false;
      continue;
    }
    if (c == '#') break;
    if (c == ' ' || c == '\t' || c == '\r') {
      if (any) out.push_back(cur), cur.clear(), any = false;
      continue;
    }
    if (c == '"') inQuote = true;
    cur.push_back(c);
    any = true;
  }
  if (inQuote) {
    err = "unterminated quote";
    return false;
  }
  if (any) out.push_back(cur);
  return true;
}

const std::set<std::string> kContentKeys = {"amhost", "action", "maint", "ref", "date", "time", "data",
                                            "rep",    "acl",    "raw",   "oid"};

const char *const kMonitorUsage = "monitor start DEVICE xref=hex:.. | monitor stop DEVICE | monitor clear";
const char *const kPbxUsage = "pbx result|bare|error|reject|silence|take|invoke ...";
const char *const kExpectUsage =
    "expect NAME ... | expect event TYPE ... | expect sent ... | expect nothing-sent | expect no-event";

// Checks each step against what came before it in the file (request names).
struct Checker {
  std::map<std::string, const StructInfo *> requests;  // NAME -> its structure

  static bool Fail(std::string &err, const std::string &text) {
    err = text;
    return false;
  }

  static bool OnlyKeys(const Step &s, const std::set<std::string> &allowed, bool elements, std::string &err) {
    for (const Arg &a : s.args)
      if (!allowed.count(a.key) && !(elements && IsElementKey(a.key))) return Fail(err, "unknown argument " + a.key + "=");
    return true;
  }

  static bool NumberArg(const Step &s, const char *key, std::string &err) {
    const Arg *a = s.Find(key);
    if (a && a->value.kind != Value::Number && a->value.kind != Value::Ref)
      return Fail(err, std::string(key) + "= takes a number");
    return true;
  }

  static bool NumberArgs(const Step &s, std::initializer_list<const char *> keys, std::string &err) {
    for (const char *k : keys)
      if (!NumberArg(s, k, err)) return false;
    return true;
  }

  bool CheckRef(const Value &v, std::string &err) {
    if (v.kind != Value::Ref) return true;
    size_t dot = v.text.find('.');
    std::string who = v.text.substr(0, dot), what = v.text.substr(dot + 1);
    if (who == "event") return what == "seq" ? true : Fail(err, "only $event.seq is known");
    if (who == "sent") return what == "invoke" ? true : Fail(err, "only $sent.invoke is known");
    auto it = requests.find(who);
    if (it == requests.end()) return Fail(err, "$" + who + ": no request of that name before this line");
    Field raw;
    if (!FieldOf(*it->second, what, raw))
      return Fail(err, "$" + v.text + ": request " + who + " has no field " + what);
    return true;
  }

  static bool Content(const Step &s, bool required, std::string &err) {
    int forms = s.Has("amhost") + s.Has("maint") + s.Has("acl") + s.Has("raw");
    if (forms > 1) return Fail(err, "give only one of amhost=, maint=, acl=, raw=");
    if (required && forms == 0) return Fail(err, "the private data needs amhost=, maint=, acl= or raw=");
    if (!NumberArgs(s, {"action", "ref", "rep"}, err)) return false;
    for (const Arg &a : s.args)
      if (IsElementKey(a.key) && !s.Has("amhost")) return Fail(err, "element " + a.key + "= needs amhost=");
    return true;
  }

  // ---- the line and the runner's switches

  bool Open(const Step &s, std::string &err) {
    return s.words.size() == 1 && OnlyKeys(s, {"version"}, false, err) && NumberArg(s, "version", err);
  }
  bool Close(const Step &s, std::string &err) {
    return s.words.size() == 1 && s.args.empty() ? true : Fail(err, "close takes nothing");
  }
  bool Link(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    return w.size() == 2 && (w[1] == "up" || w[1] == "down") ? true : Fail(err, "link up|down");
  }
  bool FetchSwitch(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    return w.size() == 2 && (w[1] == "on" || w[1] == "off") ? true : Fail(err, "fetch on|off");
  }
  bool Note(const Step &, std::string &) { return true; }
  bool Requires(const Step &s, std::string &err) {
    return s.words.size() == 2 && s.words[1] == "timeout" ? true : Fail(err, "requires timeout");
  }
  bool Wait(const Step &s, std::string &err) {
    int64_t ms;
    return s.words.size() == 2 && ParseNumber(s.words[1], ms) && ms >= 0 && ms <= 600000
               ? true
               : Fail(err, "wait takes milliseconds (0..600000)");
  }

  // ---- monitor notifications

  bool MonitorStart(const Step &s, std::string &err) {
    if (s.words.size() != 3) return Fail(err, kMonitorUsage);
    const Arg *x = s.Find("xref");
    if (!x || x->value.kind != Value::Octets) return Fail(err, "monitor start needs xref=hex:...");
    return OnlyKeys(s, {"xref"}, false, err);
  }
  bool MonitorStop(const Step &s, std::string &err) {
    if (s.words.size() != 3) return Fail(err, kMonitorUsage);
    return s.args.empty() ? true : Fail(err, "monitor stop DEVICE");
  }
  bool MonitorClear(const Step &s, std::string &err) {
    if (s.words.size() != 2) return Fail(err, kMonitorUsage);
    return s.args.empty() ? true : Fail(err, "monitor clear takes nothing");
  }

  // ---- TAPI requests

  bool Request(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    if (w.size() != 3) return Fail(err, "request NAME TYPE [size=N] [field=value ...]");
    if (!IsName(w[1]) || w[1] == "event" || w[1] == "sent") return Fail(err, "bad request name " + w[1]);
    if (requests.count(w[1])) return Fail(err, "request name " + w[1] + " used twice");
    const StructInfo *si = FindStructure(w[2]);
    if (!si) return Fail(err, "unknown structure type " + w[2]);
    std::vector<uint8_t> scratch(kBlockRoom);
    for (const Arg &a : s.args) {
      if (a.key == "size") {
        if (a.value.kind != Value::Number || a.value.number < 0 || a.value.number > kBlockRoom)
          return Fail(err, "size= takes 0.." + std::to_string(kBlockRoom));
        continue;
      }
      Field raw;
      const Field *f = FieldOf(*si, a.key, raw);
      if (!f) return Fail(err, std::string("structure ") + si->name + " has no field " + a.key);
      if (a.value.kind != Value::Ref && !PutField(scratch.data(), kBlockRoom, *f, a.value, err)) return false;
    }
    requests[w[1]] = si;
    return true;
  }

  // ---- the PBX

  bool PbxQuiet(const Step &s, std::string &err) {
    return s.words.size() == 2 && s.args.empty() ? true : Fail(err, "pbx " + s.words[1] + " takes nothing");
  }
  bool PbxBareOrReject(const Step &s, std::string &err) {
    return s.words.size() == 2 && OnlyKeys(s, {"invoke", "keep"}, false, err) && NumberArgs(s, {"keep", "invoke"}, err);
  }
  bool PbxError(const Step &s, std::string &err) {
    return s.words.size() == 2 && OnlyKeys(s, {"invoke", "code", "keep"}, false, err) &&
           NumberArgs(s, {"keep", "invoke", "code"}, err);
  }
  bool PbxResult(const Step &s, std::string &err) {
    if (!NumberArg(s, "keep", err)) return false;
    std::set<std::string> keys = kContentKeys;
    keys.insert({"invoke", "op", "agent", "state", "category", "xref", "keep"});
    if (s.words.size() != 2) return Fail(err, "pbx result [key=value ...]");
    return OnlyKeys(s, keys, true, err) && NumberArgs(s, {"invoke", "op", "state", "category"}, err) &&
           Content(s, false, err);
  }
  bool PbxInvoke(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    if (w.size() < 3) return Fail(err, "pbx invoke agent|startpath|senddata|stoppath|cdr|escape ...");
    const std::string &kind = w[2];
    if (!NumberArgs(s, {"keep", "invoke"}, err)) return false;
    if (kind == "agent") return AgentInvoke(s, err);
    if (w.size() != 3) return Fail(err, "too many words");
    if (kind == "startpath")
      return OnlyKeys(s, {"invoke", "device", "element3", "private"}, false, err) && NumberArg(s, "element3", err);
    if (kind == "senddata" || kind == "stoppath") {
      if (!s.Has("xref")) return Fail(err, kind + " needs xref=hex:..");
      return OnlyKeys(s, {"invoke", "xref", "data"}, false, err);
    }
    if (kind == "cdr")
      return OnlyKeys(s, {"invoke", "calling", "called", "account", "access", "duration", "carrier", "route", "tariff",
                          "created", "element20", "private", "supplementary"},
                      false, err) &&
             NumberArgs(s, {"duration", "carrier", "route", "tariff", "supplementary"}, err);
    if (kind == "escape") {
      std::set<std::string> keys = kContentKeys;
      keys.insert("invoke");
      return OnlyKeys(s, keys, true, err) && Content(s, true, err);
    }
    return Fail(err, "unknown invocation " + kind);
  }
  bool AgentInvoke(const Step &s, std::string &err) {
    static const std::set<std::string> events = {"busy", "loggedon", "loggedoff", "notready",
                                                 "ready", "wac", "autoanswer"};
    if (s.words.size() != 4 || !events.count(s.words[3]))
      return Fail(err, "pbx invoke agent busy|loggedon|loggedoff|notready|ready|wac|autoanswer xref=hex:..");
    if (!s.Has("xref")) return Fail(err, "an agent event needs xref=hex:..");
    return OnlyKeys(s, {"invoke", "xref", "device", "agent", "group", "private"}, false, err);
  }

  // ---- expectations

  bool ExpectQuiet(const Step &s, std::string &err) {
    return NumberArg(s, "within", err) && s.words.size() == 2 && OnlyKeys(s, {"within"}, false, err);
  }
  bool ExpectSent(const Step &s, std::string &err) {
    return NumberArg(s, "within", err) && s.words.size() == 2 &&
           OnlyKeys(s, {"within", "op", "invoke", "kind", "acl", "amhost", "maint", "ref", "raw"}, false, err) &&
           NumberArgs(s, {"op", "invoke", "maint", "ref"}, err);
  }
  bool ExpectEvent(const Step &s, std::string &err) {
    if (!NumberArg(s, "within", err)) return false;
    const std::vector<std::string> &w = s.words;
    int64_t type;
    if (w.size() != 3 || !ParseNumber(w[2], type) || EventName(uint32_t(type))[0] == '?')
      return Fail(err, "expect event TYPE (0x13, 0x32, 0x81, 0x92, 0x94, 0x96) [field=value ...]");
    std::set<std::string> keys = {"within", "device", "agent", "group", "kind", "state", "data"};
    for (const Field &f : EventHeaderFields(uint16_t(type))) keys.insert(f.name);
    return OnlyKeys(s, keys, false, err);
  }
  bool ExpectCompletion(const Step &s, std::string &err) {
    const std::vector<std::string> &w = s.words;
    if (w.size() < 2) return Fail(err, kExpectUsage);
    if (!NumberArg(s, "within", err)) return false;
    auto it = requests.find(w[1]);
    if (it == requests.end()) return Fail(err, "expect: no request named " + w[1] + " before this line");
    if (w.size() > 3 || (w.size() == 3 && w[2] != "pending" && w[2] != "none"))
      return Fail(err, "expect NAME [pending|none] [result=R] [field=value ...]");
    for (const Arg &a : s.args) {
      if (a.key == "within") continue;
      if (a.key == "result") {
        uint32_t r;
        std::string text = a.value.kind == Value::Number ? std::to_string(a.value.number) : a.value.text;
        if (!ParseResult(text, r)) return Fail(err, "unknown result " + text);
        continue;
      }
      Field raw;
      if (!FieldOf(*it->second, a.key, raw))
        return Fail(err, std::string("structure ") + it->second->name + " has no field " + a.key);
    }
    return true;
  }
};

// Every kind of step: its first word, the second word that selects it (null
// when the kind is the first word's only one, or its fall-back), the usage
// given when the second word selects nothing, and the rule that checks it.
struct StepRule {
  const char *verb;
  const char *second;
  StepKind kind;
  const char *usage;
  bool (Checker::*check)(const Step &, std::string &);
};

const StepRule kStepRules[] = {
    {"open", nullptr, StepKind::Open, nullptr, &Checker::Open},
    {"close", nullptr, StepKind::Close, nullptr, &Checker::Close},
    {"link", nullptr, StepKind::Link, nullptr, &Checker::Link},
    {"fetch", nullptr, StepKind::Fetch, nullptr, &Checker::FetchSwitch},
    {"note", nullptr, StepKind::Note, nullptr, &Checker::Note},
    {"requires", nullptr, StepKind::Requires, nullptr, &Checker::Requires},
    {"wait", nullptr, StepKind::Wait, nullptr, &Checker::Wait},
    {"monitor", "start", StepKind::MonitorStart, kMonitorUsage, &Checker::MonitorStart},
    {"monitor", "stop", StepKind::MonitorStop, kMonitorUsage, &Checker::MonitorStop},
    {"monitor", "clear", StepKind::MonitorClear, kMonitorUsage, &Checker::MonitorClear},
    {"request", nullptr, StepKind::Request, nullptr, &Checker::Request},
    {"pbx", "result", StepKind::PbxResult, kPbxUsage, &Checker::PbxResult},
    {"pbx", "bare", StepKind::PbxBare, kPbxUsage, &Checker::PbxBareOrReject},
    {"pbx", "reject", StepKind::PbxReject, kPbxUsage, &Checker::PbxBareOrReject},
    {"pbx", "error", StepKind::PbxError, kPbxUsage, &Checker::PbxError},
    {"pbx", "silence", StepKind::PbxSilence, kPbxUsage, &Checker::PbxQuiet},
    {"pbx", "take", StepKind::PbxTake, kPbxUsage, &Checker::PbxQuiet},
    {"pbx", "invoke", StepKind::PbxInvoke, kPbxUsage, &Checker::PbxInvoke},
    {"expect", "nothing-sent", StepKind::ExpectNothingSent, kExpectUsage, &Checker::ExpectQuiet},
    {"expect", "no-event", StepKind::ExpectNoEvent, kExpectUsage, &Checker::ExpectQuiet},
    {"expect", "sent", StepKind::ExpectSent, kExpectUsage, &Checker::ExpectSent},
    {"expect", "event", StepKind::ExpectEvent, kExpectUsage, &Checker::ExpectEvent},
    {"expect", nullptr, StepKind::ExpectCompletion, kExpectUsage, &Checker::ExpectCompletion},
};

// The rule of a step's words; null with err set when there is none.
const StepRule *RuleOf(const Step &s, std::string &err) {
  const StepRule *fallBack = nullptr, *any = nullptr;
  for (const StepRule &r : kStepRules) {
    if (s.words[0] != r.verb) continue;
    any = &r;
    if (!r.second) fallBack = &r;
    else if (s.words.size() >= 2 && s.words[1] == r.second) return &r;
  }
  if (fallBack) return fallBack;
  err = any ? any->usage : "unknown step " + s.words[0];
  return nullptr;
}

// Finds the step's kind and checks it; references are checked first.
bool Classify(Checker &checker, Step &s, std::string &err) {
  for (const Arg &a : s.args)
    if (!checker.CheckRef(a.value, err)) return false;
  const StepRule *rule = RuleOf(s, err);
  if (!rule) return false;
  s.kind = rule->kind;
  return (checker.*rule->check)(s, err);
}

}  // namespace

bool ParseScenario(std::istream &in, const std::string &file, std::vector<Step> &steps,
                   std::vector<std::string> &errors) {
  Checker checker;
  std::string line;
  int number = 0;
  size_t errorsBefore = errors.size();
  while (std::getline(in, line)) {
    ++number;
    Step s;
    s.file = file;
    s.line = number;
    std::vector<std::string> tokens;
    std::string err;
    if (!Tokenize(line, tokens, err)) {
      errors.push_back(s.Where() + ": " + err);
      continue;
    }
    if (tokens.empty()) continue;
    size_t b = line.find_first_not_of(" \t"), e = line.find_last_not_of(" \t\r");
    s.source = line.substr(b, e - b + 1);
    bool ok = true;
    for (const std::string &t : tokens) {
      size_t eq = t[0] == '"' ? std::string::npos : t.find('=');
      if (eq == std::string::npos) {
        if (!s.args.empty() && s.words[0] != "note") {
          err = "word " + t + " after key=value arguments";
          ok = false;
          break;
        }
        s.words.push_back(t);
        continue;
      }
      Arg a;
      a.key = t.substr(0, eq);
      if (a.key.empty()) {
        err = "missing key before = in " + t;
        ok = false;
        break;
      }
      if (s.Find(a.key) && !IsElementKey(a.key)) {
        err = "argument " + a.key + "= given twice";
        ok = false;
        break;
      }
      if (!ParseValue(t.substr(eq + 1), a.value, err)) {
        ok = false;
        break;
      }
      s.args.push_back(a);
    }
    if (ok && s.words.empty()) err = "a step begins with a word", ok = false;
    if (ok) ok = Classify(checker, s, err);
    if (!ok) {
      errors.push_back(s.Where() + ": " + err);
      continue;
    }
    steps.push_back(std::move(s));
  }
  return errors.size() == errorsBefore;
}

}  // namespace k3s
