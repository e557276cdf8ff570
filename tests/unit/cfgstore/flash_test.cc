// Flash management and the boot delay against a recording platform: the
// exact device requests and command line, and what each leaves behind when
// the device, the driver or the tool's output fails.
#include "board/flash.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <string>
#include <vector>

#include "fake_board_platform.h"

namespace {

using Calls = std::vector<std::string>;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

using FlashPlatform = FakeBoardPlatform;

TEST(FlashTest, RestartSelectsTheImageFirst) {
  FlashPlatform p;
  EXPECT_EQ(FlshmgmtRestart(0), 0);
  EXPECT_EQ(FlshmgmtRestart(7), 0);
  p.failing_requests = {FLSHMGMT_BOOT_SAFE};  // results are not looked at
  EXPECT_EQ(FlshmgmtRestart(1), 0);
  p.missing = {"/dev/flshmgmt"};
  EXPECT_EQ(FlshmgmtRestart(1), 0);
  EXPECT_EQ(p.calls, (Calls{"open /dev/flshmgmt", "ioctl 30 null", "ioctl 7 null", "close",
                            "open /dev/flshmgmt", "ioctl 31 null", "ioctl 7 null", "close",
                            "open /dev/flshmgmt", "ioctl 31 null", "ioctl 7 null", "close",
                            "open /dev/flshmgmt"}));
}

TEST(FlashTest, VersionBufferKeepsTheLastGoodAnswer) {
  FlashPlatform p;
  const char* first = FTM_GetSoftwareVersion();
  EXPECT_STREQ(first, "FTM-2.04");
  p.version = std::string(40, 'v');  // the driver fills at most 32 bytes
  const char* second = FTM_GetSoftwareVersion();
  EXPECT_EQ(second, first);  // one shared buffer
  EXPECT_EQ(std::string(second), std::string(31, 'v'));
  p.failing_requests = {FLSHMGMT_GET_FTMSOFTWAREVERSION};
  EXPECT_EQ(std::string(FTM_GetSoftwareVersion()), std::string(31, 'v'));
  p.missing = {"/dev/flshmgmt"};
  EXPECT_EQ(std::string(FTM_GetSoftwareVersion()), std::string(31, 'v'));
  EXPECT_EQ(p.calls,
            (Calls{"open /dev/flshmgmt", "ioctl 40", "close", "open /dev/flshmgmt", "ioctl 40",
                   "close", "open /dev/flshmgmt", "ioctl 40",
                   "syslog " + std::to_string(LOG_ERR) +
                       " FTM_GetSoftwareVersion: FLSHMGMT_GET_FTMSOFTWAREVERSION ioctl failed",
                   "close", "open /dev/flshmgmt"}));
}

TEST(FlashTest, BootDelayIsTheLeadingNumberOfTheFirstLine) {
  FlashPlatform p;
  struct Case {
    const char* output;
    const char* text;
  } cases[] = {
      {"3\n", "3"},   {"bootdelay=3\n", "0"},          {"  007 s\n5\n", "7"},
      {"-2\n", "-2"}, {"99999999999\n", "2147483647"},
  };
  for (const Case& c : cases) {
    p.bootDelayText = c.output;
    char buffer[16] = "keep";
    CaptureStdout();
    FTM_GetBootMode_Kestra(buffer, sizeof buffer);
    EXPECT_EQ(GetCapturedStdout(),
              std::string("\n FTM_GetBootMode_Kestra boot delay value = ") + c.text + " \n\n");
    EXPECT_STREQ(buffer, c.text) << c.output;
  }
  EXPECT_EQ(p.calls[0], "system uboot_env --get --name bootdelay > /tmp/BootDelayVer");
  EXPECT_EQ(p.calls[1], "fopen /tmp/BootDelayVer r");
}

TEST(FlashTest, UnreadableBootDelayLeavesTheBuffer) {
  FlashPlatform p;
  char buffer[8] = "5";
  CaptureStdout();
  p.bootDelayText = "";
  FTM_GetBootMode_Kestra(buffer, sizeof buffer);
  p.bootDelayFile = false;
  FTM_GetBootMode_Kestra(buffer, sizeof buffer);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_STREQ(buffer, "5");
  char tiny[3] = "ab";  // the caller's size bounds the text
  p.bootDelayFile = true;
  p.bootDelayText = "12345\n";
  CaptureStdout();
  FTM_GetBootMode_Kestra(tiny, sizeof tiny);
  GetCapturedStdout();
  EXPECT_STREQ(tiny, "12");
}

}  // namespace
