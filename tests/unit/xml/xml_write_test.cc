#include "xml/xml_write.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "dispatch/ftm_status.h"
#include "xml/xml_templates.h"
#include "xml_test_util.h"

namespace {

class WriteTable : public ::testing::TestWithParam<TextCase> {};

TEST_P(WriteTable, WritesExactBytesAndMeasuresThem) {
  Doc doc = ParseText(GetParam().input);
  const std::string out = XmlSerializeString(doc.get());
  EXPECT_EQ(out, GetParam().want) << "input: " << GetParam().input;
  size_t measured = 0;
  XmlMeasure(doc.get(), &measured, 1, 0);
  EXPECT_EQ(measured, out.size());
}

INSTANTIATE_TEST_SUITE_P(
    XmlFormat, WriteTable,
    ::testing::Values(TextCase{"", ""}, TextCase{"<A/>", "  <A>\r\n  </A>\r\n"},
                      TextCase{"<A>t<B/></A>",
                               "  <A>\r\n    t\r\n    <B>\r\n    </B>\r\n  </A>\r\n"},
                      TextCase{"<A x=\"1\" y=\"a&amp;b\">a&lt;b&amp;c</A>",
                               "  <A x=\"1\" y=\"a&b\">\r\n    a<b&c\r\n  </A>\r\n"},
                      TextCase{"<?xml?><?xml v=1?>", "  <?xml>\r\n  <?xml v=\"1\"?>\r\n"},
                      TextCase{"<top><A/></top>", "      <A>\r\n    </A>\r\n"},
                      TextCase{"<A>x\ny</A>", "  <A>\r\n    x\r\ny\r\n  </A>\r\n"}));

// A report's text is built only from a document with content into a free
// slot, its length counting the NUL; a failure leaves slot and length.
TEST(XmlReport, BuildsIntoAFreeSlotOnly) {
  char old[] = "old";
  const struct {
    const char* xml;
    char* slot;
    int result;
    std::string text;
    int length;
  } rows[] = {{"<A/>", nullptr, 0, "  <A>\r\n  </A>\r\n", 16},
              {"", nullptr, -1, "", 7},
              {"<A/>", old, -1, "old", 7}};
  for (const auto& row : rows) {
    Doc doc = ParseText(row.xml);
    char* text = row.slot;
    int length = 7;
    FtmClearErrorInfo();
    EXPECT_EQ(FTM_BuildReportFile(&text, &length, doc.get()), row.result);
    EXPECT_EQ(std::make_pair(std::string(text != nullptr ? text : ""), length),
              std::make_pair(row.text, row.length));
    EXPECT_STREQ(FtmGetErrorInfo()->message, row.result == 0 ? nullptr : "Fail to Create Xml File");
    if (text != row.slot) std::free(text);
  }
}

TEST(XmlOperations, FindPathRecordsMissingElements) {
  Doc doc(FTM_NewTestConfigDoc());
  FtmClearErrorInfo();
  EXPECT_STREQ(XmlFindPath(doc.get(), "TEST_CONFIG", "LED", "WPS_LED")->name, "WPS_LED");
  EXPECT_STREQ(XmlFindPath(doc.get(), "TEST_CONFIG", nullptr, "USB")->name, "TEST_CONFIG");
  EXPECT_EQ(FtmGetErrorInfo()->message, nullptr);
  for (const char* missing : {"Wps_LED", "LED/x"}) {
    FtmClearErrorInfo();
    EXPECT_EQ(XmlFindPath(doc.get(), "TEST_CONFIG", "LED", missing), nullptr);
    EXPECT_STREQ(FtmGetErrorInfo()->message, "Xml File InValid");
  }
}

// Texts go in as given; an attribute is replaced in place or appended.
TEST(XmlOperations, SetTextAndAttributes) {
  Doc doc = ParseText("<A/><B a=1 b=2>t</B>");
  XmlNode* a = doc->children[0];
  XmlNode* b = doc->children[1];
  for (auto set :
       {XmlSetText(a, "x\n &amp; "), XmlSetText(b, ""), XmlSetAttribute(b, "a", "1"),
        XmlSetAttribute(b, "b", "9"), XmlSetAttribute(b, "c", "3"), XmlSetAttribute(a, "n", "v")}) {
    EXPECT_EQ(set, 0);
  }
  EXPECT_EQ(
      XmlSerializeString(doc.get()),
      "  <A n=\"v\">\r\n    x\n &amp; \r\n  </A>\r\n  <B a=\"1\" b=\"9\" c=\"3\">\r\n  </B>\r\n");
}

}  // namespace
