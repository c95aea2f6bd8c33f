// k3-scenario: plays a TAPI service provider and a Vorta PBX around the real
// Kestrel3.dll, step by step from scenario files, and prints a transcript.
//
//   k3-scenario [--ber] [--with-timeout] [--dll PATH] FILE...
//
// The host half loads the library as a TSP does (LoadLibraryA, GetProcAddress,
// line open with its three callbacks) and passes requests, monitor
// notifications and inbound messages; the runner (scenario_runner.h) plays
// the steps in real time. Exit status: 0 when every expectation was met, 1
// when one failed, 2 when a scenario file could not be read.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "host/k3_dll.h"
#include "host/scenario_runner.h"

using namespace k3host;

int main(int argc, char **argv) {
  bool ber = false, withTimeout = false;
  const char *dllPath = "Kestrel3.dll";
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--ber") ber = true;
    else if (a == "--with-timeout") withTimeout = true;
    else if (a == "--dll" && i + 1 < argc) dllPath = argv[++i];
    else if (a.size() > 1 && a[0] == '-') {
      std::fprintf(stderr, "usage: k3-scenario [--ber] [--with-timeout] [--dll PATH] FILE...\n");
      return 2;
    } else files.push_back(a);
  }
  if (files.empty()) {
    std::fprintf(stderr, "usage: k3-scenario [--ber] [--with-timeout] [--dll PATH] FILE...\n");
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16);

  // Every file is read and checked before anything runs.
  std::vector<ScenarioFile> scenarios;
  std::vector<std::string> errors;
  if (!ReadScenarioFiles(files, withTimeout, scenarios, errors)) {
    for (const std::string &e : errors) std::fprintf(stderr, "%s\n", e.c_str());
    return 2;
  }

  K3Dll dll;
  if (!dll.Load(dllPath)) return 2;
  char version[64] = {0};
  dll.lib2(version);
  std::printf("Kestrel3.dll loaded from %s, message model \"%s\"\n", dllPath, version);
  SteadyClock clock;
  int status;
  {
    ScenarioRunner runner(dll, clock, ber);
    for (auto &sc : scenarios) runner.RunFile(sc.first, sc.second);
    status = runner.Summary();
  }
  std::fflush(stdout);
  dll.Unload();
  return status;
}
