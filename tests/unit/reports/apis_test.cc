// The modem information fill's passes and their limits, which the report's
// template alone cannot show: each pass stops after a fixed number of filled
// elements, unknown names cost nothing, a name met twice is filled twice.
// What failing sources leave is tested end to end (test_identity.py).
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "board/flash.h"
#include "dispatch/ftm_status.h"
#include "platform/platform.h"
#include "reports/FTM_Apis.h"
#include "sim_board_fixture.h"
#include "xml_test_util.h"

namespace {

// The simulated store, with the flash driver answering a version and the
// boot loader a delay of 3.
class FlashAndBootLoader : public PlatformWrapper {
 public:
  FlashAndBootLoader() { PlatformInstall(this); }
  ~FlashAndBootLoader() override { PlatformInstall(nullptr); }
  std::vector<std::string> calls;

  int Open(const char* path, int) override {
    calls.push_back(path);
    return 42;
  }
  int Ioctl(int, unsigned long request, void* arg) override {
    if (request == FLSHMGMT_GET_FTMSOFTWAREVERSION) {
      std::snprintf(static_cast<char*>(arg), kFtmSoftwareVersionSize, "FTM-2.04");
    }
    return 0;
  }
  int Close(int) override { return 0; }
  int System(const char* command) override {
    calls.push_back(command);
    return 0;
  }
  FILE* Fopen(const char*, const char*) override {
    FILE* f = std::tmpfile();
    std::fputs("3\n", f);
    std::rewind(f);
    return f;
  }
};

class ModemInfoFill : public SimBoardTest {};

TEST_F(ModemInfoFill, PassesFillByPositionWithinTheirLimits) {
  std::string xcvrHeader, xcvrRow;
  for (int i = 0; i < 37; ++i) {
    xcvrHeader += (i ? "\tC" : "C") + std::to_string(i);
    xcvrRow += (i ? "\tx" : "x") + std::to_string(i);
  }
  Write("cfg/Xcvr.tsv", xcvrHeader + "\n" + xcvrRow + "\n");
  Write("cfg/AppSwInfo.tsv", "Name\tVendor\tVersion\tBuild\tRelease\ngw\tC\tVER:9\t2024\tR9\n");
  Write("cfg/ProductType.tsv", "Description\nDual Connect\n");
  Write("cfg/ProductInfo.tsv", "Ini\tIniVer\tLoad\nf.ini\t1.0\tLOAD9\n");
  FlashAndBootLoader board;
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
  testing::internal::CaptureStdout();
  EXPECT_EQ(XMLS_GetModemInfoCM(doc->children[0]), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(DumpDoc(doc.get(), false),
            "M(OTHER{o} MODEL_NUM{K17} SERIAL_NUM{0001} MODEL_NUM{K17} "
            "MAC_ADDR{02:5e:a3:00:00:01} PROD_DATE{01012024} E_164 BOOT_DELAY{3} PROD_REV{t} "
            "FTM_SOFTWARE_VER{FTM-2.04} SOFTWARE_DESC{Dual Connect} FTM_SOFTWARE_VER{FTM-2.04} "
            "RELEASE_BUILD_VER{R9} SOFTWARE_VER{t} SOFTWARE_LOAD{LOAD9} INI_FILENAME{f.ini} "
            "INI_VERSION{1.0} XCVR_DESC{x36} XCVR_VER{x34} XCVR_DESC{x36} XCVR_VER{t})");
  // The version is asked for each time its element is met, the delay once.
  EXPECT_EQ(board.calls,
            (std::vector<std::string>{"uboot_env --get --name bootdelay > /tmp/BootDelayVer",
                                      "/dev/flshmgmt", "/dev/flshmgmt"}));
  EXPECT_EQ(FtmGetErrorInfo()->message, nullptr);
}

}  // namespace
