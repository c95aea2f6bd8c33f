/*
 * Kestrel3.dll: the device-specific structures a TAPI service provider
 * exchanges with the library through fn_vrt_lineDevSpecific, and the event
 * header and event-data records it receives.
 *
 * Every structure is byte-packed and little-endian; its first field is the
 * 16-bit wStructType. The size travels beside the pointer (dwSize) and must be
 * exactly the K3_SIZE_... value of the type where one is given. Text fields
 * are fixed-size 8-bit strings, NUL-terminated when shorter than the field:
 * a reply text that fills its field keeps every character and goes without
 * the terminator (a 4-character agent id fills szAgentId[4]).
 *
 * The types of any size (0x31, 0x33, 0x35, 0x84, 0x95) are not checked
 * against dwSize beyond its first 2 bytes: their fields are read, and their
 * answers written, at the offsets below whatever dwSize says, so the buffer
 * must hold the K3_ROOM_... bytes of the type (see each structure).
 * The buffer belongs to the caller and must stay valid and writable until the
 * request is completed through the reply callback: answers are written into it.
 */
#ifndef KESTREL3_STRUCTURES_H
#define KESTREL3_STRUCTURES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define K3_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define K3_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif

/* ---- Request type codes and their exact sizes (0: any size of 2 or more) -- */

#define DS_MAINT_KIND3 0x11
#define DS_MAINT_KIND4 0x14
#define DS_MAINT_KIND1 0x21
#define DS_START_CDR_TRANSMISSION 0x31
#define DS_CDR_REPORT_RESULT 0x33
#define DS_STOP_CDR_TRANSMISSION 0x34
#define DS_CDR_REPORT_RESULT_2 0x35
#define DS_AMHOST_8_2 0x41
#define DS_AMHOST_8_8 0x42
#define DS_AMHOST_10_7_8 0x43
#define DS_AMHOST_10_2 0x44
#define DS_PRIVATE_TLV_LIST 0x45
#define DS_ACL2_240 0x46
#define DS_RESERVED_47 0x47
#define DS_RESERVED_48 0x48
#define DS_AMHOST_1_2 0x52
#define DS_AMHOST_1_1_A 0x54
#define DS_AMHOST_1_1_B 0x55
#define DS_AMHOST_2_4_A 0x56
#define DS_AMHOST_2_4_B 0x58
#define DS_AMHOST_7_2 0x61
#define DS_GET_STORED_LIST 0x62
#define DS_AMHOST_7_5_A 0x63
#define DS_AMHOST_7_5_B 0x64
#define DS_AMHOST_7_5_C 0x65
#define DS_AMHOST_6_2_A 0x71
#define DS_AMHOST_6_1_A 0x72
#define DS_AMHOST_6_2_B 0x73
#define DS_AMHOST_6_2_C 0x74
#define DS_AMHOST_6_1_B 0x75
#define DS_AMHOST_6_1_C 0x76
#define DS_GET_AGENT_STATE 0x82
#define DS_SET_AGENT_STATE 0x83
#define DS_GET_STORED_RECORD 0x84
#define DS_ACL2_1_192 0x91
#define DS_SEND_DATA 0x93
#define DS_GET_STORED_RECORD_2 0x95
#define DS_GET_PHYSICAL_DEVICE_INFO 0xA1

