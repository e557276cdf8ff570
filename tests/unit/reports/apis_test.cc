// What the reports' templates cannot show a station: the modem information
// fill's passes and their limits (each pass stops after a fixed number of
// filled elements, unknown names cost nothing, a name met twice is filled
// twice), and the statistics elements that the FTM_STATS template lacks.
// Everything the templates hold is tested end to end (test_identity.py,
// test_counters.py).
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "dispatch/ftm_status.h"
#include "platform/platform.h"
#include "reports/FTM_Apis.h"
#include "sim_board_fixture.h"
#include "xml_test_util.h"

namespace {

// The simulated board with its flash and GPIO drivers, a boot loader whose
// delay is 3, and an Xcvr table whose cells name their columns; the flash
// driver's opens are counted.
class Fills : public SimBoardTest, public PlatformWrapper {
 protected:
  int opens = 0;
  int Open(const char* path, int flags) override {
    opens += std::string(path) == "/dev/flshmgmt";
    return PlatformWrapper::Open(path, flags);
  }
  void SetUp() override {
    SimBoardTest::SetUp();
    PlatformInstall(this);
    for (const char* dir : {"/root/dev", "/flash", "/bin", "/gpio"}) {
      std::filesystem::create_directories(Dir() + dir);
    }
    for (const char* device : {"root/dev/flshmgmt", "root/dev/gpioctrl"}) Write(device, "");
    Write("flash/ftm_version", "FTM-2.04\n");
    Write("bin/uboot_env", "#!/bin/sh\necho 3\n");
    std::filesystem::permissions(Dir() + "/bin/uboot_env", std::filesystem::perms::owner_all);
    std::string row = "x0";
    for (int i = 1; i < 37; ++i) row += "\tx" + std::to_string(i);
    Write("cfg/Xcvr.tsv", std::string(36, '\t') + "\n" + row + "\n");
  }
  void TearDown() override { PlatformInstall(nullptr), SimBoardTest::TearDown(); }
};

TEST_F(Fills, ModemInfoFillPassesByPositionWithinTheirLimits) {
  Write("cfg/AppSwInfo.tsv", "Name\tVendor\tVersion\tBuild\tRelease\ngw\tC\tVER:9\t2024\tR9\n");
  Write("cfg/ProductType.tsv", "Description\nDual Connect\n");
  Write("cfg/ProductInfo.tsv", "Ini\tIniVer\tLoad\nf.ini\t1.0\tLOAD9\n");
  FtmClearErrorInfo();
  Doc doc = ParseText(
      "<M><OTHER>o</OTHER><MODEL_NUM>t</MODEL_NUM><SERIAL_NUM>t</SERIAL_NUM>"
      "<MODEL_NUM>t</MODEL_NUM><MAC_ADDR>t</MAC_ADDR><PROD_DATE>t</PROD_DATE><E_164>t</E_164>"
      "<BOOT_DELAY>t</BOOT_DELAY><PROD_REV>t</PROD_REV>"  // the eighth of pass 1
      "<FTM_SOFTWARE_VER>t</FTM_SOFTWARE_VER><SOFTWARE_DESC>t</SOFTWARE_DESC>"
      "<FTM_SOFTWARE_VER>t</FTM_SOFTWARE_VER><RELEASE_BUILD_VER>t</RELEASE_BUILD_VER>"
      "<SOFTWARE_VER>t</SOFTWARE_VER>"  // the fifth of pass 2
      "<SOFTWARE_LOAD>t</SOFTWARE_LOAD><INI_FILENAME>t</INI_FILENAME>"
      "<INI_VERSION>t</INI_VERSION><XCVR_DESC>t</XCVR_DESC><XCVR_VER>t</XCVR_VER>"
      "<XCVR_DESC>t</XCVR_DESC><XCVR_VER>t</XCVR_VER></M>");  // the fourth of pass 4
  EXPECT_EQ(XMLS_GetModemInfoCM(doc->children[0]), 0);
  EXPECT_EQ(DumpDoc(doc.get(), false),
            "M(OTHER{o} MODEL_NUM{K17} SERIAL_NUM{0001} MODEL_NUM{K17} "
            "MAC_ADDR{02:5e:a3:00:00:01} PROD_DATE{01012024} E_164 BOOT_DELAY{3} PROD_REV{t} "
            "FTM_SOFTWARE_VER{FTM-2.04} SOFTWARE_DESC{Dual Connect} FTM_SOFTWARE_VER{FTM-2.04} "
            "RELEASE_BUILD_VER{R9} SOFTWARE_VER{t} SOFTWARE_LOAD{LOAD9} INI_FILENAME{f.ini} "
            "INI_VERSION{1.0} XCVR_DESC{x36} XCVR_VER{x34} XCVR_DESC{x36} XCVR_VER{t})");
  // The version is asked for each time its element is met, the delay once.
  EXPECT_EQ(opens, 2);
  EXPECT_EQ(Events()[2], "shell uboot_env --get --name bootdelay > /tmp/BootDelayVer");
  EXPECT_EQ(FtmGetErrorInfo()->message, nullptr);
}

// AUTO_PAIR reads the selector each time it is met: level 2 is the outer
// pair, any other the inner one.
TEST_F(Fills, DslFillsWhatTheTemplateLacks) {
  for (std::string level : {"2", "3", "0"}) {
    Write("gpio/41", level);
    const std::string pair = level == "2" ? "OUTER" : "INNER";
    Doc doc = ParseText(
        "<D><HYBRID_2>t</HYBRID_2><AUTO_PAIR>t</AUTO_PAIR>"
        "<DSL_POWER_UPSTREAM>t</DSL_POWER_UPSTREAM><MULTI_HYBRID>t</MULTI_HYBRID>"
        "<HYBRID_1/><HYBRID_3>t</HYBRID_3><X>t</X><HYBRID_4>t</HYBRID_4>"
        "<AUTO_PAIR>t</AUTO_PAIR></D>");
    EXPECT_EQ(XMLS_initDslStatCM(doc->children[0]), 0);
    EXPECT_EQ(DumpDoc(doc.get(), false),
              "D(HYBRID_2{UNKNOWN} AUTO_PAIR{" + pair +
                  "} DSL_POWER_UPSTREAM{x19} MULTI_HYBRID{UNKNOWN} HYBRID_1{UNKNOWN} "
                  "HYBRID_3{UNKNOWN} X{t} HYBRID_4{UNKNOWN} AUTO_PAIR{" +
                  pair + "})");
  }
}

}  // namespace
