// k3-scenario: the runner. Every message the library hands to the send
// callback is BER-encoded and decoded again before the simulated PBX sees it;
// every message of the PBX is built as objects, encoded and decoded before it
// reaches the library's inbound export.
#include "host/scenario_runner.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "csta3_model.h"
#include "host/k3_scenario_log.h"
#include "kestrel3.h"
#include "kestrel3_structures.h"

using namespace CSTA3V6;
using k3s::Step;
using SValue = k3s::Value;

namespace k3host {

namespace {

struct Request {
  std::string name;
  const k3s::StructInfo *info = nullptr;
  uint32_t requestId = 0, size = 0;
  std::unique_ptr<uint8_t[]> block;
  bool completed = false;
  uint32_t result = 0;
  bool internal = false;  // a fetch made by the runner
};

struct EventSeen {
  uint8_t header[12];
  uint16_t type;
  bool fetched = false;
  k3s::FetchPlan plan;
  std::vector<uint8_t> record;  // the fetch structure as the library filled it
  uint32_t fetchResult = 0;
};

}  // namespace

// The runner's state between steps: the requests by name, the messages the PBX
// has not answered yet, the events no step has checked yet, and the counts of
// the summary.
class RunnerImpl {
 public:
  RunnerImpl(const LibraryExports &lib, Clock &clock, bool ber) : dll_(lib), clock_(clock), ber_(ber) {}

  void Open(uint32_t version) {
    uint32_t r = dll_.lineOpen(0, version, OnReply, OnEvent, nullptr, OnSend, nullptr);
    std::printf("  line 0 opened (extension version 0x%08x): %u\n", version, r);
    if (r != 1) Failed("line open returned " + std::to_string(r));
  }
  void Close() {
    uint32_t r = dll_.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr);
    std::printf("  line 0 closed: %u\n", r);
    Settle(50);
    pbx_.clear();
  }

  // Runs one file's steps; the line is opened before and closed after.
  void RunFile(const std::string &file, const std::vector<Step> &steps) {
    std::printf("\n== %s\n", file.c_str());
    file_ = file;
    requests_.clear();
    Open(0x00020000);
    for (const Step &s : steps) {
      where_ = s.Where();
      std::printf("\n[%s] %s\n", where_.c_str(), s.source.c_str());
      RunStep(s);
      Pump();
    }
    Settle(100);
    for (const Happening &h : pbx_) MessageLine("  not answered:", h);
    if (!events_.empty()) std::printf("  %zu event(s) not checked by the scenario\n", events_.size());
    events_.clear();
    Close();
    retired_.push_back(std::move(requests_));
  }

  uint32_t ExpectationsMet() const { return met_; }

  int Summary() const {
    std::printf("\n== Summary\n");
    std::printf("  %-42s %6s\n", "TAPI requests by type", "count");
    for (auto &kv : requestsByType_) {
      const k3s::StructInfo *si = k3s::StructureByCode(kv.first);
      std::printf("    0x%02X %-35s %6u\n", kv.first, si ? si->name : "?", kv.second);
    }
    std::printf("  %-42s %6s\n", "completions by result", "count");
    for (auto &kv : completionsByResult_)
      std::printf("    0x%08X %-29s %6u\n", kv.first, k3s::ResultName(kv.first), kv.second);
    std::printf("  %-42s %6s\n", "line events by type", "count");
    for (auto &kv : eventsByType_) std::printf("    0x%02X %-35s %6u\n", kv.first, k3s::EventName(kv.first), kv.second);
    std::printf("  %-42s %6s\n", "messages to the PBX by operation", "count");
    for (auto &kv : sentByOp_) std::printf("    %-40s %6u\n", kv.first.c_str(), kv.second);
    std::printf("  %-42s %6u\n", "messages from the PBX", fromPbx_);
    std::printf("  %-42s %6u\n", "expectations met", met_);
    std::printf("  %-42s %6u\n", "expectations failed", failed_);
    for (const std::string &f : failures_) std::printf("    %s\n", f.c_str());
    return failed_ ? 1 : 0;
  }

