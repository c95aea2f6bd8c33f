/*
 * Kestrel3.dll: device-specific services of a Vorta PBX for a TAPI service
 * provider (the host).
 *
 * The host loads the library (LoadLibraryA), looks the functions up by their
 * undecorated names (GetProcAddress), opens line 0 with its three callbacks, then
 * passes device-specific requests, monitor notifications and inbound CSTA
 * messages, closes the line with extension version 0 and unloads the library.
 *
 * Every per-line table of the library has room for line index 0 only: pass 0 as
 * dwVortaID.
 *
 * C and C++, Windows x64. All integers are 32-bit unsigned unless noted.
 */
#ifndef KESTREL3_H
#define KESTREL3_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define K3_CALL __stdcall /* the Windows x64 convention (one convention on x64) */
#else
#define K3_CALL
#endif

/* ---- Result codes ------------------------------------------------------- */

#define K3_RESULT_SUCCESS 0x00000000u
/* An export could not queue the call (refused, or the worker thread did not take it). */
#define K3_RESULT_NOT_QUEUED 0xC0000001u
/* Wrong dwSize or unknown wStructType. */
#define K3_RESULT_BAD_STRUCTURE 0xC0000002u
/* A field of the request lies outside its set of values; also the PBX's general refusal. */
#define K3_RESULT_BAD_VALUE 0xC0000003u
/* The stored record or session named by the request does not exist. */
#define K3_RESULT_NOT_FOUND 0xC0000004u
/* The service is already active on this line. */
#define K3_RESULT_ALREADY_ACTIVE 0xC0000005u
/* The PBX did not start CDR transmission. */
#define K3_RESULT_CDR_NOT_STARTED 0xC0000010u
/* The element that carries the answer is absent or not valid. */
#define K3_RESULT_ANSWER_INVALID 0xC0000011u
/* No answer from the PBX: not sent, or no answer within 90 seconds. */
#define K3_RESULT_NO_PBX_ANSWER 0xC0000012u
/* The PBX answered with a ROSE error or reject. */
#define K3_RESULT_ROSE_ERROR 0xC0000014u
/* The PBX refused with cause 49, 60 or 84. */
#define K3_RESULT_PBX_REFUSED 0xC0000015u
/* Handling of the request failed inside the library. */
#define K3_RESULT_FAILED 0xC0000016u

/* Every result code by the name after K3_RESULT_, for programs that print or
 * read them by name: X(name) once per code. */
#define K3_RESULT_CODES(X) \
  X(SUCCESS)               \
  X(NOT_QUEUED)            \
  X(BAD_STRUCTURE)         \
  X(BAD_VALUE)             \
  X(NOT_FOUND)             \
  X(ALREADY_ACTIVE)        \
  X(CDR_NOT_STARTED)       \
  X(ANSWER_INVALID)        \
  X(NO_PBX_ANSWER)         \
  X(ROSE_ERROR)            \
  X(PBX_REFUSED)           \
  X(FAILED)

/* ---- Callbacks the host registers -------------------------------------- */

/* Hands one CSTA message object (a CSTA3V6::CSTAMsg, owned by the library and
 * valid only during the call) to the host's PBX link, which encodes and sends
 * it. block is the TAPI parameter block of the request that caused it (may be
 * null). Returns nonzero when the host accepted the message, 0 otherwise. */
typedef uint32_t(K3_CALL *K3_SEND_TO_PBX_CALLBACK)(uint32_t dwVortaID, const void *message, void *block,
                                                   uint32_t invokeId);

/* Completes one asynchronous TAPI request with a result code (above). The
 * library passes the return value on. */
typedef uint32_t(K3_CALL *K3_REPLY_CALLBACK)(uint32_t dwVortaID, uint32_t dwRequestID, uint32_t result);

/* Raises one TAPI line event. param3 is always 0. The return value is ignored. */
typedef uint32_t(K3_CALL *K3_EVENT_CALLBACK)(uint32_t dwVortaID, uint32_t message, uint32_t param1,
                                             uint32_t param2, uint32_t param3);

/* The callbacks may call any export, also fn_vrt_CSTAfromVorta (handled at once,
 * on the calling thread) and the line close (done at once). */

/* ---- Exported functions ------------------------------------------------- */

/* Opens the line's extension (extVersion nonzero) and registers the callbacks;
 * returns 1, or 0 when a callback is null or the library is not running.
 * extVersion 0 closes the line: its requests, stored event data and monitors are
 * dropped and the result is 1. The close waits until the library's worker
 * thread is between two pieces of work (at most 60 seconds; should it wait
 * longer, the worker closes the line when it gets to it). Until the next open,
 * requests and monitor notifications are refused (K3_RESULT_NOT_QUEUED); a
 * request queued before the close and not yet started is completed with
 * K3_RESULT_NOT_QUEUED. valueA and valueB are kept, not used. */
uint32_t K3_CALL fn_vrt_lineOpenAndSelectExtVersion(uint32_t dwVortaID, uint32_t extVersion,
                                                    K3_REPLY_CALLBACK reply, K3_EVENT_CALLBACK event,
                                                    void *valueA, K3_SEND_TO_PBX_CALLBACK send,
                                                    void *valueB);

