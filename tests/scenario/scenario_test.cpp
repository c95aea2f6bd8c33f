// The scenario runner's portable half: reading scenario files, writing and
// checking structure fields, and the simulated PBX's messages on the wire.
#include <gtest/gtest.h>

#include <sstream>

#include "host/scenario.h"
#include "link/request.h"

namespace {

using namespace CSTA3V6;
using Bytes = std::vector<unsigned char>;

std::vector<k3s::Step> Parse(const std::string &text, std::vector<std::string> &errors) {
  std::istringstream in(text);
  std::vector<k3s::Step> steps;
  k3s::ParseScenario(in, "t.scn", steps, errors);
  return steps;
}

k3s::Step One(const std::string &line) {
  std::vector<std::string> errors;
  auto steps = Parse(line, errors);
  EXPECT_TRUE(errors.empty()) << errors[0];
  return steps.empty() ? k3s::Step() : steps[0];
}

Bytes Ber(const CSTAMsg &m) { return EncodeToVector(m); }

TEST(ScenarioFile, EveryBadLineIsReportedWithItsPlaceAndGoodLinesStay) {
  std::vector<std::string> errors;
  auto steps = Parse(
      "# comment only\n"
      "request a AMHOST_8_2 value1=3   # trailing comment\n"
      "request a AMHOST_8_2\n"                      // 3: name twice
      "request b 0x99\n"                            // 4: unknown type
      "request c AMHOST_1_2 device=\"0123456789\"\n"  // 5: 10 bytes into 9
      "request d AMHOST_8_2 nosuch=1\n"             // 6: unknown field
      "request e AMHOST_10_2 flag=256\n"            // 7: u8 out of range
      "expect zz result=SUCCESS\n"                  // 8: no such request
      "expect a result=MAYBE\n"                     // 9: unknown result
      "pbx result amhost=8/2/2 maint=2\n"           // 10: two contents
      "pbx invoke agent busy\n"                     // 11: no xref
      "note \"unterminated\n"                       // 12: quote
      "request f AMHOST_8_2 size=$g.value1\n"       // 13: size takes a number, g unknown
      "expect event 0x55\n"                         // 14: no such event
      "wait soon\n"                                 // 15
      "pbx result 248=1,2,3\n"                      // 16: element without amhost
      "monitor pause 100\npbx shout\nexpect\n"        // 17-19: words that name no step
      "request g SEND_DATA name=DP1 x=$a.value1+2\n"
      "\n"
      "expect g result=0xC0000003 x=3\n",
      errors);
  const char *expected[] = {"t.scn:3:", "t.scn:4:", "t.scn:5:",  "t.scn:6:",  "t.scn:7:",  "t.scn:8:", "t.scn:9:",
                            "t.scn:10:", "t.scn:11:", "t.scn:12:", "t.scn:13:", "t.scn:14:", "t.scn:15:", "t.scn:16:",
                            "t.scn:17:", "t.scn:18:", "t.scn:19:"};
  ASSERT_EQ(errors.size(), std::size(expected));
  for (size_t i = 0; i < errors.size(); ++i) EXPECT_EQ(errors[i].rfind(expected[i], 0), 0u) << errors[i];
  ASSERT_EQ(steps.size(), 3u);
  EXPECT_EQ(steps[0].line, 2);
  EXPECT_EQ(steps[0].source, "request a AMHOST_8_2 value1=3   # trailing comment");
  EXPECT_EQ(steps[1].Find("x")->value.kind, k3s::Value::Ref);
  EXPECT_EQ(steps[1].Find("x")->value.text, "a.value1");
  EXPECT_EQ(steps[1].Find("x")->value.offset, 2);
  EXPECT_EQ(steps[2].line, 22);
}

TEST(ScenarioFile, ValuesKeepWhatWasWritten) {
  k3s::Value v;
  std::string err;
  ASSERT_TRUE(k3s::ParseValue("\"a \\\"b\\\" \\x41\\\\\"", v, err)) << err;
  EXPECT_EQ(v.kind, k3s::Value::Text);
  EXPECT_EQ(v.text, "a \"b\" A\\");
  ASSERT_TRUE(k3s::ParseValue("0815", v, err));
  EXPECT_EQ(v.kind, k3s::Value::Number);
  EXPECT_EQ(v.number, 815);
  EXPECT_EQ(v.text, "0815");  // a device number keeps its leading zero
  ASSERT_TRUE(k3s::ParseValue("0xFFFFFFFF", v, err));
  EXPECT_EQ(v.number, 0xFFFFFFFFll);
  ASSERT_TRUE(k3s::ParseValue("hex:0a 0B", v, err));
  EXPECT_EQ(v.kind, k3s::Value::Octets);
  EXPECT_EQ(v.text, std::string("\x0A\x0B", 2));
  ASSERT_TRUE(k3s::ParseValue("$event.seq-1", v, err));
  EXPECT_EQ(v.offset, -1);
  EXPECT_FALSE(k3s::ParseValue("hex:ABC", v, err));
  EXPECT_FALSE(k3s::ParseValue("\"open", v, err));
  EXPECT_FALSE(k3s::ParseValue("$nodot", v, err));
  EXPECT_FALSE(k3s::ParseValue("\"\\x4\"", v, err));
  ASSERT_TRUE(k3s::ParseValue("0x100000000", v, err));  // too big for a number: kept as a word
  EXPECT_EQ(v.kind, k3s::Value::Text);
}

TEST(Structures, FieldsAreWrittenPackedLittleEndianAndCheckedByValue) {
  // 0x58: name (9) at 2, byte value at 11, 32-bit switch at 12.
  const k3s::StructInfo &s = *k3s::StructureByCode(0x58);
  std::vector<uint8_t> block(k3s::kBlockRoom);
  std::string err;
  k3s::Value v;
  ASSERT_TRUE(k3s::ParseValue("G1", v, err));
  ASSERT_TRUE(k3s::PutField(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "name"), v, err)) << err;
  ASSERT_TRUE(k3s::ParseValue("-2", v, err));
  ASSERT_TRUE(k3s::PutField(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "value"), v, err)) << err;
  ASSERT_TRUE(k3s::ParseValue("0x01020304", v, err));
  ASSERT_TRUE(k3s::PutField(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "switch"), v, err)) << err;
  EXPECT_EQ(std::vector<uint8_t>(block.begin(), block.begin() + 17),
            (std::vector<uint8_t>{0, 0, 'G', '1', 0, 0, 0, 0, 0, 0, 0, 0xFE, 4, 3, 2, 1, 0}));

  EXPECT_TRUE(k3s::FieldEquals(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "switch"), v, err));
  ASSERT_TRUE(k3s::ParseValue("254", v, err));
  EXPECT_TRUE(k3s::FieldEquals(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "value"), v, err));
  ASSERT_TRUE(k3s::ParseValue("G", v, err));
  EXPECT_FALSE(k3s::FieldEquals(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "name"), v, err));
  EXPECT_EQ(err, "name is \"G1\", expected \"G\"");

  // A text may fill its field without terminator, not more; a number must fit.
  ASSERT_TRUE(k3s::ParseValue("123456789", v, err));
  EXPECT_TRUE(k3s::PutField(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "name"), v, err));
  EXPECT_EQ(block[11], 0xFE);
  ASSERT_TRUE(k3s::ParseValue("\"1234567890\"", v, err));
  EXPECT_FALSE(k3s::PutField(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "name"), v, err));
  ASSERT_TRUE(k3s::ParseValue("-129", v, err));
  EXPECT_FALSE(k3s::PutField(block.data(), k3s::kBlockRoom, *k3s::FindField(s, "value"), v, err));

  k3s::Field raw;
  EXPECT_TRUE(k3s::ParseRawField("@0:u16", raw));
  EXPECT_TRUE(k3s::ParseRawField("@10:text:33", raw));
  EXPECT_EQ(raw.width, 33u);
  EXPECT_FALSE(k3s::ParseRawField("@1022:u32", raw));
  EXPECT_FALSE(k3s::ParseRawField("@5:u24", raw));
  EXPECT_FALSE(k3s::ParseRawField("@x:u8", raw));
}

