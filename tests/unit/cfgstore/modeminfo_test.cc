// The modem information fill on the simulated store, with the flash driver
// and the boot loader faked: the order of the passes and their limits, which
// the report's template alone cannot show. What failing sources leave, and
// the production-data write, are tested end to end (test_identity.py).
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/ftm_status.h"
#include "fake_board_platform.h"
#include "reports/FTM_Apis.h"
#include "sim_board_fixture.h"
#include "xml/xml_write.h"

namespace {

using Lines = std::vector<std::string>;
using Texts = std::vector<std::pair<std::string, std::string>>;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

std::string XcvrTable(int columns) {
  std::string header, row;
  for (int i = 0; i < columns; ++i) {
    header += (i ? "\t" : "") + std::string("C") + std::to_string(i);
    row += (i ? "\t" : "") + std::string("x") + std::to_string(i);
  }
  return header + "\n" + row + "\n";
}

struct FreeDocument {
  void operator()(XmlNode* node) const { XmlFreeNode(node); }
};
using Document = std::unique_ptr<XmlNode, FreeDocument>;

Document Parse(std::string text) {
  return Document(XmlParseDocument(&text[0]));
}

Texts ChildTexts(XmlNode* element) {
  Texts texts;
  for (XmlNode** c = element->children; c != nullptr && *c != nullptr; ++c) {
    texts.emplace_back((*c)->name, (*c)->text != nullptr ? (*c)->text : "");
  }
  return texts;
}

class ModemInfoTest : public SimBoardTest {
 protected:
  void SetUp() override {
    SimBoardTest::SetUp();
    Write("cfg/AppSwInfo.tsv", "Name\tVendor\tVersion\tBuild\tRelease\ngw\tC\tVER:9\t2024\tR9\n");
    Write("cfg/ProductType.tsv", "Description\nDual Connect\n");
    Write("cfg/ProductInfo.tsv", "Ini\tIniVer\tLoad\nf.ini\t1.0\tLOAD9\n");
    Write("cfg/Xcvr.tsv", XcvrTable(37));
    FtmClearErrorInfo();
  }
  static std::string Message() {
    const char* m = FtmGetErrorInfo()->message;
    return m != nullptr ? m : "(none)";
  }
  // Fills a MODEM_INFO element parsed from its children's markup.
  Texts Fill(const std::string& children, int* rc = nullptr) {
    Document doc = Parse("<MODEM_INFO>" + children + "</MODEM_INFO>");
    XmlNode* info = XmlFindChild(doc.get(), "MODEM_INFO");
    CaptureStdout();
    int result = XMLS_GetModemInfoCM(info);
    GetCapturedStdout();
    if (rc != nullptr) *rc = result;
    return ChildTexts(info);
  }
  FakeBoardPlatform board;
};

TEST_F(ModemInfoTest, PassesFillByPositionWithinTheirLimits) {
  int rc = -2;
  Texts texts = Fill(
      "<OTHER>o</OTHER><MODEL_NUM>t</MODEL_NUM><SERIAL_NUM>t</SERIAL_NUM><MODEL_NUM>t</MODEL_NUM>"
      "<MAC_ADDR>t</MAC_ADDR><PROD_DATE>t</PROD_DATE><E_164>t</E_164><BOOT_DELAY>t</BOOT_DELAY>"
      "<PROD_REV>t</PROD_REV>"  // the eighth of pass 1: not filled
      "<FTM_SOFTWARE_VER>t</FTM_SOFTWARE_VER><SOFTWARE_DESC>t</SOFTWARE_DESC>"
      "<FTM_SOFTWARE_VER>t</FTM_SOFTWARE_VER><RELEASE_BUILD_VER>t</RELEASE_BUILD_VER>"
      "<SOFTWARE_VER>t</SOFTWARE_VER>"  // the fifth of pass 2
      "<SOFTWARE_LOAD>t</SOFTWARE_LOAD><INI_FILENAME>t</INI_FILENAME><INI_VERSION>t</INI_VERSION>"
      "<XCVR_DESC>t</XCVR_DESC><XCVR_VER>t</XCVR_VER><XCVR_DESC>t</XCVR_DESC>"
      "<XCVR_VER>t</XCVR_VER>",  // the fourth of pass 4
      &rc);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(texts, (Texts{{"OTHER", "o"},
                          {"MODEL_NUM", "K17"},
                          {"SERIAL_NUM", "0001"},
                          {"MODEL_NUM", "K17"},
                          {"MAC_ADDR", "02:5e:a3:00:00:01"},
                          {"PROD_DATE", "01012024"},
                          {"E_164", ""},  // an empty cell empties the element
                          {"BOOT_DELAY", "3"},
                          {"PROD_REV", "t"},
                          {"FTM_SOFTWARE_VER", "FTM-2.04"},
                          {"SOFTWARE_DESC", "Dual Connect"},
                          {"FTM_SOFTWARE_VER", "FTM-2.04"},
                          {"RELEASE_BUILD_VER", "R9"},
                          {"SOFTWARE_VER", "t"},
                          {"SOFTWARE_LOAD", "LOAD9"},
                          {"INI_FILENAME", "f.ini"},
                          {"INI_VERSION", "1.0"},
                          {"XCVR_DESC", "x36"},
                          {"XCVR_VER", "x34"},
                          {"XCVR_DESC", "x36"},
                          {"XCVR_VER", "t"}}));
  // The version is asked for each time its element is met; the boot delay once.
  EXPECT_EQ(board.calls, (Lines{"system uboot_env --get --name bootdelay > /tmp/BootDelayVer",
                                "fopen /tmp/BootDelayVer r", "open /dev/flshmgmt", "ioctl 40",
                                "close", "open /dev/flshmgmt", "ioctl 40", "close"}));
  EXPECT_EQ(Message(), "(none)");
}

}  // namespace
