// The library as a host sees it: loaded with LoadLibraryA, called through
// GetProcAddress. Most tests load the test build (Kestrel3Probe.dll), whose
// handlers write a journal; the image tests load the shipped Kestrel3.dll.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <atomic>
#include <string>
#include <vector>

#include "asn/asn_octs.h"
#include "host/k3_dll.h"
#include "kestrel3.h"
#include "tests/boundary/probe_api.h"

namespace {

constexpr uint32_t kExt = 0x00020000;
const char *const kEventNames[] = {"EventInitialized", "EventCSTAfromVorta", "EventMainThread"};

// ---- host callbacks -------------------------------------------------------

// The last completion: its request id (high half) and result (low half).
std::atomic<uint64_t> g_lastReply{0};

uint32_t K3_CALL ReplyA(uint32_t, uint32_t id, uint32_t result) {
  g_lastReply = uint64_t(id) << 32 | result;
  return 1;
}
uint32_t K3_CALL EventA(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return 0; }
uint32_t K3_CALL SendA(uint32_t, const void *, void *, uint32_t) { return 11; }
uint32_t K3_CALL SendB(uint32_t, const void *, void *, uint32_t) { return 22; }

// ---- the library under test -------------------------------------------------

using Generic = void (*)();

bool Eventually(const std::function<bool()> &f, DWORD ms = 5000) {
  DWORD start = GetTickCount();
  while (!f()) {
    if (GetTickCount() - start > ms) return false;
    Sleep(2);
  }
  return true;
}

// The exports a host resolves (K3Dll), the others, and the test build's own.
struct Library : K3Dll {
  PFN_fn_vrt_lineDevSpecificFeature feature{};
  PFN_fn_vrt_phoneOpenAndSelectExtVersion phoneOpen{};
  PFN_fn_vrt_phoneDevSpecific phoneDevSpecific{};
  PFN_fn_DLL_GetVersionOfLib3 lib3{};
  PFN_fn_DLL_GetVersionOfDll dllVersion{};
  PFN_K3Probe_Take take{};
  PFN_K3Probe_LiveRecords liveRecords{};
  PFN_K3Probe_WorkerThreadId workerTid{};
  bool complete = false;  // every export of the shipped library found
  std::string journal;    // everything taken so far

  explicit Library(const char *name) {
    complete = Load(name);
    if (!h) return;
    Get(feature, "fn_vrt_lineDevSpecificFeature");
    Get(phoneOpen, "fn_vrt_phoneOpenAndSelectExtVersion");
    Get(phoneDevSpecific, "fn_vrt_phoneDevSpecific");
    Get(lib3, "fn_DLL_GetVersionOfLib3");
    Get(dllVersion, "fn_DLL_GetVersionOfDll");
    Get(take, "K3Probe_Take");
    Get(liveRecords, "K3Probe_LiveRecords");
    Get(workerTid, "K3Probe_WorkerThreadId");
    complete = complete && feature && phoneOpen && phoneDevSpecific && lib3 && dllVersion;
  }
  ~Library() { Unload(); }

