// The modem information fill and the production-data write on the
// simulated store, with the flash driver and the boot loader faked: pass
// order and limits, what a failing source leaves, and what a request writes,
// runs and removes.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/ftm_status.h"
#include "fake_board_platform.h"
#include "reports/FTM_Apis.h"
#include "reports/FTM_ModemInfo.h"
#include "requests/FTM_PutModemInfo.h"
#include "sim_board_fixture.h"
#include "xml/xml_write.h"

namespace {

using Lines = std::vector<std::string>;
using Texts = std::vector<std::pair<std::string, std::string>>;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

const char kProduction[] =
    "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
    "K17\t0001\t02:5e:a3:00:00:01\t01012024\tA\t\n";

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

TEST_F(ModemInfoTest, UnreadableTablesLeaveTheirPassAlone) {
  const std::string all =
      "<MODEL_NUM>m</MODEL_NUM><BOOT_DELAY>5</BOOT_DELAY><SOFTWARE_VER>s</SOFTWARE_VER>"
      "<FTM_SOFTWARE_VER>f</FTM_SOFTWARE_VER><SOFTWARE_LOAD>l</SOFTWARE_LOAD>"
      "<XCVR_VER>x</XCVR_VER>";
  int rc = -2;
  Write("faults", "cfg table ProductionData\ncfg table ProductType\n");
  CaptureStderr();
  Texts texts = Fill(all, &rc);
  EXPECT_EQ(GetCapturedStderr(),
            "error: failed to read table: ProductionData\n"
            "error: failed to read table: ProductType\n");
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(texts, (Texts{{"MODEL_NUM", "m"},
                          {"BOOT_DELAY", "5"},
                          {"SOFTWARE_VER", "s"},
                          {"FTM_SOFTWARE_VER", "f"},
                          {"SOFTWARE_LOAD", "LOAD9"},
                          {"XCVR_VER", "x34"}}));
  EXPECT_EQ(board.calls, Lines{});  // neither the boot loader nor the driver was asked
  EXPECT_EQ(Message(), "Fail to Create Xml File");

  // A transceiver table that is too narrow, and a table without rows, count
  // as tables that could not be read.
  Write("faults", "");
  Write("cfg/Xcvr.tsv", XcvrTable(36));
  Write("cfg/ProductInfo.tsv", "Ini\tIniVer\tLoad\n");
  CaptureStderr();
  texts = Fill(all, &rc);
  EXPECT_EQ(GetCapturedStderr(),
            "error: failed to read table: ProductInfo\n"
            "error: failed to read table: Xcvr\n");
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(texts, (Texts{{"MODEL_NUM", "K17"},
                          {"BOOT_DELAY", "3"},
                          {"SOFTWARE_VER", "VER:9"},
                          {"FTM_SOFTWARE_VER", "FTM-2.04"},
                          {"SOFTWARE_LOAD", "l"},
                          {"XCVR_VER", "x"}}));

  // No boot delay to read: the element keeps its text.
  board.bootDelayFile = false;
  texts = Fill("<BOOT_DELAY>5</BOOT_DELAY>");
  EXPECT_EQ(texts, (Texts{{"BOOT_DELAY", "5"}}));

  Write("faults", "cfg session\n");
  CaptureStderr();
  texts = Fill(all, &rc);
  EXPECT_EQ(GetCapturedStderr(), "error: failed to start session\n");
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(texts[0], (std::pair<std::string, std::string>{"MODEL_NUM", "m"}));
}

TEST_F(ModemInfoTest, ReportIsBuiltAfreshFromTheTemplate) {
  char* text = nullptr;
  int length = 0;
  CaptureStdout();
  ASSERT_EQ(FTM_GetModemInfoXml(&text, &length), 0);
  GetCapturedStdout();
  std::string first = text;
  EXPECT_EQ(length, static_cast<int>(first.size()) + 1);
  EXPECT_NE(first.find("    <MODEL_NUM>\r\n      K17\r\n    </MODEL_NUM>\r\n"), std::string::npos);
  EXPECT_NE(first.find("    <BOOT_DELAY>\r\n      3\r\n    </BOOT_DELAY>\r\n"), std::string::npos);
  EXPECT_EQ(first.find("E_164"), std::string::npos);  // not in the template
  std::free(text);

  Write("cfg/ProductionData.tsv",
        "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\nK18\t\t\t\t\t\n");
  text = nullptr;
  CaptureStdout();
  ASSERT_EQ(FTM_GetModemInfoXml(&text, &length), 0);
  GetCapturedStdout();
  std::string second = text;
  std::free(text);
  EXPECT_NE(second.find("    <MODEL_NUM>\r\n      K18\r\n    </MODEL_NUM>\r\n"), std::string::npos);
  EXPECT_NE(second.find("    <SERIAL_NUM>\r\n    </SERIAL_NUM>\r\n"), std::string::npos);
}

class PutModemInfoTest : public ModemInfoTest {
 protected:
  int Put(const std::string& text, std::string* out = nullptr) {
    CaptureStdout();
    int rc = FtmPutModemInfo(text.c_str());
    std::string printed = GetCapturedStdout();
    if (out != nullptr) *out = printed;
    return rc;
  }
  static const Lines kRemoved;
};
const Lines PutModemInfoTest::kRemoved = {"unlink /PRST/current.cfg", "unlink /PRST/current.bak"};

TEST_F(PutModemInfoTest, StoresInDocumentOrder) {
  EXPECT_EQ(Put("<MODEM_INFO><SERIAL_NUM>S1</SERIAL_NUM><X>skip</X><MODEL_NUM> M &amp; N "
                "</MODEL_NUM><SERIAL_NUM>S2</SERIAL_NUM><E_164/><PROD_REV>a\nb</PROD_REV>"
                "<BOOT_DELAY>12abc</BOOT_DELAY><mac_addr>lower</mac_addr></MODEM_INFO>"),
            0);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"),
            "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
            "M & N\tS2\t02:5e:a3:00:00:01\t01012024\ta\r\\nb\t\n");
  Lines expected = {"system uboot_env --set --name bootdelay --value 12"};
  expected.insert(expected.end(), kRemoved.begin(), kRemoved.end());
  EXPECT_EQ(board.calls, expected);
  EXPECT_EQ(Events(), Lines{"cfg commit ProductionData"});
  EXPECT_EQ(Message(), "(none)");
}