#define K3_SIZE_MAINT_KIND3 17
#define K3_SIZE_MAINT_KIND4 3
#define K3_SIZE_MAINT_KIND1 54
#define K3_SIZE_STOP_CDR_TRANSMISSION 6
#define K3_SIZE_AMHOST_8 8
#define K3_SIZE_AMHOST_10 3
#define K3_SIZE_PRIVATE_TLV_LIST 222
#define K3_SIZE_ACL2_240 3
#define K3_SIZE_AMHOST_1_2 143
#define K3_SIZE_AMHOST_1_1 44
#define K3_SIZE_AMHOST_2_4_A 15
#define K3_SIZE_AMHOST_2_4_B 16
#define K3_SIZE_AMHOST_7_2 21
#define K3_SIZE_GET_STORED_LIST 17
#define K3_SIZE_AMHOST_7_5 20
#define K3_SIZE_AMHOST_6_2_A 44
#define K3_SIZE_AMHOST_6_SHORT 12
#define K3_SIZE_AMHOST_6_1_C 13
#define K3_SIZE_AGENT_STATE 19
#define K3_SIZE_ACL2_1_192 6
#define K3_SIZE_SEND_DATA 52
#define K3_SIZE_PHYSICAL_DEVICE_INFO 19
/* Room the any-size types read or write whatever dwSize says. */
#define K3_ROOM_START_CDR_TRANSMISSION 6 /* 0x31: session number read at 2 */
#define K3_ROOM_CDR_REPORT_RESULT 344    /* 0x33: 334-byte record written at 10 */
#define K3_ROOM_CDR_REPORT_RESULT_2 442  /* 0x35: 432-byte record written at 10 */
#define K3_ROOM_GET_STORED_RECORD 36     /* 0x84: K3_DS_GET_STORED_RECORD */
#define K3_ROOM_GET_STORED_RECORD_2 24   /* 0x95: K3_DS_GET_STORED_RECORD_2 */

/* ---- Event type codes --------------------------------------------------- */

#define DS_EVENT_REFERENCE 0x13         /* maintenance reference; no stored record */
#define DS_EVENT_CDR_RECORD 0x32        /* CDR report; record type 0x32 */
#define DS_EVENT_AGENT 0x81             /* agent state change; record type 0x81 */
#define DS_EVENT_DATA_PATH_STARTED 0x92 /* no stored record */
#define DS_EVENT_DATA_RECEIVED 0x94     /* record type 0x32 */
#define DS_EVENT_DATA_PATH_STOPPED 0x96 /* no stored record */
#define DS_RECORD_LIST 0x62             /* record that collects a 0x61 answer list */

#define K3_DEVICE_LEN 9
#define K3_NAME_LEN 33

/* ---- Limits on what the PBX can make the library keep -------------------
 * What lies beyond a limit is refused, and the first refusal of each kind
 * after a line open is written to the event log (category 4).
 *  - K3_MAX_DATA_PATHS: data paths open at once on a line. A startDataPath
 *    beyond it is not answered and raises no 0x92 event; the path number
 *    does not advance. 64 is far above what a PBX opens towards one line.
 *  - K3_MAX_REFERENCES: maintenance references a line remembers from 0x11
 *    answers. A reference already listed is not listed again, so the limit
 *    is that of the one-byte reference itself and nothing is ever refused.
 *  - K3_MAX_LIST_ENTRIES: entries one 0x61 list collects, the range of the
 *    u16 count that the query's answer and the 0x62 fetch report. Entries
 *    beyond it are dropped (the count stays exact); each entry is kept cut
 *    to K3_DEVICE_LEN - 1 characters, as the 0x62 fetch hands it back. */
#define K3_MAX_DATA_PATHS 64
#define K3_MAX_REFERENCES 256
#define K3_MAX_LIST_ENTRIES 65535

#pragma pack(push, 1)

typedef struct { uint16_t wStructType; } K3_DS_HEADER;

/* 0x11: maintenance session request; the answer fills the reply fields. */
typedef struct {
  uint16_t wStructType;
  uint16_t wValue;
  uint8_t bReference;          /* reply */
  uint16_t wDay, wMonth, wYear; /* reply, year widened to four digits */
  uint16_t wHour, wMinute, wSecond;
} K3_DS_MAINT_KIND3;

/* 0x14: maintenance session close. */
typedef struct {
  uint16_t wStructType;
  uint8_t bSession;
} K3_DS_MAINT_KIND4;

/* 0x21: maintenance session open. bDataLength (at most 54) data bytes are
 * taken from offset 2, so a length above 51 reaches past the structure. Bytes
 * 2..55 are zeroed once the request was handed on or refused: the buffer needs
 * two bytes beyond the structure. */
typedef struct {
  uint16_t wStructType;
  uint8_t abData[48];
  uint8_t abUnused[3];
  uint8_t bDataLength;
} K3_DS_MAINT_KIND1;

/* 0x31 start (any size, 6 bytes read), 0x34 stop CDR transmission. */
typedef struct {
  uint16_t wStructType;
  uint32_t dwSession;
} K3_DS_CDR_TRANSMISSION;