 private:
  // ---- bookkeeping ----------------------------------------------------------

  void Met() { ++met_; }
  void Failed(const std::string &why) {
    ++failed_;
    failures_.push_back(where_ + ": " + why);
    std::printf("  FAILED %s: %s\n", where_.c_str(), why.c_str());
  }

  static std::string Indented(const std::string &text, const char *pad) {
    std::string out, line;
    std::stringstream ss(text);
    while (std::getline(ss, line)) out += pad + line + "\n";
    return out;
  }

  void MessageLine(const char *label, const Happening &h) {
    if (!h.msg) {
      std::printf("%s invoke id %u: %s\n", label, h.invokeId, h.decodeError.c_str());
      return;
    }
    k3s::MessageFacts f = k3s::FactsOf(*h.msg);
    std::printf("%s %s %lld %s (%d)\n", label, f.kind.c_str(), (long long)f.invokeId, k3s::OperationName(f.operation),
                f.operation);
  }

  void PrintMessage(const CSTAMsg &msg, const std::vector<unsigned char> &ber) {
    std::fputs(Indented(AsnPrintToString(msg), "      ").c_str(), stdout);
    if (ber_) std::printf("      BER %zu octets: %s\n", ber.size(), k3s::HexOf(ber.data(), ber.size(), " ").c_str());
  }

  std::string Fields(const Request &r) const {
    std::string s;
    for (const k3s::Field &f : r.info->fields) {
      std::string v = k3s::GetField(r.block.get(), k3s::kBlockRoom, f);
      if (v == "0" || v == "\"\"") continue;  // untouched fields stay out of the way
      s += " " + f.name + "=" + v;
    }
    return s;
  }

  // ---- the callbacks' log ---------------------------------------------------

  // Handles what arrived since the last call: prints it and files it.
  void Pump() {
    for (;;) {
      Happening h;
      {
        std::lock_guard<std::mutex> l(g_lock);
        if (seen_ >= g_log.size()) return;
        h = g_log[seen_++];  // a copy: the callbacks may grow the log meanwhile
      }
      switch (h.kind) {
        case Happening::Sent: {
          MessageLine("  DLL -> PBX:", h);
          if (h.msg) {
            PrintMessage(*h.msg, h.ber);
            k3s::MessageFacts f = k3s::FactsOf(*h.msg);
            ++sentByOp_[std::string(k3s::OperationName(f.operation)) + " " + f.kind];
          } else {
            Failed("a message of the library did not survive the BER round trip: " + h.decodeError);
          }
          pbx_.push_back(h);
          break;
        }
        case Happening::Reply: {
          ++completionsByResult_[h.result];
          auto it = byId_.find(h.requestId);
          if (it == byId_.end()) {
            std::printf("  completion of unknown request id %u: 0x%08X %s\n", h.requestId, h.result,
                        k3s::ResultName(h.result));
            break;
          }
          Request &r = *it->second;
          if (r.completed) Failed(r.name + " completed a second time");
          r.completed = true;
          r.result = h.result;
          std::printf("  completion %s (0x%02X %s): 0x%08X %s%s\n", r.name.c_str(), r.info->type, r.info->name,
                      h.result, k3s::ResultName(h.result), Fields(r).c_str());
          break;
        }
        case Happening::Event: {
          EventSeen e;
          std::memcpy(e.header, h.words, 12);
          e.type = uint16_t(e.header[0] | e.header[1] << 8);
          ++eventsByType_[e.type];
          std::printf("  line event 0x%02X (%s), header %s", e.type, k3s::EventName(e.type),
                      k3s::HexOf(e.header, 12, " ").c_str());
          for (const k3s::Field &f : k3s::EventHeaderFields(e.type))
            std::printf(" %s=%s", f.name.c_str(), k3s::GetField(e.header, 12, f).c_str());
          std::printf("%s\n", h.param3 ? " (parameter 3 is not 0)" : "");
          if (h.param3) Failed("event parameter 3 is " + std::to_string(h.param3));
          if (fetch_ && k3s::FetchPlanFor(e.type, e.plan)) Fetch(e);
          if (e.type == 0x32 || e.type == 0x81 || e.type == 0x94) lastSeq_ = e.header[2] | e.header[3] << 8 | e.header[4] << 16 | uint32_t(e.header[5]) << 24;
          events_.push_back(std::move(e));
          break;
        }
      }
    }
  }

