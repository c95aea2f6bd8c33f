// Building CSTA messages for the PBX and handing them to the host.
//
// The builders fill an empty CSTAMsg in place; every object they create is
// owned by the message and freed with it, so a message kept on the stack is
// released on every path, also when a later allocation throws.
#ifndef K3_LINK_REQUEST_H
#define K3_LINK_REQUEST_H

#include <cstdint>

#include "csta3_model.h"
#include "csta3_names.h"
#include "csta3/private/private_data.h"

namespace k3 {

// An escape invocation whose private data carries an ACL2 item with the given
// application and action; the caller hangs the body (AMHOST, MAINT ...) into
// the returned ACL2.
CSTA3V6::ACL2 *BuildEscapeInvoke(CSTA3V6::CSTAMsg &msg, uint32_t application, uint32_t action);

// The same escape invocation without the ACL2: the caller sets the data part
// of the returned private-data item itself.
CSTA3V6::PrivateDataChoiceSeq *BuildEscapeInvokeRaw(CSTA3V6::CSTAMsg &msg);

// A ROSE result of the escape operation (answering the PBX's own escape
// invocation) whose private data carries an ACL2 item.
CSTA3V6::ACL2 *BuildEscapeResult(CSTA3V6::CSTAMsg &msg, uint32_t application, uint32_t action);

// Makes data (a fresh CSTAPrivateData) alternative 1 holding the PBX's own
// private-data item, marked with the PBX's identifier, and returns the item.
CSTA3V6::PrivateDataChoiceSeq *NewPbxPrivateItem(CSTA3V6::CSTAPrivateData &data);

// A plain invocation: msg takes ownership of argument (which may be null).
void BuildInvoke(CSTA3V6::CSTAMsg &msg, int32_t operation, CSTA3V6::AsnType *argument);

// A plain ROSE result of operation: msg takes ownership of result.
void BuildResult(CSTA3V6::CSTAMsg &msg, int32_t operation, CSTA3V6::AsnType *result);

// Writes id into the invoke-id field of an invocation, result or error.
void SetInvokeId(CSTA3V6::CSTAMsg &msg, uint32_t id);
// The invoke id of an invocation, result or error (0 for anything else).
uint32_t InvokeIdOf(const CSTA3V6::CSTAMsg &msg);

// Takes the line's next invoke id (used up even if the send fails), writes it
// into the message and hands the message to the host's send callback. Returns
// the invoke id when the host accepted the message and wantInvokeId is
// nonzero; 0 otherwise (also when no send callback is registered). A tracked
// send for the request RunRequest is handling lists that request as pending
// before the callback runs (see ListBeforeSend).
uint32_t SendRequest(uint32_t line, CSTA3V6::CSTAMsg &msg, void *block, uint32_t wantInvokeId);

// The same send for a request that is not tracked (no pending entry):
// returns 1 when the host accepted the message, 0 otherwise.
uint32_t SendUntracked(uint32_t line, CSTA3V6::CSTAMsg &msg, void *block);

// Sends msg under a given invoke id (an answer to the PBX's own invocation
// reuses that invocation's id). Returns the send callback's result, 0 when
// none is registered.
uint32_t SendWithInvokeId(uint32_t line, CSTA3V6::CSTAMsg &msg, void *block, uint32_t invokeId);

}  // namespace k3

#endif
