#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "xml/xml_doc.h"
#include "xml_test_util.h"

namespace {

class ParseTable : public ::testing::TestWithParam<TextCase> {};

TEST_P(ParseTable, BuildsExactTree) {
  Doc doc = ParseText(GetParam().input);
  ASSERT_TRUE(doc);
  EXPECT_EQ(DumpDoc(doc.get()), GetParam().want) << "input: " << GetParam().input;
}

INSTANTIATE_TEST_SUITE_P(
    XmlRules, ParseTable,
    ::testing::Values(
        TextCase{"", ""}, TextCase{"no markup at all", ""},
        TextCase{"<?xml version=1.0 encoding=UTF-8?><A> x </A>",
                 "xml/[version=1.0,encoding=UTF-8] A{x}"},
        TextCase{"<?xml\nversion=\"1.0\"?>", "xml/[version=1.0]"},
        TextCase{"<A><?xml v=1?></A>", "A(xml/[v=1])"},
        TextCase{"<A x=\"1 2\" y = 3 z/>", "A/[x=1 2,y=3]"}, TextCase{"<A x='1'>", "A[x='1']"},
        TextCase{"<A />", "A/"}, TextCase{"<A a=1 =2 b=3/>", "A/[a=1]"},
        TextCase{"<A a = b c=>", "A[a=b,c=]"}, TextCase{"<A d=1 d=2 x y=3/>", "A/[d=1,d=2,x y=3]"},
        TextCase{"<A a=\"x/>", "A/[a=x]"},
        TextCase{"<A a=&quot;q&quot; b=\"&lt;&amp;gt;\"/>", "A/[a=\"q\",b=<>]"},
        TextCase{"<A x=\"a>b\">c</A>", "A[x=a]{b\">c}"}, TextCase{"<A\nx=1>y</A>", "A^[x=1]{y}"},
        TextCase{"<A>t1<B>t2</B>t3</A>", "A{t1}(B{t2})"}, TextCase{"<A> <B/> </A>", "A(B/)"},
        TextCase{"<ATM><ATM_IN> 0 </ATM_IN></ATM><B/>", "ATM(ATM_IN{0}) B/"},
        TextCase{"<A><AB/></A><C/>", "A(AB/ /A(C/))"}, TextCase{"</B><C/>", "/B(C/)"},
        TextCase{"<A><A>x</A></A><B/>", "A(A{x}) B/"},
        // After a "<" that neither opens nor closes, the end-tag scan resumes
        // right after that "<": the "<ABC>" inside "<X<ABC>" still counts.
        TextCase{"<ABC><X<ABC>y</ABC></ABC><D/>", "ABC(X<ABC{y}(/ABC)) D/"},
        TextCase{"< A >x< / A ><B/>", "A{x} B/"}, TextCase{"<>x<y/>", "{x}(y/)"},
        TextCase{"<A>a &amp;lt; b</A>", "A{a < b}"},
        TextCase{"<A>&amp;amp;amp;&quot;&apos;&gt;&#38;</A>", "A{&\"'>&#38;}"},
        TextCase{"<A>x\ny</A>", "A{x\r\ny}"},
        TextCase{"<A>x\r\ny ~~z~\nw \n</A>", "A{x\r\r\ny \r\nz\r\n~w}"},
        TextCase{"<A>\n  text \t\n</A>", "A{text}"}, TextCase{"<A>only text", "A"},
        TextCase{"<!-- note --><A/>", "A/"}, TextCase{"<!DOCTYPE x [<!ENTITY y z>]><A/>", "A/"},
        TextCase{"<A/><!-- open <B/>", "A/"}, TextCase{"<?xml version=1.0<A/>", ""},
        TextCase{"<A/><B", "A/"}, TextCase{"<A/>text<B/>tail", "A/ B/"}));

TEST(XmlParse, RootIsTopWithContent) {
  Doc doc = ParseText("<A/>");
  ASSERT_TRUE(doc);
  EXPECT_STREQ(doc->name, "top");
  EXPECT_EQ(doc->hasContent, 1);
  EXPECT_EQ(doc->multiLineTag, 1);
  EXPECT_EQ(doc->attrNames, nullptr);
  EXPECT_EQ(doc->attrValues, nullptr);
  EXPECT_EQ(doc->text, nullptr);
  EXPECT_EQ(ParseText("")->children, nullptr);
}

TEST(XmlParse, StopsAtFirstNul) {
  EXPECT_EQ(DumpDoc(ParseText(std::string("<A/>\0<B/>", 9)).get()), "A/");
  EXPECT_EQ(DumpDoc(ParseText(std::string("<A>x\0</A><B/>", 13)).get()), "A");
}

// The parser's one-pass entity decoding must equal the rule it implements:
// each of the five replacements repeated from the start of the string.
std::string DecodeByRule(const std::string& s) {
  char* text = XmlStrDup(s.c_str());
  const char* passes[][2] = {
      {"&amp;", "&"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&lt;", "<"}, {"&gt;", ">"}};
  for (auto& pass : passes) {
    while (XmlReplaceFirst(&text, pass[0], pass[1]) == 1) {
    }
  }
  std::string out = text;
  std::free(text);
  return out;
}

TEST(XmlParse, EntityDecodingMatchesRepeatedReplaceFirst) {
  const char* pieces[] = {"&", "amp;", "lt;", "gt;", "quot;", "apos;", "a", "&amp;", ";"};
  std::mt19937 rng(TestSeed(7));
  for (int round = 0; round < 3000; ++round) {
    std::string s = "x";
    for (int n = rng() % 12; n > 0; --n) s += pieces[rng() % 9];
    Doc doc = ParseText("<A v=\"" + s + "\">" + s + "</A>");
    const XmlNode* a = doc->children[0];
    const std::string want = DecodeByRule(s);
    ASSERT_EQ(a->attrValues[0], want) << s;
    ASSERT_EQ(a->text, want) << s;
  }
}

int Depth(const XmlNode* n) {
  int deepest = 0;
  for (XmlNode** c = n->children; c != nullptr && *c != nullptr; ++c) {
    deepest = std::max(deepest, 1 + Depth(*c));
  }
  return deepest;
}

// Hostile uploads of the largest size the board accepts parse in bounded
// time and stack.
TEST(XmlParse, HostileInputsStayBounded) {
  std::string nested;
  while (nested.size() < 7640) nested += "<a>";
  EXPECT_EQ(Depth(ParseText(nested).get()), kXmlMaxDepth);
  EXPECT_EQ(Depth(ParseText(std::string(7648, '<')).get()), 0);
  std::string empties;
  while (empties.size() < 7640) empties += "<>";
  EXPECT_EQ(Depth(ParseText(empties).get()), kXmlMaxDepth);

  std::string attrs = "<A";
  for (int i = 0; i < 1900; ++i) attrs += " a=1";
  Doc many = ParseText(attrs + "/>");
  int count = 0;
  while (many->children[0]->attrNames[count] != nullptr) ++count;
  EXPECT_EQ(count, 1900);

  std::string chain = "<A>&amp;";
  while (chain.size() < 7630) chain += "amp;";
  EXPECT_EQ(DumpDoc(ParseText(chain + "lt;</A>").get()), "A{<}");
}

}  // namespace