  template <class F>
  void Get(F &f, const char *name) {
    f = reinterpret_cast<F>(reinterpret_cast<Generic>(GetProcAddress(h, name)));
  }
  const std::string &Poll() {
    if (take) {
      std::vector<char> buf(1 << 20);
      take(buf.data(), uint32_t(buf.size()));
      journal += buf.data();
    }
    return journal;
  }
  bool Has(const std::string &text) { return Poll().find(text) != std::string::npos; }
  // Waits until the journal holds text.
  bool WaitFor(const std::string &text, DWORD ms = 5000) {
    return Eventually([&] { return Has(text); }, ms);
  }
  size_t Count(const std::string &text) {
    size_t n = 0;
    const std::string &j = Poll();
    for (size_t at = j.find(text); at != std::string::npos; at = j.find(text, at + 1)) ++n;
    return n;
  }
  std::string Tid() { return "tid=" + std::to_string(workerTid()) + "\n"; }
};

std::string Me() { return "tid=" + std::to_string(GetCurrentThreadId()) + "\n"; }

class Probe : public ::testing::Test {
 protected:
  void SetUp() override {
    lib_ = std::make_unique<Library>("Kestrel3Probe.dll");
    ASSERT_TRUE(lib_->h) << "LoadLibrary failed: " << GetLastError();
    ASSERT_TRUE(lib_->complete && lib_->take && lib_->liveRecords && lib_->workerTid);
    g_lastReply = 0;
  }
  void Open() { ASSERT_EQ(1u, lib_->lineOpen(0, kExt, ReplyA, EventA, nullptr, SendA, nullptr)); }
  std::unique_ptr<Library> lib_;
};

// ---- load and unload ---------------------------------------------------------

TEST_F(Probe, LoadStartsTheWorkerAndUnloadStopsIt) {
  Library &lib = *lib_;
  // Line 0 is cleared on the loading thread, monitors first.
  EXPECT_EQ(0u, lib.Poll().find("clear line=0 " + Me() + "reset line=0 " + Me())) << lib.journal;

  const DWORD tid = lib.workerTid();
  ASSERT_NE(0u, tid);
  ASSERT_NE(GetCurrentThreadId(), tid);
  HANDLE thread = OpenThread(SYNCHRONIZE | THREAD_QUERY_INFORMATION, FALSE, tid);
  ASSERT_TRUE(thread);
  EXPECT_EQ(THREAD_PRIORITY_ABOVE_NORMAL, GetThreadPriority(thread));
  for (const char *name : kEventNames) {
    HANDLE e = OpenEventA(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, name);
    EXPECT_TRUE(e) << name;
    if (e) CloseHandle(e);
  }

  DWORD start = GetTickCount();
  lib.Unload();
  EXPECT_LT(GetTickCount() - start, 900u) << "the worker should end on the quit message, not be terminated";
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 2000));
  CloseHandle(thread);
  EXPECT_FALSE(GetModuleHandleA("Kestrel3Probe.dll")) << "the worker still holds the library";
  for (const char *name : kEventNames) EXPECT_FALSE(OpenEventA(SYNCHRONIZE, FALSE, name)) << name;
}

// ---- line open, requests, phone open ---------------------------------------------

TEST_F(Probe, LineOpenChecksItsCallbacksAndRequestsNeedAnOpenLine) {
  Library &lib = *lib_;
  unsigned char block[8] = {0x41, 0x00};
  lib.Poll();
  lib.journal.clear();

  // Closing runs the reset at once on the caller's thread, also before any open.
  EXPECT_EQ(1u, lib.lineOpen(5, 0, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ("reset line=5 " + Me(), lib.Poll());

  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.devSpecific(0, 1, block, sizeof block));
  EXPECT_EQ(0u, lib.lineOpen(0, kExt, nullptr, EventA, nullptr, SendA, nullptr));
  EXPECT_EQ(0u, lib.lineOpen(0, kExt, ReplyA, nullptr, nullptr, SendA, nullptr));
  EXPECT_EQ(0u, lib.lineOpen(0, kExt, ReplyA, EventA, nullptr, nullptr, nullptr));
  // Nothing was stored: the line is still closed.
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.devSpecific(0, 1, block, sizeof block));

  ASSERT_EQ(1u, lib.lineOpen(7, kExt, ReplyA, EventA, nullptr, SendA, nullptr));
  EXPECT_TRUE(lib.WaitFor("reset line=7 " + lib.Tid()));

  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.devSpecific(0, 2, nullptr, 8));
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.devSpecific(0, 3, block, 0));
  EXPECT_EQ(0u, lib.devSpecific(0, 4, block, sizeof block));
  ASSERT_TRUE(lib.WaitFor("id=4 "));
  // Messages are handled in order: the refused ones would have come first.
  EXPECT_EQ(1u, lib.Count("request "));
  EXPECT_TRUE(Eventually([&] { return lib.liveRecords() == 0; }));
}