/* 0x33 and 0x35 (any size): answer to a CDR report; the record is written
 * from offset 10 whatever dwSize says, 334 bytes for 0x33 and 432 for 0x35:
 * the buffer must hold K3_ROOM_CDR_REPORT_RESULT(_2) bytes. */
typedef struct {
  uint16_t wStructType;
  uint32_t dwSession;
  uint32_t dwSequence;
} K3_DS_CDR_REPORT_RESULT;

/* The CDR record as 0x33 writes it from offset 10 (the fields of the stored
 * K3_EVENT_CDR_RECORD, texts cut to their field here). */
typedef struct {
  uint16_t awTimeStamp[6];      /* year, month, day, hour, minute, second */
  char aszDevice[7][25];        /* calling, called, associated calling, associated
                                   called, network calling, network called, access code */
  uint32_t dwMediaClass;
  uint32_t dwTariffTable;
  uint32_t dwDuration;
  uint32_t dwCarrier;
  uint32_t dwSelectedRoute;
  uint8_t bSupplService;
  char szAccountInfo[33];
  uint32_t dwChargingPresent;
  char szChargingText[17];
  uint32_t dwChargingValue;
  uint32_t dwChargingKind;
  uint32_t dwMinutes;
  char szText1[30];
  char szText2[30];
} K3_CDR_SUMMARY;

typedef struct {
  K3_DS_CDR_REPORT_RESULT hdr;
  K3_CDR_SUMMARY record;
} K3_DS_CDR_REPORT_SUMMARY;

/* 0x41 (reply fields) and 0x42 (values to set). */
typedef struct {
  uint16_t wStructType;
  uint16_t wValue1, wValue2, wValue3;
} K3_DS_AMHOST_8;

/* 0x43, 0x44 (flag), 0x46 (selector). */
typedef struct {
  uint16_t wStructType;
  uint8_t bFlag;
} K3_DS_FLAG;

/* 0x45: up to 20 raw private entries; tag 0 marks an empty entry. */
typedef struct {
  uint8_t bTag;
  uint8_t bFormat; /* 0x02, 0x04, 0x08, 0x20 or 0x40 */
  char szValue[9];
} K3_DS_TLV_ENTRY;
typedef struct {
  uint16_t wStructType;
  K3_DS_TLV_ENTRY aEntry[20];
} K3_DS_PRIVATE_TLV_LIST;

/* 0x52: the four texts are reply fields. */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  char szText1[K3_NAME_LEN], szText2[K3_NAME_LEN], szText3[K3_NAME_LEN], szText4[K3_NAME_LEN];
} K3_DS_AMHOST_1_2;

/* 0x54, 0x55: set a name; 0x71: the name is the reply. */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  char szName[K3_NAME_LEN];
} K3_DS_DEVICE_NAME;

/* 0x56 */
typedef struct {
  uint16_t wStructType;
  char szName[K3_DEVICE_LEN];
  uint32_t dwSwitch;
} K3_DS_AMHOST_2_4_A;

/* 0x58 */
typedef struct {
  uint16_t wStructType;
  char szName[K3_DEVICE_LEN];
  uint8_t bValue;
  uint32_t dwSwitch;
} K3_DS_AMHOST_2_4_B;

/* 0x61: list query; the reply tells how to fetch the list with 0x62. */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  uint32_t dwSequence;  /* reply */
  uint16_t wCount;      /* reply */
  uint32_t dwNeeded;    /* reply: 9 * count + 8 */
} K3_DS_AMHOST_7_2;

/* 0x62: the list's texts are written from offset 8 in 9-byte fields; the
 * buffer needs dwNeeded bytes of the 0x61 reply. */
typedef struct {
  uint16_t wStructType;
  uint32_t dwSequence;
  uint16_t wValue;
  char szEntry[1][K3_DEVICE_LEN];
} K3_DS_GET_STORED_LIST;

/* 0x63, 0x64, 0x65 */
typedef struct {
  uint16_t wStructType;
  char szDevice1[K3_DEVICE_LEN];
  char szDevice2[K3_DEVICE_LEN];
} K3_DS_AMHOST_7_5;

/* 0x72, 0x75 (flag), 0x73, 0x74 (reply byte). */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  uint8_t bFlag;
} K3_DS_AMHOST_6;