  // Fetches an event's stored record with the local request of its plan.
  void Fetch(EventSeen &e) {
    uint32_t seq = e.header[2] | e.header[3] << 8 | e.header[4] << 16 | uint32_t(e.header[5]) << 24;
    Request &r = NewRequest("fetch" + std::to_string(seq), k3s::StructureByCode(e.plan.type), e.plan.size, true);
    std::memcpy(r.block.get() + 2, &seq, 4);
    ++requestsByType_[e.plan.type];
    uint32_t q = dll_.devSpecific(0, r.requestId, r.block.get(), r.size);
    if (q != 0) {
      std::printf("    fetch of record %u not queued: 0x%08X\n", seq, q);
      return;
    }
    // The completion comes from the worker thread; wait for it without
    // handling the log (this runs inside Pump).
    uint64_t end = clock_.NowMs() + 5000;
    bool done = false;
    for (;;) {
      size_t logged;
      {
        std::lock_guard<std::mutex> l(g_lock);
        for (size_t i = seen_; i < g_log.size(); ++i)
          if (g_log[i].kind == Happening::Reply && g_log[i].requestId == r.requestId) done = true;
        logged = g_log.size();
      }
      uint64_t now = clock_.NowMs();
      if (done || now >= end) break;
      clock_.Pause(uint32_t(end - now), logged);
    }
    if (!done) {
      std::printf("    fetch of record %u: no completion\n", seq);
      return;
    }
    e.fetched = true;
    e.record.assign(r.block.get(), r.block.get() + k3s::kBlockRoom);
    std::printf("    record %u fetched with 0x%02X:", seq, e.plan.type);
    for (const k3s::Field &f : e.plan.fields)
      std::printf(" %s=%s", f.name.c_str(), k3s::GetField(e.record.data(), k3s::kBlockRoom, f).c_str());
    std::printf("\n");
  }

  // Waits (handling the log) until pred holds or ms have passed.
  bool WaitFor(const std::function<bool()> &pred, uint32_t ms) {
    uint64_t end = clock_.NowMs() + ms;
    for (;;) {
      Pump();
      if (pred()) return true;
      uint64_t now = clock_.NowMs();
      if (now >= end) return false;
      clock_.Pause(uint32_t(end - now), seen_);
    }
  }
  void Settle(uint32_t ms) {
    WaitFor([] { return false; }, ms);
  }

  // ---- steps ----------------------------------------------------------------

  Request &NewRequest(const std::string &name, const k3s::StructInfo *info, uint32_t size, bool internal) {
    auto r = std::make_unique<Request>();
    r->name = name;
    r->info = info;
    r->size = size;
    r->requestId = nextRequestId_++;
    r->internal = internal;
    r->block.reset(new uint8_t[k3s::kBlockRoom]());
    r->block[0] = uint8_t(info->type), r->block[1] = uint8_t(info->type >> 8);
    Request &ref = *r;
    byId_[ref.requestId] = &ref;
    requests_[internal ? name + "#" + std::to_string(ref.requestId) : name] = std::move(r);
    return ref;
  }