TEST_F(Probe, EarlierCallbacksStayAndPhoneOpenReplacesTheSendCallback) {
  Library &lib = *lib_;
  Open();
  uint16_t send = kProbeSend;
  auto sentWith = [&](uint32_t id, uint32_t result) {
    if (lib.devSpecific(0, id, &send, 2) != 0) return false;
    return lib.WaitFor("sent id=" + std::to_string(id) + " result=" + std::to_string(result) + "\n");
  };

  EXPECT_EQ(0u, lib.lineOpen(0, kExt, ReplyA, EventA, nullptr, nullptr, nullptr));
  EXPECT_TRUE(sentWith(1, 11));

  // Both the phone's value and its callback are needed for the replacement.
  EXPECT_EQ(0u, lib.phoneOpen(0, 5, 0, 0, SendB, nullptr));
  EXPECT_EQ(0u, lib.phoneOpen(0, 5, 0, 0x1234, nullptr, nullptr));
  EXPECT_TRUE(sentWith(2, 11));
  EXPECT_EQ(0u, lib.phoneOpen(0, 5, 0, 0x1234, SendB, nullptr));
  EXPECT_TRUE(sentWith(3, 22));
}

TEST_F(Probe, MessagesReachTheWorkerWithBoundedTextsAndTheirRecordsAreFreed) {
  Library &lib = *lib_;
  Open();
  const std::string w = lib.Tid();
  unsigned char block[8] = {0x41, 0x00};
  CSTA3V6::AsnOcts xref("X-1");

  EXPECT_EQ(0u, lib.devSpecific(0, 0x1234, block, sizeof block));
  EXPECT_EQ(0u, lib.monitorStart(0, "12345678901234567890", &xref));
  EXPECT_EQ(0u, lib.monitorStart(2, nullptr, nullptr));
  EXPECT_EQ(0u, lib.monitorStop(0, "ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
  EXPECT_EQ(0u, lib.monitorStop(6, "77"));
  EXPECT_EQ(0u, lib.monitorClear(4));

  ASSERT_TRUE(lib.WaitFor("clear line=4 " + w));
  EXPECT_TRUE(lib.Has("request line=0 id=4660 size=8 type=0x41 " + w));
  EXPECT_TRUE(lib.Has("start line=0 device=[12345678901] xref=[X-1] " + w));
  EXPECT_TRUE(lib.Has("start line=2 device=[] xref=[] " + w));
  EXPECT_TRUE(lib.Has("stop line=0 device=[ABCDEFGHIJKLMNOPQRS] " + w));
  EXPECT_TRUE(lib.Has("stop line=6 device=[77] " + w));
  EXPECT_TRUE(Eventually([&] { return lib.liveRecords() == 0; }));
}

// ---- failures on the worker thread and while posting ----------------------------

TEST_F(Probe, ExceptionsInHandlersAreReportedAndTheLoopGoesOn) {
  Library &lib = *lib_;
  Open();
  uint16_t thrower = kProbeThrow;
  CSTA3V6::AsnOcts xref("ab");

  ASSERT_EQ(0u, lib.devSpecific(0, 0x77, &thrower, 2));
  ASSERT_TRUE(lib.WaitFor("DEBUG TAPIExtendedService-SendReply: 0x08x\n"));
  char pointer[16];
  std::snprintf(pointer, sizeof pointer, "0x%08lx", static_cast<unsigned long>(reinterpret_cast<uintptr_t>(&thrower)));
  EXPECT_TRUE(lib.Has("LOG ThreadProc: Catch. Last Msg: 0x00000402\n"
                      "LOG 'LINEDEVSPECIFIC'  dwVortaID=0, dwRequestID=0x00000077, pStruct: " +
                      std::string(pointer) + "  dwSize: 0x00000002 (wStructType=0xe001)\n"))
      << lib.journal;
  EXPECT_EQ(uint64_t(0x77) << 32 | 0xC0000016, g_lastReply.load());

  EXPECT_EQ(0u, lib.monitorStart(0, kProbeThrowDevice, &xref));
  EXPECT_EQ(0u, lib.monitorStop(9, kProbeThrowDevice));
  EXPECT_EQ(0u, lib.monitorClear(kProbeThrowLine));
  EXPECT_EQ(1u, lib.lineOpen(kProbeThrowLine, kExt, ReplyA, EventA, nullptr, SendA, nullptr));
  unsigned char after[2] = {0x42, 0x00};
  EXPECT_EQ(0u, lib.devSpecific(0, 0x78, after, 2));
  ASSERT_TRUE(lib.WaitFor("id=120 size=2 type=0x42"));

  EXPECT_TRUE(lib.Has("LOG ThreadProc: Catch. Last Msg: 0x00000404\n"
                      "LOG 'MONITORSTART'  dwVortaID=0, Device: 'THROW'  XRef: 'ab'\n"));
  // The stop text shows the record's monitor-start group, which a stop leaves empty.
  EXPECT_TRUE(lib.Has("LOG ThreadProc: Catch. Last Msg: 0x00000405\n"
                      "LOG 'MONITORSTOP'  dwVortaID=0, Device: ''\n"));
  EXPECT_TRUE(lib.Has("LOG ThreadProc: Catch. Last Msg: 0x00000406\n"
                      "LOG 'MONITORCLEAR'  dwVortaID=2989\n"));
  EXPECT_TRUE(lib.Has("LOG ThreadProc: Catch. Last Msg: 0x00000401\n"
                      "LOG 'LINEOPENANDSELECTEXTVERSION'  dwVortaID=2989\n"));
  // Only the stop's record is freed after a throw.
  EXPECT_TRUE(Eventually([&] { return lib.liveRecords() == 4; })) << lib.liveRecords();
}

TEST_F(Probe, ExportsReportAWorkerThatIsGone) {
  Library &lib = *lib_;
  HANDLE thread = OpenThread(SYNCHRONIZE, FALSE, lib.workerTid());
  ASSERT_TRUE(thread);
  // Its queue exists once it has run; until then a post is refused.
  ASSERT_TRUE(Eventually([&] { return PostThreadMessageA(lib.workerTid(), WM_QUIT, 0, 0) != FALSE; }));
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 5000));
  CloseHandle(thread);

  unsigned char block[2] = {0x41, 0x00};
  CSTA3V6::AsnOcts xref("x");
  EXPECT_EQ(0u, lib.lineOpen(0, kExt, ReplyA, EventA, nullptr, SendA, nullptr));
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.devSpecific(0, 1, block, 2));
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.monitorStart(0, "100", &xref));
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.monitorStop(0, "100"));
  EXPECT_EQ(K3_RESULT_NOT_QUEUED, lib.monitorClear(0));
  ProbeInbound message{1};
  EXPECT_EQ(0, lib.fromVorta(0, &message));
  // A close needs no worker: the line is reset on this thread at once.
  EXPECT_EQ(1u, lib.lineOpen(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(2u, lib.Count("reset line=0 " + Me())) << "one at load, one at the close";

  const char *const expected[][2] = {
      {"401", "fn_vrt_lineOpenAndSelectExtVersion"}, {"402", "fn_vrt_lineDevSpecific"},
      {"404", "fn_vrt_MonitorStart"}, {"405", "fn_vrt_MonitorStop"},
      {"406", "fn_vrt_MonitorClear"}, {"403", "fn_vrt_CSTAfromVorta"}};
  size_t at = 0;
  for (auto &e : expected) {
    // ERROR_INVALID_THREAD_ID: the thread id no longer names a thread with a queue.
    std::string text = std::string("LOG ThreadMessage: PostThreadMessage failed. Msg: 0x00000") + e[0] +
                       ", GetLastError: 0x000005a4\nLOG " + e[1] + ": Error sending ThreadMessage\n";
    size_t found = lib.Poll().find(text, at);
    EXPECT_NE(std::string::npos, found) << text << "\n--- journal:\n" << lib.journal;
    if (found != std::string::npos) at = found;
  }
  EXPECT_EQ(0, lib.liveRecords());
  EXPECT_EQ(std::string::npos, lib.journal.find("inbound"));
}

// ---- the inbound rendezvous and the timer ---------------------------------------

TEST_F(Probe, InboundMessagesRunOnTheCallersThreadAndGiveTheDispatchersResult) {
  Library &lib = *lib_;
  Open();
  ProbeInbound one{1}, seven{7};
  EXPECT_EQ(1, lib.fromVorta(0, &one));
  char expected[64];
  std::snprintf(expected, sizeof expected, "inbound line=0 msg=%p ", static_cast<void *>(&one));
  EXPECT_TRUE(lib.Has(expected + Me()));
  EXPECT_EQ(7, lib.fromVorta(3, &seven));
  EXPECT_EQ(2u, lib.Count("inbound "));
}

TEST_F(Probe, TheSweepTimerFiresOnTheWorkerEveryTenSeconds) {
  Library &lib = *lib_;
  DWORD start = GetTickCount();
  ASSERT_TRUE(lib.WaitFor("sweep " + lib.Tid(), 13000));
  DWORD took = GetTickCount() - start;
  EXPECT_GE(took, 9000u);
}

// ---- the shipped library ------------------------------------------------------

TEST(Shipped, StubsAndVersionTexts) {
  Library lib("Kestrel3.dll");
  ASSERT_TRUE(lib.h);
  ASSERT_TRUE(lib.complete);
  EXPECT_FALSE(lib.take) << "the shipped library exports only its own functions";

  // Hosts pass arguments to these; they are ignored.
  using WithArgs = uint32_t(K3_CALL *)(uint32_t, void *);
  auto feature = reinterpret_cast<WithArgs>(reinterpret_cast<Generic>(lib.feature));
  auto phone = reinterpret_cast<WithArgs>(reinterpret_cast<Generic>(lib.phoneDevSpecific));
  EXPECT_EQ(0u, feature(7, &lib));
  EXPECT_EQ(0u, phone(0xFFFFFFFF, nullptr));

  for (auto query : {lib.lib2, lib.lib3}) {
    char out[32];
    std::memset(out, 0xCC, sizeof out);
    char *end = query(out);
    EXPECT_EQ(out + 12, end);
    EXPECT_EQ(0, std::memcmp(out, "1, 1, 0, 13\0", 12));
    EXPECT_EQ('\xCC', out[12]);
  }

  // Without and with a Kestrel2.dll beside the library: nothing visible happens.
  EXPECT_EQ(0u, lib.dllVersion());
  char path[MAX_PATH] = {};
  GetModuleFileNameA(lib.h, path, MAX_PATH);
  const std::string copy = std::string(path, std::strrchr(path, '\\') + 1) + "Kestrel2.dll";
  ASSERT_TRUE(CopyFileA(path, copy.c_str(), FALSE));
  EXPECT_EQ(0u, lib.dllVersion());
  DeleteFileA(copy.c_str());
}

std::string VersionString(const std::vector<char> &info, const char *name) {
  void *value = nullptr;
  UINT len = 0;
  std::string path = std::string("\\StringFileInfo\\040704B0\\") + name;
  if (!VerQueryValueA(info.data(), path.c_str(), &value, &len) || !value) return "<missing>";
  return static_cast<const char *>(value);
}

TEST(Shipped, RegistryVersionBlockAndMessageTable) {
  const char *key = "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Kestrel3.Dll";
  RegDeleteKeyA(HKEY_LOCAL_MACHINE, key);
  Library lib("Kestrel3.dll");
  ASSERT_TRUE(lib.h);
  char path[MAX_PATH] = {};
  DWORD pathLen = GetModuleFileNameA(lib.h, path, MAX_PATH);

  HKEY k = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, &k));
  for (const char *name : {"EventMessageFile", "CategoryMessageFile"}) {
    char value[MAX_PATH + 8] = {};
    DWORD type = 0, size = sizeof value;
    ASSERT_EQ(ERROR_SUCCESS, RegQueryValueExA(k, name, nullptr, &type, reinterpret_cast<BYTE *>(value), &size));
    EXPECT_EQ(DWORD(REG_EXPAND_SZ), type) << name;
    EXPECT_EQ(pathLen + 1, size) << name;
    EXPECT_STREQ(path, value) << name;
  }
  for (auto [name, expected] : {std::pair<const char *, DWORD>{"CategoryCount", 6}, {"TypesSupported", 7}}) {
    DWORD value = 0, type = 0, size = sizeof value;
    ASSERT_EQ(ERROR_SUCCESS, RegQueryValueExA(k, name, nullptr, &type, reinterpret_cast<BYTE *>(&value), &size));
    EXPECT_EQ(DWORD(REG_DWORD), type) << name;
    EXPECT_EQ(expected, value) << name;
  }
  RegCloseKey(k);

  // Version block.
  DWORD handle = 0;
  DWORD size = GetFileVersionInfoSizeA(path, &handle);
  ASSERT_NE(0u, size);
  std::vector<char> info(size);
  ASSERT_TRUE(GetFileVersionInfoA(path, 0, size, info.data()));
  VS_FIXEDFILEINFO *fixed = nullptr;
  UINT len = 0;
  ASSERT_TRUE(VerQueryValueA(info.data(), "\\", reinterpret_cast<void **>(&fixed), &len));
  EXPECT_EQ(0x00010001u, fixed->dwFileVersionMS);
  EXPECT_EQ(0x00090024u, fixed->dwFileVersionLS);  // 1.1.9.36
  EXPECT_EQ(0x00010001u, fixed->dwProductVersionMS);
  EXPECT_EQ(0x00000024u, fixed->dwProductVersionLS);  // 1.1.0.36
  EXPECT_EQ("Kestrel3", VersionString(info, "InternalName"));
  EXPECT_EQ("Kestrel3.dll", VersionString(info, "OriginalFilename"));
  EXPECT_EQ("KestrelX", VersionString(info, "FileDescription"));
  EXPECT_EQ("KestrelX.dll", VersionString(info, "ProductName"));

  // Message table, as the event viewer reads it: the insertion string is the
  // whole text of an event.
  const std::pair<DWORD, const char *> table[] = {
      {1, "Thread\r\n"},      {3, "Event\r\n"},        {4, "Error\r\n"},        {5, "Info\r\n"},
      {6, "Lumen\r\n"},       {10, "COM\r\n"},         {0x100, "%1\r\n"},       {0x200, "%1\r\n"},
      {0x40000101, "%1\r\n"}, {0x40000201, "%1\r\n"},  {0x80000102, "%1\r\n"},  {0x80000202, "%1\r\n"},
      {0xC0000103, "%1\r\n"}, {0xC0000203, "%1\r\n"}};
  for (auto [id, text] : table) {
    char out[64] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, lib.h, id, 0, out, sizeof out, nullptr);
    EXPECT_STREQ(text, out) << std::hex << id;
  }
  const char *args[] = {"whole text"};
  char out[64] = {};
  DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, lib.h, 0xC0000103, 0, out,
                           sizeof out, reinterpret_cast<va_list *>(const_cast<char **>(args)));
  EXPECT_EQ(12u, n);
  EXPECT_STREQ("whole text\r\n", out);
  EXPECT_EQ(0u, FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, lib.h, 2, 0, out,
                               sizeof out, nullptr)) << "there is no category 2";
}

}  // namespace
