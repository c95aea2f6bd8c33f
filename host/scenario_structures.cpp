// k3-scenario, portable half: the device-specific request structures the
// runner knows by name: the library's request table with the runner's
// default sizes and named fields.
#include "bridge/request_types.h"
#include "host/scenario_detail.h"

namespace k3s {

using namespace detail;

namespace {

std::vector<Field> TlvFields() {
  std::vector<Field> f;
  for (uint32_t i = 0; i < 20; ++i) {
    std::string k = std::to_string(i + 1);
    uint32_t at = 2 + 11 * i;
    f.push_back({"tag" + k, at, FieldKind::U8, 1});
    f.push_back({"format" + k, at + 1, FieldKind::U8, 1});
    f.push_back({"value" + k, at + 2, FieldKind::Text, 9});
  }
  return f;
}

std::vector<Field> ListFields() {
  std::vector<Field> f = {U32("sequence", 2), U16("count", 6)};
  for (uint32_t i = 0; i < 20; ++i) f.push_back({"entry" + std::to_string(i + 1), 8 + 9 * i, FieldKind::Text, 9});
  return f;
}

// The runner's own part of each structure: the size it sends by default and
// the fields a scenario may name. Code, name and exact size come from the
// library's request table.
struct RunnerFields {
  const char *name;
  uint32_t defaultSize;
  std::vector<Field> fields;
};

std::vector<RunnerFields> MakeRunnerFields() {
  const std::vector<Field> amhost8 = {U16("value1", 2), U16("value2", 4), U16("value3", 6)};
  const std::vector<Field> flag = {U8("flag", 2)};
  const std::vector<Field> devName = {Txt("device", 2, 9), Txt("name", 11, 33)};
  const std::vector<Field> dev6 = {Txt("device", 2, 9), U8("flag", 11)};
  const std::vector<Field> agent = {Txt("device", 2, 9), U32("state", 11), Txt("agent", 15, 4)};
  const std::vector<Field> cdrAnswer = {U32("session", 2), U32("sequence", 6)};
  return {
      {"MAINT_KIND3", 17,
       {U16("value", 2), U8("reference", 4), U16("day", 5), U16("month", 7), U16("year", 9), U16("hour", 11),
        U16("minute", 13), U16("second", 15)}},
      {"MAINT_KIND4", 3, {U8("session", 2)}},
      {"MAINT_KIND1", 54, {Oct("data", 2, 48), U8("length", 53)}},
      {"START_CDR_TRANSMISSION", 6, {U32("session", 2)}},
      {"CDR_REPORT_RESULT", 344, cdrAnswer},
      {"STOP_CDR_TRANSMISSION", 6, {U32("session", 2)}},
      {"CDR_REPORT_RESULT_2", 10,
       {U32("session", 2), U32("sequence", 6), U32("record.sequence", 10), U16("record.type", 14),
        Txt("record.calling", 50, 33), Txt("record.called", 83, 33), U32("record.duration", 289), U8("record.suppl", 301), Txt("record.account", 302, 33),
        U32("record.minutes", 368), U32("record.invoke", 438)}},
      {"AMHOST_8_2", 8, amhost8},
      {"AMHOST_8_8", 8, amhost8},
      {"AMHOST_10_7_8", 3, flag},
      {"AMHOST_10_2", 3, flag},
      {"PRIVATE_TLV_LIST", 222, TlvFields()},
      {"ACL2_240", 3, {U8("selector", 2)}},
      {"RESERVED_47", 2, {}},
      {"RESERVED_48", 2, {}},
      {"AMHOST_1_2", 143,
       {Txt("device", 2, 9), Txt("text1", 11, 33), Txt("text2", 44, 33), Txt("text3", 77, 33),
        Txt("text4", 110, 33)}},
      {"AMHOST_1_1_A", 44, devName},
      {"AMHOST_1_1_B", 44, devName},
      {"AMHOST_2_4_A", 15, {Txt("name", 2, 9), U32("switch", 11)}},
      {"AMHOST_2_4_B", 16, {Txt("name", 2, 9), U8("value", 11), U32("switch", 12)}},
      {"AMHOST_7_2", 21,
       {Txt("device", 2, 9), U32("sequence", 11), U16("count", 15), U32("needed", 17)}},
      {"GET_STORED_LIST", 17, ListFields()},
      {"AMHOST_7_5_A", 20, {Txt("device1", 2, 9), Txt("device2", 11, 9)}},
      {"AMHOST_7_5_B", 20, {Txt("device1", 2, 9), Txt("device2", 11, 9)}},
      {"AMHOST_7_5_C", 20, {Txt("device1", 2, 9), Txt("device2", 11, 9)}},
      {"AMHOST_6_2_A", 44, devName},
      {"AMHOST_6_1_A", 12, dev6},
      {"AMHOST_6_2_B", 12, dev6},
      {"AMHOST_6_2_C", 12, dev6},
      {"AMHOST_6_1_B", 12, dev6},
      {"AMHOST_6_1_C", 13, {Txt("device", 2, 9), U8("flagA", 11), U8("flagB", 12)}},
      {"GET_AGENT_STATE", 19, agent},
      {"SET_AGENT_STATE", 19, agent},
      {"GET_STORED_RECORD", 36,
       {U32("sequence", 2), Txt("text1", 6, 9), Txt("text2", 15, 4), Txt("text3", 19, 9), U32("value1", 28),
        U32("value2", 32)}},
      {"ACL2_1_192", 6, {U32("flag", 2)}},
      {"SEND_DATA", 52, {Txt("name", 2, 42), U32("x", 44), U32("y", 48)}},
      {"GET_STORED_RECORD_2", 24, {U32("sequence", 2), Txt("text1", 6, 9), Txt("text2", 15, 9)}},
      {"GET_PHYSICAL_DEVICE_INFO", 19, {Txt("device", 2, 9), U32("class", 11)}},
  };
}

std::vector<StructInfo> MakeStructures() {
  const std::vector<RunnerFields> known = MakeRunnerFields();
  std::vector<StructInfo> out;
  for (const k3::RequestTypeName &t : k3::kRequestTypeNames) {
    StructInfo info{t.code, t.name, t.size, t.size ? t.size : 2, {}};
    for (const RunnerFields &r : known)
      if (std::string(r.name) == t.name) info.defaultSize = r.defaultSize, info.fields = r.fields;
    out.push_back(std::move(info));
  }
  return out;
}

}  // namespace

const std::vector<StructInfo> &Structures() {
  static const std::vector<StructInfo> table = MakeStructures();
  return table;
}

const StructInfo *StructureByCode(uint16_t type) {
  for (const StructInfo &s : Structures())
    if (s.type == type) return &s;
  return nullptr;
}

const StructInfo *FindStructure(const std::string &nameOrCode) {
  int64_t code;
  if (ParseNumber(nameOrCode, code)) return code >= 0 && code <= 0xFFFF ? StructureByCode(uint16_t(code)) : nullptr;
  std::string n = Upper(nameOrCode);
  if (n.compare(0, 3, "DS_") == 0) n = n.substr(3);
  for (const StructInfo &s : Structures())
    if (n == s.name) return &s;
  return nullptr;
}

}  // namespace k3s