  // Resolves $event.seq and $NAME.field references.
  bool Resolve(const SValue &in, SValue &out) {
    out = in;
    if (in.kind != SValue::Ref) return true;
    size_t dot = in.text.find('.');
    std::string who = in.text.substr(0, dot), what = in.text.substr(dot + 1);
    int64_t n = 0;
    if (who == "event") {
      n = lastSeq_;
    } else if (who == "sent") {
      n = lastTaken_;
    } else {
      auto it = requests_.find(who);
      if (it == requests_.end()) return Failed("$" + in.text + ": no such request"), false;
      k3s::Field raw;
      const k3s::Field *f = k3s::FieldOf(*it->second->info, what, raw);
      std::string text = k3s::GetField(it->second->block.get(), k3s::kBlockRoom, *f);
      if (f->kind == k3s::FieldKind::Text || f->kind == k3s::FieldKind::Octets) {
        std::string err;
        return k3s::ParseValue(text, out, err);
      }
      n = std::stoll(text);
    }
    out.kind = SValue::Number;
    out.number = n + in.offset;
    out.text = std::to_string(out.number);
    return true;
  }

  void RunStep(const Step &written) {
    // References ($event.seq, $NAME.field, $sent.invoke) take their values now.
    Step s = written;
    for (k3s::Arg &a : s.args) {
      SValue v;
      if (!Resolve(a.value, v)) return;
      a.value = v;
    }
    using K = k3s::StepKind;
    switch (s.kind) {
      case K::Open: return Open(s.Has("version") ? uint32_t(s.Find("version")->value.number) : 0x00020000);
      case K::Close: return Close();
      case K::Note:
      case K::Requires: return;
      case K::Wait: return Settle(uint32_t(std::stoul(s.words[1])));
      case K::Fetch: fetch_ = s.words[1] == "on"; return;
      case K::Link:
        g_sendAccept = s.words[1] == "up" ? 1 : 0;
        std::printf("  the host's send callback now %s messages\n", g_sendAccept ? "accepts" : "refuses");
        return;
      case K::MonitorStart:
      case K::MonitorStop:
      case K::MonitorClear: return Monitor(s);
      case K::Request: return SendRequest(s);
      case K::PbxInvoke: return PbxInvoke(s);
      case K::PbxSilence:
      case K::PbxTake: return PbxTake(s);
      case K::PbxResult:
      case K::PbxBare:
      case K::PbxError:
      case K::PbxReject: return PbxAnswer(s);
      case K::ExpectNothingSent: return ExpectQuiet(pbx_, "message(s) to the PBX", s);
      case K::ExpectNoEvent: return ExpectQuiet(events_, "event(s)", s);
      case K::ExpectSent: return ExpectSent(s);
      case K::ExpectEvent: return ExpectEvent(s);
      case K::ExpectCompletion: return ExpectCompletion(s);
    }
  }

  void Monitor(const Step &s) {
    uint32_t r;
    if (s.kind == k3s::StepKind::MonitorStart) {
      const std::string &x = s.Find("xref")->value.text;
      AsnOcts xref(x.data(), x.size());
      r = dll_.monitorStart(0, s.words[2].c_str(), &xref);
    } else if (s.kind == k3s::StepKind::MonitorStop) {
      r = dll_.monitorStop(0, s.words[2].c_str());
    } else {
      r = dll_.monitorClear(0);
    }
    std::printf("  monitor %s: 0x%08X\n", s.words[1].c_str(), r);
    if (r != 0) Failed("the monitor notification was not queued");
  }

