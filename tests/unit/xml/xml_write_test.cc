#include "xml/xml_write.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dispatch/ftm_status.h"
#include "xml/xml_templates.h"
#include "xml_test_util.h"

namespace {

const char kProlog[] = "  <?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";

class WriteTable : public ::testing::TestWithParam<TextCase> {};

TEST_P(WriteTable, WritesExactBytesAndMeasuresThem) {
  Doc doc = ParseText(GetParam().input);
  const std::string out = Serialize(doc.get());
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

TEST(XmlWrite, WithoutIndentation) {
  Doc doc = ParseText("<?xml v=1?><A k=v>t<B/></A>");
  EXPECT_EQ(Serialize(doc.get(), 0), "<?xml v=\"1\"?><A k=\"v\">t<B></B></A>");
}

// Pieces that do not fit are skipped whole; later, shorter ones still go in.
TEST(XmlWrite, SkipsPiecesThatDoNotFit) {
  Doc doc = ParseText("<A/>");
  char buffer[6] = "";
  size_t length = 0;
  EXPECT_EQ(XmlSerialize(doc.get(), buffer, sizeof buffer, &length, 1, 0), 0);
  EXPECT_STREQ(buffer, "  <A>");
  EXPECT_EQ(length, 5u);
  // Each level of indentation is its own piece: one of B's two still fits.
  Doc nested = ParseText("<A><B/></A>");
  char small[10] = "";
  length = 0;
  XmlSerialize(nested.get(), small, sizeof small, &length, 1, 0);
  EXPECT_STREQ(small, "  <A>\r\n  ");
  EXPECT_EQ(XmlSerialize(doc.get(), buffer, sizeof buffer, nullptr, 1, 0), -2);
  length = 0;
  EXPECT_EQ(XmlSerialize(doc.get(), nullptr, 100, &length, 1, 0), 0);
  EXPECT_EQ(length, 0u);
}

TEST(XmlWrite, LongNamesAndValuesGoOutWhole) {
  const std::string name(200, 'N');
  const std::string value(300, 'v');
  Doc doc = ParseText("<" + name + " a=\"" + value + "\"/>");
  EXPECT_EQ(Serialize(doc.get()), "  <" + name + " a=\"" + value + "\">\r\n  </" + name + ">\r\n");
}

TEST(XmlReport, BuildsDownloadStatusWithStoredLengthCountingNul) {
  Doc doc(FTM_NewDownloadStatusDoc());
  char* text = nullptr;
  int length = 0;
  ASSERT_EQ(FTM_BuildReportFile(&text, &length, doc.get()), 0);
  EXPECT_EQ(length, 96);
  EXPECT_EQ(std::string(text),
            std::string(kProlog) + "  <DOWNLOAD_STATUS>\r\n    DONE\r\n  </DOWNLOAD_STATUS>\r\n");
  std::free(text);
}

// Neither an empty document nor a slot still holding a text is built into;
// the slot and length stay as they were.
TEST(XmlReport, FailsForEmptyDocumentOrOccupiedSlot) {
  char occupied[] = "old";
  for (char* slot : {static_cast<char*>(nullptr), occupied}) {
    Doc doc = ParseText(slot == nullptr ? "" : "<A/>");
    char* text = slot;
    int length = 7;
    FtmClearErrorInfo();
    EXPECT_EQ(FTM_BuildReportFile(&text, &length, doc.get()), -1);
    EXPECT_EQ(std::make_pair(text, length), std::make_pair(slot, 7));
    EXPECT_STREQ(FtmGetErrorInfo()->message, "Fail to Create Xml File");
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

TEST(XmlOperations, SetTextAndAttributes) {
  Doc doc = ParseText("<A/><B a=1 b=2>t</B>");
  XmlNode* a = doc->children[0];
  XmlNode* b = doc->children[1];
  ASSERT_EQ(XmlSetText(a, "x\n &amp; "), 0);
  EXPECT_EQ(a->hasContent, 1);
  ASSERT_EQ(XmlSetText(b, ""), 0);
  EXPECT_EQ(b->text, nullptr);
  EXPECT_EQ(b->hasContent, 1);

  const char* old = b->attrValues[0];
  ASSERT_EQ(XmlSetAttribute(b, "a", "1"), 0);
  EXPECT_EQ(b->attrValues[0], old);  // same value: untouched
  ASSERT_EQ(XmlSetAttribute(b, "b", "9"), 0);
  ASSERT_EQ(XmlSetAttribute(b, "c", "3"), 0);
  ASSERT_EQ(XmlSetAttribute(a, "n", "v"), 0);
  EXPECT_EQ(
      Serialize(doc.get()),
      "  <A n=\"v\">\r\n    x\n &amp; \r\n  </A>\r\n  <B a=\"1\" b=\"9\" c=\"3\">\r\n  </B>\r\n");

  EXPECT_STREQ(*XmlAttrNameSlot(b, 0), "a");
  EXPECT_STREQ(*XmlAttrValueSlot(b, 1), "9");
  EXPECT_EQ(*XmlAttrNameSlot(b, 3), nullptr);
  EXPECT_EQ(*XmlAttrValueSlot(b, 3), nullptr);
  Doc bare = ParseText("<C/>");
  EXPECT_EQ(XmlAttrNameSlot(bare->children[0], 0), nullptr);
  EXPECT_EQ(XmlAttrValueSlot(bare->children[0], 0), nullptr);
}

// Random documents of the kind the daemon writes (texts without line breaks,
// '<' or '>'): written, read back and written again give the same bytes and
// the same names, attributes and texts, and the measure always equals what
// is written.
class RandomDoc {
 public:
  explicit RandomDoc(unsigned seed) : rng_(seed) {}

  std::string Make() {
    std::string out = Pick(3) == 0 ? "<?xml version=1.0 encoding=UTF-8?>" : "";
    for (int n = 1 + Pick(3); n > 0; --n) out += Element(1);
    return out;
  }

 private:
  unsigned Pick(unsigned n) { return rng_() % n; }
  std::string Word(const char* alphabet, int maxLen) {
    std::string w;
    for (int n = 1 + Pick(maxLen); n > 0; --n) w += alphabet[Pick(std::strlen(alphabet))];
    return w;
  }
  std::string Text() {
    const char* parts[] = {"a", "Z9", "&amp;", "&amp;amp;", " ", ":", "-", ".", "&", "\t"};
    std::string t = Word("xyz", 2);
    for (int n = Pick(6); n > 0; --n) t += parts[Pick(10)];
    return t + Word("xyz", 2);
  }
  std::string Element(int depth) {
    const std::string name = Word("ABT_01", 4);
    std::string tag = "<" + name;
    for (int n = Pick(3); n > 0; --n) tag += " " + Word("ab", 2) + "=\"" + Text() + "\"";
    // A self-closing tag whose name begins with an enclosing element's name
    // would count as an opening of it; such inputs never balance.
    if (Pick(4) == 0) return "<x" + tag.substr(1) + "/>";
    tag += ">";
    if (Pick(2) == 0) tag += "  " + Text() + " \t";
    if (depth < 5) {
      for (int n = Pick(4); n > 0; --n) tag += Element(depth + 1);
    }
    return tag + "</" + name + ">";
  }
  std::mt19937 rng_;
};

TEST(XmlProperties, WriteReadWriteIsStableAndMeasured) {
  RandomDoc gen(TestSeed(2024));
  for (int i = 0; i < 2000; ++i) {
    const std::string input = gen.Make();
    Doc first = ParseText(input);
    const std::string once = Serialize(first.get());
    Doc second = ParseText(once);
    ASSERT_EQ(Serialize(second.get()), once) << input;
    ASSERT_EQ(DumpDoc(second.get(), false), DumpDoc(first.get(), false)) << input;
    for (int indent = 0; indent <= 1; ++indent) {
      size_t measured = 0;
      XmlMeasure(first.get(), &measured, indent, 0);
      ASSERT_EQ(measured, Serialize(first.get(), indent).size()) << input;
    }
  }
}

}  // namespace