/* 0x76 */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  uint8_t bFlagA, bFlagB;
} K3_DS_AMHOST_6_1_C;

/* 0x82 (state is the reply), 0x83 (requested state 0..4). */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  uint32_t dwState;
  char szAgentId[4];
} K3_DS_AGENT_STATE;

/* 0x84 (any size): the strings of a stored record; all 36 bytes are written
 * whatever dwSize says. */
typedef struct {
  uint16_t wStructType;
  uint32_t dwSequence;
  char szText1[9];
  char szText2[4];
  char szText3[9];
  uint32_t dwValue1, dwValue2;
} K3_DS_GET_STORED_RECORD;

/* 0x95 (any size): all 24 bytes are written whatever dwSize says. */
typedef struct {
  uint16_t wStructType;
  uint32_t dwSequence;
  char szText1[9];
  char szText2[9];
} K3_DS_GET_STORED_RECORD_2;

/* 0x91: the state flag is written as a 32-bit value from offset 2. */
typedef struct {
  uint16_t wStructType;
  uint32_t dwStateFlag;
} K3_DS_ACL2_1_192;

/* 0x93: send data on the open data path named szName. */
typedef struct {
  uint16_t wStructType;
  char szName[42];
  uint32_t dwValueX;
  uint32_t dwValueY;
} K3_DS_SEND_DATA;

/* 0xA1: the device class is the reply. */
typedef struct {
  uint16_t wStructType;
  char szDevice[K3_DEVICE_LEN];
  uint32_t dwDeviceClass;
  uint8_t abUnused[4];
} K3_DS_PHYSICAL_DEVICE_INFO;

/* ---- Events ------------------------------------------------------------- */

/* The 12-byte header of events that store a record (0x32, 0x81, 0x94); it
 * reaches the event callback as message, param1 and param2. */
typedef struct {
  uint16_t wEventType;
  uint32_t dwSequence;
  uint32_t dwParam;
  char acText[2];
} K3_EVENT_HEADER;

/* 0x13 (no record): a maintenance reference with its date and time packed. */
typedef struct {
  uint16_t wEventType;
  uint8_t bReference;
  uint16_t wDate;   /* day in bits 0-4, month in bits 5-8 */
  uint16_t wYear;   /* widened to four digits */
  uint16_t wTime;   /* hour in bits 0-4, minute in bits 5-10 */
  uint16_t wSecond; /* bits 0-5 */
  uint8_t bReserved;
} K3_EVENT_REFERENCE;

/* 0x92 (no record): a data path the PBX started; the device text stays empty
 * when it does not fit with its terminator. */
typedef struct {
  uint16_t wEventType;
  uint8_t bValue;
  char szDevice[9];
} K3_EVENT_PATH_STARTED;

/* 0x96 (no record): a data path the PBX stopped. */
typedef struct {
  uint16_t wEventType;
  char szDevice[10];
} K3_EVENT_PATH_STOPPED;

/* The store's own first 24 bytes of every event-data record. */
typedef struct {
  uint32_t dwSequence;
  uint16_t wType;
  uint16_t wReserved;
  uint32_t dwRefCount;
  uint32_t dwStoredTick;
  uint32_t dwExpiryTick;
  uint32_t dwReserved;
} K3_EVENT_RECORD_HEAD;

/* The 432-byte event-data record, as fetched. */
typedef struct {
  K3_EVENT_RECORD_HEAD head;
  uint8_t abBody[408];
} K3_EVENT_RECORD;

/* Record type 0x81: an agent state change (fetched with 0x84). */
typedef struct {
  K3_EVENT_RECORD_HEAD head;
  char szDevice[9];       /* the agent's device */
  char szAgentId[7];
  uint32_t dwKind;        /* 1 logged on, 2 logged off, 3 not ready, 4 ready,
                             5 busy, 6 working after call */
  uint32_t dwPrivateState; /* 0 no private data, 1/2 device indication bit 0
                              clear/set, 3 the monitor's own agent */
  char szAcdGroup[384];
} K3_EVENT_AGENT_RECORD;

/* Record type 0x32 of a 0x94 event: data received on a data path (fetched
 * with 0x95). */