  void SendRequest(const Step &s) {
    const k3s::StructInfo *info = k3s::FindStructure(s.words[2]);
    uint32_t size = s.Has("size") ? uint32_t(s.Find("size")->value.number) : info->defaultSize;
    Request &r = NewRequest(s.words[1], info, size, false);
    for (const k3s::Arg &a : s.args) {
      if (a.key == "size") continue;
      k3s::Field raw;
      const k3s::Field *f = k3s::FieldOf(*info, a.key, raw);
      SValue v;
      std::string err;
      if (!Resolve(a.value, v)) return;
      if (!k3s::PutField(r.block.get(), k3s::kBlockRoom, *f, v, err)) return Failed(err);
    }
    ++requestsByType_[info->type];
    std::printf("  TAPI -> DLL: request %s id %u, 0x%02X %s, size %u:%s\n", r.name.c_str(), r.requestId, info->type,
                info->name, size, Fields(r).c_str());
    uint32_t q = dll_.devSpecific(0, r.requestId, r.block.get(), size);
    if (q != 0) {
      std::printf("  not queued: 0x%08X %s\n", q, k3s::ResultName(q));
      r.completed = true;
      r.result = q;
      ++completionsByResult_[q];
      return;
    }
    // The worker thread either answers at once or hands a message to the PBX
    // (or both, for the list query); wait for the first, then briefly for more.
    const void *block = r.block.get();
    bool sent = false;
    WaitFor(
        [&] {
          std::lock_guard<std::mutex> l(g_lock);
          for (const Happening &h : g_log)
            if (h.kind == Happening::Sent && h.block == block) sent = true;
          return r.completed || sent;
        },
        3000);
    if (sent && !r.completed) Settle(60);
  }

  // An invocation of the PBX under the given id or the next of its own.
  void PbxInvoke(const Step &s) {
    uint32_t id = s.Has("invoke") ? uint32_t(s.Find("invoke")->value.number) : nextPbxInvoke_++;
    CSTAMsg out;
    std::string err;
    if (!k3s::BuildInvocation(s, id, out, err)) return Failed(err);
    Deliver(out);
  }

  // The PBX takes the next queued message and answers nothing.
  void PbxTake(const Step &s) {
    Happening h;
    if (!TakeQueued(s, h)) return;
    MessageLine(s.kind == k3s::StepKind::PbxTake ? "  PBX takes" : "  PBX stays silent on", h);
  }

  // An answer to the next queued message, or under a given invoke id.
  void PbxAnswer(const Step &s) {
    CSTAMsg out;
    std::string err;
    if (s.Has("invoke")) {
      // An answer under a given invoke id leaves the queue alone; its
      // operation is that of the next queued message unless op= says it.
      WaitFor([&] { return !pbx_.empty(); }, 200);
      CSTAMsg none;
      const CSTAMsg &like = !pbx_.empty() && pbx_.front().msg ? *pbx_.front().msg : none;
      if (!k3s::BuildAnswer(s, like, out, err)) return Failed(err);
    } else {
      Happening h;
      if (!TakeQueued(s, h)) return;
      if (!h.msg) return Failed("the message to answer could not be decoded");
      if (!k3s::BuildAnswer(s, *h.msg, out, err)) return Failed(err);
    }
    Deliver(out);
  }

  // The next message sent to the PBX; keep=1 leaves it queued for a later answer.
  bool TakeQueued(const Step &s, Happening &h) {
    if (!WaitFor([&] { return !pbx_.empty(); }, 3000)) return Failed("nothing was sent to the PBX to answer"), false;
    h = pbx_.front();
    if (h.msg) lastTaken_ = k3s::FactsOf(*h.msg).invokeId;
    if (!(s.Has("keep") && s.Find("keep")->value.number)) pbx_.pop_front();
    return true;
  }

  // Passes a message of the PBX to the library as the link would: encoded and decoded.
  void Deliver(const CSTAMsg &out) {
    CSTAMsg decoded;
    std::vector<unsigned char> ber;
    std::string err;
    if (!k3s::RoundTrip(out, decoded, ber, err)) return Failed("the PBX's message: " + err);
    Happening shown;
    shown.msg = std::make_shared<CSTAMsg>(decoded);
    MessageLine("  PBX -> DLL:", shown);
    PrintMessage(decoded, ber);
    ++fromPbx_;
    int32_t r = dll_.fromVorta(0, &decoded);
    if (r != 1) Failed("fn_vrt_CSTAfromVorta returned " + std::to_string(r));
    Pump();
  }