// An escape invocation as the library would send it (invoke id 32770).
CSTAMsg LibraryEscape(uint32_t app, uint32_t action) {
  CSTAMsg m;
  k3::BuildEscapeInvoke(m, app, action)->SetAmhost(new AMHOST(1, 1, 1));
  k3::SetInvokeId(m, 32770);
  return m;
}

TEST(Pbx, AnswersOnTheWire) {
  CSTAMsg sent = LibraryEscape(2, 196);
  auto answer = [&](const std::string &line) {
    CSTAMsg out;
    std::string err;
    EXPECT_TRUE(k3s::BuildAnswer(One(line), sent, out, err)) << err;
    return Ber(out);
  };
  // RORS [2] { id, SEQUENCE { 51, CSTACommonArguments [APPLICATION 30] {
  //   privateData [1] { SEQUENCE { OID 1.3.12.2.1107.15, OCTET STRING } } } } }
  Bytes escape = {0xA2, 0x2A, 0x02, 0x03, 0x00, 0x80, 0x02, 0x30, 0x23, 0x02, 0x01, 0x33, 0x7E, 0x1E, 0xA1, 0x1C,
                  0x30, 0x1A, 0x06, 0x06, 0x2B, 0x0C, 0x02, 0x88, 0x53, 0x0F, 0x04, 0x10,
                  // ACL 2/196, AMHOST 1/1/3, element 173 (Cause) = 60
                  0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x01, 0x01, 0x00, 0x00, 0x03, 0x00, 0xAD, 0x04, 0x3C, 0x00};
  EXPECT_EQ(answer("pbx result amhost=1/1/3 173=60"), escape);
  // Raw octets travel exactly as written, also those a re-encoding would drop (element 10).
  Bytes raw = answer("pbx result raw=hex:1A0402C41E080A02000002000A040100");
  EXPECT_EQ(Bytes(raw.end() - 18, raw.end()),
            (Bytes{0x04, 0x10, 0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x0A, 0x02, 0x00, 0x00, 0x02, 0x00, 0x0A, 0x04, 0x01, 0x00}));
  EXPECT_EQ(answer("pbx error code=3"), (Bytes{0xA3, 0x08, 0x02, 0x03, 0x00, 0x80, 0x02, 0x02, 0x01, 0x03}));
  EXPECT_EQ(answer("pbx reject"), (Bytes{0xA4, 0x08, 0x02, 0x03, 0x00, 0x80, 0x02, 0x80, 0x01, 0x00}));
  EXPECT_EQ(answer("pbx bare invoke=65536"), (Bytes{0xA2, 0x05, 0x02, 0x03, 0x01, 0x00, 0x00}));

  // Answers need an invocation to answer, or an id; results need a known form.
  CSTAMsg out;
  std::string why;
  CSTAMsg result;
  k3::BuildResult(result, 110, nullptr);
  EXPECT_FALSE(k3s::BuildAnswer(One("pbx result"), result, out, why));
  CSTAMsg other;
  k3::BuildInvoke(other, 110, nullptr);
  EXPECT_FALSE(k3s::BuildAnswer(One("pbx result"), other, out, why));
  EXPECT_NE(why.find("110"), std::string::npos);
}