typedef struct {
  K3_EVENT_RECORD_HEAD head;
  char szDevice[9];
  char szData[399];
} K3_EVENT_DATA_RECORD;

/* Record type 0x32 of a 0x32 event: a CDR report (fetched with 0x33 or 0x35).
 * Absent parts read 0 or empty, the minutes 0xFFFFFFFF. */
typedef struct {
  K3_EVENT_RECORD_HEAD head;
  uint16_t awTimeStamp[6];      /* year, month, day, hour, minute, second */
  uint8_t abReserved1[4];
  char aszDevice[7][33];        /* calling, called, associated calling, associated
                                   called, network calling, network called, access code */
  uint32_t dwMediaClass;
  uint32_t dwTariffTable;
  uint32_t dwDuration;
  uint32_t dwCarrier;
  uint32_t dwSelectedRoute;
  uint8_t bSupplService;
  char szAccountInfo[33];
  uint32_t dwChargingPresent;
  char szChargingText[17];
  uint32_t dwChargingValue;
  uint32_t dwChargingKind;
  uint8_t abReserved2[4];
  uint32_t dwMinutes;
  char szText1[33];
  char szText2[33];
  uint32_t dwInvokeId;          /* of the report, answered by 0x33/0x35 */
} K3_EVENT_CDR_RECORD;

/* Record type 0x62: collects the answer list of a 0x61 query; its texts are
 * kept beside the record and fetched with 0x62. */
typedef struct {
  K3_EVENT_RECORD_HEAD head;
  uint16_t wCount;
  uint16_t wReserved;
  uint32_t dwInvokeId;          /* of the query */
  uint8_t abUnused[400];
} K3_EVENT_LIST_RECORD;

#pragma pack(pop)

K3_STATIC_ASSERT(sizeof(K3_DS_MAINT_KIND3) == K3_SIZE_MAINT_KIND3, "0x11 is 17 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_MAINT_KIND4) == K3_SIZE_MAINT_KIND4, "0x14 is 3 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_MAINT_KIND1) == K3_SIZE_MAINT_KIND1, "0x21 is 54 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_CDR_TRANSMISSION) == K3_SIZE_STOP_CDR_TRANSMISSION && K3_ROOM_START_CDR_TRANSMISSION == 6, "0x31/0x34 are 6 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_CDR_REPORT_RESULT) == 10, "the CDR answer header is 10 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_8) == K3_SIZE_AMHOST_8, "0x41/0x42 are 8 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_FLAG) == K3_SIZE_AMHOST_10 && K3_SIZE_ACL2_240 == 3, "0x43/0x44/0x46 are 3 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_PRIVATE_TLV_LIST) == K3_SIZE_PRIVATE_TLV_LIST, "0x45 is 222 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_1_2) == K3_SIZE_AMHOST_1_2, "0x52 is 143 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_DEVICE_NAME) == K3_SIZE_AMHOST_1_1 && K3_SIZE_AMHOST_6_2_A == 44, "0x54/0x55/0x71 are 44 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_2_4_A) == K3_SIZE_AMHOST_2_4_A, "0x56 is 15 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_2_4_B) == K3_SIZE_AMHOST_2_4_B, "0x58 is 16 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_7_2) == K3_SIZE_AMHOST_7_2, "0x61 is 21 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_GET_STORED_LIST) == K3_SIZE_GET_STORED_LIST, "0x62 is 17 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_7_5) == K3_SIZE_AMHOST_7_5, "0x63..0x65 are 20 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_6) == K3_SIZE_AMHOST_6_SHORT, "0x72..0x75 are 12 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AMHOST_6_1_C) == K3_SIZE_AMHOST_6_1_C, "0x76 is 13 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_AGENT_STATE) == K3_SIZE_AGENT_STATE, "0x82/0x83 are 19 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_GET_STORED_RECORD) == K3_ROOM_GET_STORED_RECORD, "0x84 writes 36 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_GET_STORED_RECORD_2) == K3_ROOM_GET_STORED_RECORD_2, "0x95 writes 24 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_ACL2_1_192) == K3_SIZE_ACL2_1_192, "0x91 is 6 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_SEND_DATA) == K3_SIZE_SEND_DATA, "0x93 is 52 bytes");
K3_STATIC_ASSERT(sizeof(K3_DS_PHYSICAL_DEVICE_INFO) == K3_SIZE_PHYSICAL_DEVICE_INFO, "0xA1 is 19 bytes");
K3_STATIC_ASSERT(sizeof(K3_EVENT_HEADER) == 12, "the event header is 12 bytes");
K3_STATIC_ASSERT(sizeof(K3_EVENT_RECORD) == 432, "an event record is 432 bytes");
K3_STATIC_ASSERT(sizeof(K3_CDR_SUMMARY) == 334, "0x33 writes a 334-byte record");
K3_STATIC_ASSERT(sizeof(K3_DS_CDR_REPORT_SUMMARY) == K3_ROOM_CDR_REPORT_RESULT, "0x33 writes up to 344");
K3_STATIC_ASSERT(sizeof(K3_DS_CDR_REPORT_RESULT) + sizeof(K3_EVENT_RECORD) == K3_ROOM_CDR_REPORT_RESULT_2,
                 "0x35 writes up to 442");