  uint32_t Within(const Step &s, uint32_t dflt) const {
    return s.Has("within") ? uint32_t(s.Find("within")->value.number) * 1000u : dflt;
  }

  // The queue (messages to the PBX, or events) must still be empty after the time.
  template <class Queue>
  void ExpectQuiet(const Queue &queue, const char *what, const Step &s) {
    Settle(Within(s, 200));
    if (queue.empty()) return std::printf("  ok\n"), Met();
    Failed(std::to_string(queue.size()) + " " + what + " were not expected");
  }

  void ExpectSent(const Step &s) {
    if (!WaitFor([&] { return !pbx_.empty(); }, Within(s, 2000))) return Failed("no message was sent to the PBX");
    const Happening &h = pbx_.front();
    if (!h.msg) return Failed("the message could not be decoded");
    std::string err;
    if (!k3s::CheckFacts(k3s::FactsOf(*h.msg), s, err)) return Failed("message to the PBX: " + err);
    std::printf("  ok\n");
    Met();
  }

  // One expectation's verdict: met, or failed with every mismatch.
  void Verdict(const std::string &what, const std::vector<std::string> &bad) {
    if (bad.empty()) return std::printf("  ok\n"), Met();
    std::string all;
    for (const std::string &b : bad) all += (all.empty() ? "" : "; ") + b;
    Failed(what + ": " + all);
  }

  void ExpectEvent(const Step &s) {
    uint16_t type = uint16_t(std::stoul(s.words[2], nullptr, 0));
    if (!WaitFor([&] { return !events_.empty(); }, Within(s, 2000)))
      return Failed("no event arrived, expected 0x" + k3s::HexOf(&type, 1));
    EventSeen e = std::move(events_.front());
    events_.pop_front();
    if (e.type != type)
      return Failed("event 0x" + k3s::HexOf(&e.type, 1) + " arrived, expected 0x" + k3s::HexOf(&type, 1));
    std::vector<std::string> bad;
    for (const k3s::Arg &a : s.args) {
      if (a.key == "within") continue;
      SValue v;
      if (!Resolve(a.value, v)) return;
      std::string err;
      const k3s::Field *f = nullptr;
      for (const k3s::Field &h : k3s::EventHeaderFields(type))
        if (h.name == a.key) f = &h;
      if (f) {
        if (!k3s::FieldEquals(e.header, 12, *f, v, err)) bad.push_back(err);
        continue;
      }
      for (const k3s::Field &r : e.plan.fields)
        if (r.name == a.key) f = &r;
      if (!f) {
        bad.push_back(a.key + " is not a field of event 0x" + k3s::HexOf(&type, 1));
        continue;
      }
      if (!e.fetched) {
        bad.push_back("the record was not fetched, " + a.key + " unknown");
        continue;
      }
      if (!k3s::FieldEquals(e.record.data(), k3s::kBlockRoom, *f, v, err)) bad.push_back("record " + err);
    }
    Verdict("event 0x" + k3s::HexOf(&type, 1), bad);
  }

