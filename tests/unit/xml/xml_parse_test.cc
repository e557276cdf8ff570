#include <gtest/gtest.h>

#include <algorithm>
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
        TextCase{"<A>a &amp;lt; &amp;quot;&amp;apos;&amp;gt;</A>", "A{a < \"'>}"},
        TextCase{"<A>&amp;amp;amp;&quot;&apos;&gt;&#38;</A>", "A{&\"'>&#38;}"},
        TextCase{"<A>&amp;amp;</A><B>&amp;amp</B>", "A{&} B{&amp}"},
        TextCase{"<A>x\ny</A>", "A{x\r\ny}"},
        TextCase{"<A>x\r\ny ~~z~\nw \n</A>", "A{x\r\r\ny \r\nz\r\n~w}"},
        TextCase{"<A>\n  text \t\n</A>", "A{text}"}, TextCase{"<A>only text", "A"},
        TextCase{"<!-- note --><A/>", "A/"}, TextCase{"<!DOCTYPE x [<!ENTITY y z>]><A/>", "A/"},
        TextCase{"<A/><!-- open <B/>", "A/"}, TextCase{"<?xml version=1.0<A/>", ""},
        TextCase{"<A/><B", "A/"}, TextCase{"<A/>text<B/>tail", "A/ B/"}));

// How often `c` occurs in the dump of `text`: for names and texts without
// '(' or '=', the levels below the first element and the attributes.
size_t Count(const std::string& text, char c) {
  const std::string dump = DumpDoc(ParseText(text).get());
  return std::count(dump.begin(), dump.end(), c);
}

// Hostile uploads of the largest size the board accepts parse in bounded
// time and stack: nothing nests more than 64 levels below the root.
TEST(XmlParse, HostileInputsStayBounded) {
  std::string nested, empties, attrs = "<A", chain = "<A>&amp;";
  while (nested.size() < 7640) nested += "<a>";
  while (empties.size() < 7640) empties += "<>";
  while (attrs.size() < 7640) attrs += " a=1";
  while (chain.size() < 7630) chain += "amp;";
  EXPECT_EQ(Count(nested, '('), 63u);
  EXPECT_EQ(Count(empties, '('), 63u);
  EXPECT_EQ(DumpDoc(ParseText(std::string(7648, '<')).get()), "");
  EXPECT_EQ(Count(attrs + "/>", '='), 1910u);
  EXPECT_EQ(DumpDoc(ParseText(chain + "lt;</A>").get()), "A{<}");
}

}  // namespace