// What the PBX's answers and invocations carry is judged by the default
// scenarios, through the library; here what "expect sent" reports of a mismatch.
TEST(Pbx, ExpectSentNamesEveryMismatch) {
  CSTAMsg ref, decoded;
  std::vector<unsigned char> ber;
  std::string err;
  ASSERT_TRUE(k3s::BuildInvocation(One("pbx invoke escape maint=2 ref=5 date=31.12.79 action=196"), 7, ref, err));
  ASSERT_TRUE(k3s::RoundTrip(ref, decoded, ber, err)) << err;
  k3s::MessageFacts f = k3s::FactsOf(decoded);
  EXPECT_EQ(f.privateOctets, std::string("\x1A\x04\x06\xC4\x22\x04\x02\x05\xB8\x06\x00\x1F\x0C\x4F", 14));
  EXPECT_TRUE(k3s::CheckFacts(f, One("expect sent op=51 kind=invoke invoke=7 acl=6/196 maint=2 ref=5"), err)) << err;
  EXPECT_FALSE(k3s::CheckFacts(f, One("expect sent op=52 acl=2/196 amhost=1/1/1"), err));
  EXPECT_EQ(err, "op is 51, expected 52; acl is 6/196, expected 2/196; amhost is none, expected 1/1/1");
}

TEST(Pbx, ContentThatCannotBeBuiltIsRefused) {
  for (const char *line : {"pbx invoke escape amhost=1/2", "pbx invoke escape amhost=1/2/1 10=1",  // 10: not written back
                           "pbx invoke escape amhost=1/2/1 248=1,2", "pbx invoke escape maint=2 date=1.2",
                           "pbx invoke senddata xref=AB"}) {
    CSTAMsg out;
    std::string err;
    EXPECT_FALSE(k3s::BuildInvocation(One(line), 1, out, err)) << line;
  }
}

}  // namespace