K3_STATIC_ASSERT(sizeof(K3_EVENT_REFERENCE) == 12, "0x13 is a 12-byte header");
K3_STATIC_ASSERT(sizeof(K3_EVENT_PATH_STARTED) == 12, "0x92 is a 12-byte header");
K3_STATIC_ASSERT(sizeof(K3_EVENT_PATH_STOPPED) == 12, "0x96 is a 12-byte header");
K3_STATIC_ASSERT(sizeof(K3_EVENT_RECORD_HEAD) == 24, "the store's fields take 24 bytes");
K3_STATIC_ASSERT(sizeof(K3_EVENT_AGENT_RECORD) == 432, "an agent record is 432 bytes");
K3_STATIC_ASSERT(sizeof(K3_EVENT_DATA_RECORD) == 432, "a data record is 432 bytes");
K3_STATIC_ASSERT(sizeof(K3_EVENT_CDR_RECORD) == 432, "a CDR record is 432 bytes");
K3_STATIC_ASSERT(sizeof(K3_EVENT_LIST_RECORD) == 432, "a list record is 432 bytes");
/* Fields that lie at odd places: the packing keeps them there. */
K3_STATIC_ASSERT(offsetof(K3_DS_AMHOST_2_4_B, dwSwitch) == 12, "0x58's switch at 12");
K3_STATIC_ASSERT(offsetof(K3_DS_AMHOST_7_2, dwNeeded) == 17, "0x61's size at 17");
K3_STATIC_ASSERT(offsetof(K3_DS_MAINT_KIND1, bDataLength) == 53, "0x21's length at 53");
K3_STATIC_ASSERT(offsetof(K3_DS_CDR_REPORT_SUMMARY, record.dwMediaClass) == 197, "0x33: media class at 197");
K3_STATIC_ASSERT(offsetof(K3_DS_CDR_REPORT_SUMMARY, record.szText1) == 284, "0x33: first text at 284");
K3_STATIC_ASSERT(offsetof(K3_EVENT_AGENT_RECORD, szAcdGroup) == 48, "agent record: ACD group at 48");
K3_STATIC_ASSERT(offsetof(K3_EVENT_DATA_RECORD, szData) == 33, "data record: data at 33");
K3_STATIC_ASSERT(offsetof(K3_EVENT_CDR_RECORD, aszDevice) == 40, "CDR record: devices from 40");
K3_STATIC_ASSERT(offsetof(K3_EVENT_CDR_RECORD, bSupplService) == 291, "CDR record: services at 291");
K3_STATIC_ASSERT(offsetof(K3_EVENT_CDR_RECORD, dwChargingValue) == 346, "CDR record: charging value at 346");
K3_STATIC_ASSERT(offsetof(K3_EVENT_CDR_RECORD, dwMinutes) == 358, "CDR record: minutes at 358");
K3_STATIC_ASSERT(offsetof(K3_EVENT_CDR_RECORD, dwInvokeId) == 428, "CDR record: invoke id at 428");
K3_STATIC_ASSERT(offsetof(K3_EVENT_LIST_RECORD, dwInvokeId) == 28, "list record: invoke id at 28");
K3_STATIC_ASSERT(offsetof(K3_EVENT_REFERENCE, wSecond) == 9, "0x13: second at 9");

#endif