  void ExpectCompletion(const Step &s) {
    auto it = requests_.find(s.words[1]);
    if (it == requests_.end()) return Failed("no request " + s.words[1] + " in this file");
    Request &r = *it->second;
    if (s.words.size() == 3) {  // pending / none: no completion must come
      Settle(Within(s, 300));
      if (r.completed)
        return Failed(r.name + " was completed with 0x" + Hex32(r.result) + " " + k3s::ResultName(r.result));
    } else if (!WaitFor([&] { return r.completed; }, Within(s, 2000))) {
      return Failed(r.name + " was not completed");
    }
    std::vector<std::string> bad;
    for (const k3s::Arg &a : s.args) {
      if (a.key == "within") continue;
      SValue v;
      if (!Resolve(a.value, v)) return;
      if (a.key == "result") {
        uint32_t want = 0;
        k3s::ParseResult(v.kind == SValue::Number ? std::to_string(v.number) : v.text, want);
        if (want != r.result)
          bad.push_back("result is 0x" + Hex32(r.result) + " " + k3s::ResultName(r.result) + ", expected 0x" +
                        Hex32(want) + " " + k3s::ResultName(want));
        continue;
      }
      k3s::Field raw;
      const k3s::Field *f = k3s::FieldOf(*r.info, a.key, raw);
      std::string err;
      if (!k3s::FieldEquals(r.block.get(), k3s::kBlockRoom, *f, v, err)) bad.push_back(err);
    }
    Verdict(r.name, bad);
  }

  static std::string Hex32(uint32_t v) {
    char b[12];
    std::snprintf(b, sizeof b, "%08X", v);
    return b;
  }

  const LibraryExports dll_;
  Clock &clock_;
  bool ber_;
  bool fetch_ = true;
  std::string file_, where_;
  size_t seen_ = 0;                 // log entries handled
  std::deque<Happening> pbx_;       // messages to the PBX not yet answered
  std::deque<EventSeen> events_;    // events not yet checked
  std::map<std::string, std::unique_ptr<Request>> requests_;
  std::vector<std::map<std::string, std::unique_ptr<Request>>> retired_;  // buffers of closed lines
  std::map<uint32_t, Request *> byId_;
  uint32_t nextRequestId_ = 1;
  uint32_t nextPbxInvoke_ = 1;
  uint32_t lastSeq_ = 0;
  int64_t lastTaken_ = 0;  // invoke id of the message the PBX took last
  uint32_t met_ = 0, failed_ = 0, fromPbx_ = 0;
  std::vector<std::string> failures_;
  std::map<uint16_t, uint32_t> requestsByType_;
  std::map<uint32_t, uint32_t> completionsByResult_;
  std::map<uint16_t, uint32_t> eventsByType_;
  std::map<std::string, uint32_t> sentByOp_;
};


uint64_t SteadyClock::NowMs() {
  return uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now().time_since_epoch())
                      .count());
}

void SteadyClock::Pause(uint32_t ms, size_t logged) {
  std::unique_lock<std::mutex> l(g_lock);
  g_changed.wait_for(l, std::chrono::milliseconds(ms < 20 ? ms : 20), [&] { return g_log.size() > logged; });
}

ScenarioRunner::ScenarioRunner(const LibraryExports &lib, Clock &clock, bool ber)
    : impl_(new RunnerImpl(lib, clock, ber)) {}
ScenarioRunner::~ScenarioRunner() = default;
void ScenarioRunner::RunFile(const std::string &file, const std::vector<Step> &steps) { impl_->RunFile(file, steps); }
int ScenarioRunner::Summary() const { return impl_->Summary(); }
uint32_t ScenarioRunner::ExpectationsMet() const { return impl_->ExpectationsMet(); }

bool ReadScenarioFiles(const std::vector<std::string> &files, bool withTimeout, std::vector<ScenarioFile> &out,
                       std::vector<std::string> &errors) {
  for (const std::string &f : files) {
    std::ifstream in(f);
    if (!in) {
      errors.push_back(f + ":0: cannot open the file");
      continue;
    }
    std::vector<Step> steps;
    k3s::ParseScenario(in, f, steps, errors);
    bool needsTimeout = false;
    for (const Step &s : steps)
      if (s.kind == k3s::StepKind::Requires) needsTimeout = true;
    if (needsTimeout && !withTimeout) {
      std::printf("skipping %s: it waits for the 90 s request time-out (run with --with-timeout)\n", f.c_str());
      continue;
    }
    out.emplace_back(f, std::move(steps));
  }
  return errors.empty();
}

}  // namespace k3host