/* Queues one device-specific request: lpParams points to the byte-packed
 * structure (first field the 16-bit wStructType), dwSize is its size. Returns 0
 * when queued (the request is completed later through the reply callback) or
 * K3_RESULT_NOT_QUEUED (also while the line is closed). The structure must stay valid and writable until the
 * request is completed: the answer is written into it. */
uint32_t K3_CALL fn_vrt_lineDevSpecific(uint32_t dwVortaID, uint32_t dwRequestID, void *lpParams,
                                        uint32_t dwSize);

/* Returns 0. */
uint32_t K3_CALL fn_vrt_lineDevSpecificFeature(void);

/* Passes one decoded inbound CSTA message (a CSTA3V6::CSTAMsg, owned by the
 * caller, only read). Returns 1 when the message was handled, 0 when the
 * library's worker thread could not be reached within 60 seconds. Several host
 * threads may call it at once: the messages are handled one at a time, never
 * while the worker thread is busy. Called from inside a callback it is handled
 * at once. */
int32_t K3_CALL fn_vrt_CSTAfromVorta(uint32_t dwVortaID, const void *message);

/* A CSTA monitor was started on device (text; up to 11 characters are kept)
 * with the cross-reference identifier crossRefId (a CSTA3V6::AsnOcts; copied).
 * Returns 0 when queued, K3_RESULT_NOT_QUEUED otherwise (also while the line is
 * closed: the three monitor notifications are dropped then). */
uint32_t K3_CALL fn_vrt_MonitorStart(uint32_t dwVortaID, const char *device, const void *crossRefId);

/* The monitor on device (text; up to 19 characters are kept) was stopped. */
uint32_t K3_CALL fn_vrt_MonitorStop(uint32_t dwVortaID, const char *device);

/* All monitors of the line were stopped. */
uint32_t K3_CALL fn_vrt_MonitorClear(uint32_t dwVortaID);

/* Returns 0. When phoneValue2 and send are both non-null, send replaces the
 * send callback registered by line open (for all later requests) and
 * phoneValue1, phoneValue2 and valueB are kept. */
uint32_t K3_CALL fn_vrt_phoneOpenAndSelectExtVersion(uintptr_t arg1, uint32_t phoneValue1, uintptr_t arg3,
                                                     uintptr_t phoneValue2, K3_SEND_TO_PBX_CALLBACK send,
                                                     void *valueB);

/* Returns 0. */
uint32_t K3_CALL fn_vrt_phoneDevSpecific(void);

/* Writes the version text of the library's CSTA message model ("1, 1, 0, 13")
 * with its terminator into out (at least 12 bytes) and returns the position
 * just past the terminator. */
char *K3_CALL fn_DLL_GetVersionOfLib2(char *out);
char *K3_CALL fn_DLL_GetVersionOfLib3(char *out);

/* Reads the file version of Kestrel2.dll if that module can be found. Nothing
 * is returned to the caller: the result is always 0. */
uint32_t K3_CALL fn_DLL_GetVersionOfDll(void);

/* ---- Pointer types for GetProcAddress ----------------------------------- */

typedef uint32_t(K3_CALL *PFN_fn_vrt_lineOpenAndSelectExtVersion)(uint32_t, uint32_t, K3_REPLY_CALLBACK,
                                                                  K3_EVENT_CALLBACK, void *,
                                                                  K3_SEND_TO_PBX_CALLBACK, void *);
typedef uint32_t(K3_CALL *PFN_fn_vrt_lineDevSpecific)(uint32_t, uint32_t, void *, uint32_t);
typedef uint32_t(K3_CALL *PFN_fn_vrt_lineDevSpecificFeature)(void);
typedef int32_t(K3_CALL *PFN_fn_vrt_CSTAfromVorta)(uint32_t, const void *);
typedef uint32_t(K3_CALL *PFN_fn_vrt_MonitorStart)(uint32_t, const char *, const void *);
typedef uint32_t(K3_CALL *PFN_fn_vrt_MonitorStop)(uint32_t, const char *);
typedef uint32_t(K3_CALL *PFN_fn_vrt_MonitorClear)(uint32_t);
typedef uint32_t(K3_CALL *PFN_fn_vrt_phoneOpenAndSelectExtVersion)(uintptr_t, uint32_t, uintptr_t, uintptr_t,
                                                                   K3_SEND_TO_PBX_CALLBACK, void *);
typedef uint32_t(K3_CALL *PFN_fn_vrt_phoneDevSpecific)(void);
typedef char *(K3_CALL *PFN_fn_DLL_GetVersionOfLib2)(char *);
typedef char *(K3_CALL *PFN_fn_DLL_GetVersionOfLib3)(char *);
typedef uint32_t(K3_CALL *PFN_fn_DLL_GetVersionOfDll)(void);

#ifdef __cplusplus
}
#endif

#endif /* KESTREL3_H */
