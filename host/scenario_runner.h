// k3-scenario: the runner that plays TAPI service provider and PBX around the
// library, step by step, and prints a transcript.
//
// It reaches the library only through a table of its exports and lets time
// pass only through a clock, so that the same runner drives Kestrel3.dll on
// Windows (exports from GetProcAddress, real time) and the portable layers in
// a native test (exports called in place, time that costs nothing).
#ifndef K3_HOST_SCENARIO_RUNNER_H
#define K3_HOST_SCENARIO_RUNNER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/k3_exports.h"
#include "host/scenario.h"

namespace k3host {

// How the runner waits for the library.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual uint64_t NowMs() = 0;
  // Lets at most ms (> 0) pass; may return early once the callbacks' log holds
  // more than logged entries.
  virtual void Pause(uint32_t ms, size_t logged) = 0;
};

// Real time: pauses of at most 20 ms, ended early by a callback.
class SteadyClock : public Clock {
 public:
  uint64_t NowMs() override;
  void Pause(uint32_t ms, size_t logged) override;
};

class RunnerImpl;

// Plays scenario files through the exports; it registers the callbacks of
// k3_scenario_log.h at line open.
class ScenarioRunner {
 public:
  ScenarioRunner(const LibraryExports &lib, Clock &clock, bool ber);
  ~ScenarioRunner();
  // Runs one file's steps; the line is opened before and closed after.
  void RunFile(const std::string &file, const std::vector<k3s::Step> &steps);
  // Prints the summary; 0 when every expectation was met, else 1.
  int Summary() const;
  uint32_t ExpectationsMet() const;

 private:
  std::unique_ptr<RunnerImpl> impl_;
};

// Reads and checks every file before anything runs. A file that waits for the
// request time-out (a "requires timeout" step) is skipped, with a line on
// stdout, unless withTimeout. False when a file could not be read or has
// errors (each in errors as "file:line: text").
using ScenarioFile = std::pair<std::string, std::vector<k3s::Step>>;
bool ReadScenarioFiles(const std::vector<std::string> &files, bool withTimeout, std::vector<ScenarioFile> &out,
                       std::vector<std::string> &errors);

}  // namespace k3host

#endif