TEST_F(PutModemInfoTest, BootDelayIsNeverTakenBack) {
  Write("faults", "cfg set ProductionData\n");
  std::string out;
  EXPECT_EQ(Put("<MODEM_INFO><MODEL_NUM>M</MODEL_NUM></MODEM_INFO>"), -1);
  board.calls.clear();
  Write("faults", "");
  // A serial-number column the store doesn't have fails that field.
  Write("cfg/ProductionData.tsv", "ModelNum\tSerial\n0\t0\n");
  EXPECT_EQ(Put("<MODEM_INFO><BOOT_DELAY>`reboot`;$(id)</BOOT_DELAY><MODEL_NUM>M</MODEL_NUM>"
                "<SERIAL_NUM>S 1</SERIAL_NUM><PROD_REV>R</PROD_REV></MODEM_INFO>",
                &out),
            -1);
  EXPECT_EQ(out, "FTM write failed on table=ProductionData row=0 col=-1(SerialNum) value='S 1'\n");
  Lines expected = {"system uboot_env --set --name bootdelay --value 0"};
  expected.insert(expected.end(), kRemoved.begin(), kRemoved.end());
  EXPECT_EQ(board.calls, expected);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), "ModelNum\tSerial\n0\t0\n");
  EXPECT_EQ(Events(), (Lines{"cfg abort", "cfg abort"}));
  EXPECT_EQ(Message(), "Write data failed");

  board.calls.clear();
  FtmClearErrorInfo();
  EXPECT_EQ(Put("<MODEM_INFO><BOOT_DELAY/><MODEL_NUM>M</MODEL_NUM></MODEM_INFO>"), -1);
  EXPECT_EQ(board.calls, kRemoved);  // no text: no command, and the loop stops
  EXPECT_EQ(Message(), "Write data failed");
}

TEST_F(PutModemInfoTest, WhenTheSavedFilesGo) {
  // Nothing to write: no session, the files still go.
  EXPECT_EQ(Put("<OTHER><MODEL_NUM>M</MODEL_NUM></OTHER>"), 0);
  EXPECT_EQ(Put("<MODEM_INFO/>"), 0);
  EXPECT_EQ(Put("<MODEM_INFO>text only</MODEM_INFO>"), 0);
  EXPECT_EQ(Put(""), 0);
  Lines expected;
  for (int i = 0; i < 4; ++i) expected.insert(expected.end(), kRemoved.begin(), kRemoved.end());
  EXPECT_EQ(board.calls, expected);
  // Only unknown elements: an empty transaction, committed.
  board.calls.clear();
  EXPECT_EQ(Put("<MODEM_INFO><X/></MODEM_INFO>"), 0);
  EXPECT_EQ(board.calls, kRemoved);
  EXPECT_EQ(Events(), Lines{});
  // No session: the files stay and no message is recorded.
  board.calls.clear();
  Write("faults", "cfg session\n");
  EXPECT_EQ(Put("<MODEM_INFO><MODEL_NUM>M</MODEL_NUM></MODEM_INFO>"), -1);
  EXPECT_EQ(board.calls, Lines{});
  EXPECT_EQ(Message(), "(none)");
  // A failed commit: its result, the message, and the files go.
  Write("faults", "cfg commit\n");
  EXPECT_NE(Put("<MODEM_INFO><MODEL_NUM>M</MODEL_NUM></MODEM_INFO>"), 0);
  EXPECT_EQ(board.calls, kRemoved);
  EXPECT_EQ(Message(), "Write data failed");
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kProduction);
}

}  // namespace
