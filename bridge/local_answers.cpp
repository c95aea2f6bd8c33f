// The request types answered from event data the library stores: the
// fetches of agent, data and list records, and the CDR record fetches that
// also answer the PBX's CDR report.
#include <cstring>
#include <memory>
#include <string>

#include "bridge/request_util.h"
#include "link/engine.h"
#include "link/request.h"

namespace k3 {

using namespace CSTA3V6;

namespace {

// Copies a text field of a stored record into a field of the caller's
// structure, cut to the caller's field.
#define K3_COPY_TEXT(p, dst, dstField, rec, src, srcField)                                                 \
  PutText(p, K3_AT(dst, dstField), K3_WIDTH(dst, dstField), (rec) + K3_AT(src, srcField), \
          K3_WIDTH(src, srcField))

// Answers the report whose invoke id the stored record kept.
int32_t AnswerCdrReport(uint32_t line, uint8_t *p, const uint8_t record[kEventRecordSize]) {
  uint32_t invokeId = K3_GET(record, K3_EVENT_CDR_RECORD, dwInvokeId);
  auto result = std::make_unique<CDRReportResult>();
  result->choiceId = CDRReportResult::noDataCid;
  result->noData = new AsnNull;
  CSTAMsg msg;
  BuildResult(msg, kOpCDRReport, result.release());
  return SendWithInvokeId(line, msg, p, invokeId) ? kEncAnsweredCdr : kEncNotSent;
}

// Common start of 0x33 and 0x35 (any size; the fields are read whatever the
// size says): the session must be the line's, and the record is fetched and
// consumed.
int32_t TakeCdrRecord(uint32_t line, const uint8_t *p, uint8_t record[kEventRecordSize]) {
  if (K3_GET(p, K3_DS_CDR_REPORT_RESULT, dwSession) != Line(line).cdrSession) return kEncSessionMismatch;
  if (!FetchEventData(line, K3_GET(p, K3_DS_CDR_REPORT_RESULT, dwSequence), record, 1)) return kEncNotFound;
  return 0;
}

// A value field of the stored CDR record copied into the 0x33 summary.
#define K3_COPY_CDR(p, rec, field) \
  K3_PUT(p, K3_DS_CDR_REPORT_SUMMARY, record.field, K3_GET(rec, K3_EVENT_CDR_RECORD, field))
#define K3_COPY_CDR_TEXT(p, rec, dstField, srcField) \
  K3_COPY_TEXT(p, K3_DS_CDR_REPORT_SUMMARY, record.dstField, rec, K3_EVENT_CDR_RECORD, srcField)

}  // namespace

// 0x33: the record's fields packed into K3_CDR_SUMMARY from offset 10,
// whatever the size: the buffer must hold K3_ROOM_CDR_REPORT_RESULT bytes.
int32_t EncCdrAnswerSummary(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (int32_t refused = TakeCdrRecord(line, p, rec)) return refused;
  std::memcpy(p + K3_AT(K3_DS_CDR_REPORT_SUMMARY, record.awTimeStamp), rec + K3_AT(K3_EVENT_CDR_RECORD, awTimeStamp),
              K3_WIDTH(K3_EVENT_CDR_RECORD, awTimeStamp));
  constexpr size_t kDevices = K3_WIDTH(K3_EVENT_CDR_RECORD, aszDevice) / K3_WIDTH(K3_EVENT_CDR_RECORD, aszDevice[0]);
  for (size_t d = 0; d < kDevices; ++d)
    PutText(p, K3_AT(K3_DS_CDR_REPORT_SUMMARY, record.aszDevice) + d * K3_WIDTH(K3_CDR_SUMMARY, aszDevice[0]),
            K3_WIDTH(K3_CDR_SUMMARY, aszDevice[0]),
            rec + K3_AT(K3_EVENT_CDR_RECORD, aszDevice) + d * K3_WIDTH(K3_EVENT_CDR_RECORD, aszDevice[0]),
            K3_WIDTH(K3_EVENT_CDR_RECORD, aszDevice[0]));
  K3_COPY_CDR(p, rec, dwMediaClass);
  K3_COPY_CDR(p, rec, dwTariffTable);
  K3_COPY_CDR(p, rec, dwDuration);
  K3_COPY_CDR(p, rec, dwCarrier);
  K3_COPY_CDR(p, rec, dwSelectedRoute);
  K3_COPY_CDR(p, rec, bSupplService);
  K3_COPY_CDR_TEXT(p, rec, szAccountInfo, szAccountInfo);
  K3_COPY_CDR(p, rec, dwChargingPresent);
  K3_COPY_CDR_TEXT(p, rec, szChargingText, szChargingText);
  K3_COPY_CDR(p, rec, dwChargingValue);
  K3_COPY_CDR(p, rec, dwChargingKind);
  K3_COPY_CDR(p, rec, dwMinutes);
  K3_COPY_CDR_TEXT(p, rec, szText1, szText1);
  K3_COPY_CDR_TEXT(p, rec, szText2, szText2);
  return AnswerCdrReport(line, p, rec);
}

// 0x35: the whole 432-byte record at offset 10, whatever the size: the
// caller's buffer must hold K3_ROOM_CDR_REPORT_RESULT_2 bytes.
int32_t EncCdrAnswerRaw(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (int32_t refused = TakeCdrRecord(line, p, rec)) return refused;
  std::memcpy(p + sizeof(K3_DS_CDR_REPORT_RESULT), rec, kEventRecordSize);
  return AnswerCdrReport(line, p, rec);
}

// 0x62: the texts collected for a list query, in 9-byte fields from
// szEntry on (a text of 9 characters fills its field without a terminator).
// The caller's buffer must hold 9 * count + 8 bytes, as the query's reply
// told it.
int32_t EncFetchList(uint32_t line, uint8_t *p, uint32_t) {
  uint32_t sequence = K3_GET(p, K3_DS_GET_STORED_LIST, dwSequence);
  uint8_t rec[kEventRecordSize];
  if (!FetchEventData(line, sequence, rec, 0)) return kEncNotFound;
  uint16_t count = K3_GET(rec, K3_EVENT_LIST_RECORD, wCount);
  K3_PUT(p, K3_DS_GET_STORED_LIST, wValue, count);
  if (EventDataRecord *stored = FindEventData(line, sequence)) {
    // No more fields than the count the query's reply gave the caller.
    size_t fields = std::min<size_t>(count, stored->texts.size());
    constexpr size_t kWidth = K3_WIDTH(K3_DS_GET_STORED_LIST, szEntry[0]);
    size_t at = K3_AT(K3_DS_GET_STORED_LIST, szEntry);
    for (size_t i = 0; i < fields; ++i) {
      const std::string &text = stored->texts[i];
      PutText(p, at, kWidth, reinterpret_cast<const uint8_t *>(text.c_str()), text.size());
      at += kWidth;
    }
    stored->texts.clear();
  }
  RemoveEventData(line, sequence);
  return kEncNotSent;
}

// 0x84 (any size): the agent record's texts and values; all of
// K3_DS_GET_STORED_RECORD is written whatever the size.
int32_t EncFetchAgentRecord(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (!FetchEventData(line, K3_GET(p, K3_DS_GET_STORED_RECORD, dwSequence), rec, 1)) return kEncNotFound;
  K3_COPY_TEXT(p, K3_DS_GET_STORED_RECORD, szText1, rec, K3_EVENT_AGENT_RECORD, szDevice);
  K3_COPY_TEXT(p, K3_DS_GET_STORED_RECORD, szText2, rec, K3_EVENT_AGENT_RECORD, szAgentId);
  K3_COPY_TEXT(p, K3_DS_GET_STORED_RECORD, szText3, rec, K3_EVENT_AGENT_RECORD, szAcdGroup);
  K3_PUT(p, K3_DS_GET_STORED_RECORD, dwValue1, K3_GET(rec, K3_EVENT_AGENT_RECORD, dwKind));
  K3_PUT(p, K3_DS_GET_STORED_RECORD, dwValue2, K3_GET(rec, K3_EVENT_AGENT_RECORD, dwPrivateState));
  return kEncAnsweredRecord;
}

// 0x95 (any size): the device text and the received data text; all of
// K3_DS_GET_STORED_RECORD_2 is written whatever the size.
int32_t EncFetchDataRecord(uint32_t line, uint8_t *p, uint32_t) {
  uint8_t rec[kEventRecordSize];
  if (!FetchEventData(line, K3_GET(p, K3_DS_GET_STORED_RECORD_2, dwSequence), rec, 1)) return kEncNotFound;
  K3_COPY_TEXT(p, K3_DS_GET_STORED_RECORD_2, szText1, rec, K3_EVENT_DATA_RECORD, szDevice);
  K3_COPY_TEXT(p, K3_DS_GET_STORED_RECORD_2, szText2, rec, K3_EVENT_DATA_RECORD, szData);
  return kEncAnsweredRecord2;
}

}  // namespace k3
