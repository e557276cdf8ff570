#include "board/gpio.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <string>
#include <vector>

#include "recording_platform.h"

namespace {

using Calls = std::vector<std::string>;
const std::string kErr = "syslog " + std::to_string(LOG_ERR) + " ";

TEST(GpioTest, WriteSequences) {
  RecordingPlatform p;
  EXPECT_EQ(GpioWriteIo(100, 1), 0);
  EXPECT_EQ(GpioWriteIo(100, 0), 0);
  EXPECT_EQ(GpioWriteIo(5, 1), 0);
  EXPECT_EQ(GpioWriteIo(72, 99), 0);  // only the leave command, for any point
  EXPECT_EQ(p.calls,
            (Calls{"open /dev/gpioctrl", "ioctl 6", "ioctl 12 null", "close", "open /dev/gpioctrl",
                   "ioctl 6", "ioctl 11 null", "close", "open /dev/gpioctrl", "ioctl 6", "ioctl 5",
                   "close", "open /dev/gpioctrl", "ioctl 7", "close"}));
}

TEST(GpioTest, WrappersAndRelays) {
  RecordingPlatform p;
  EXPECT_EQ(GpioExitFtm(), 0);
  EXPECT_EQ(GpioAllLedsOff(), 0);
  EXPECT_EQ(GpioSetVoiceRelay(3, 1), -1);  // opens nothing
  EXPECT_EQ(GpioSetVoiceRelay(0, 1), -1);
  EXPECT_EQ(GpioSetVoiceRelay(2, 0), 0);
  EXPECT_EQ(p.calls,
            (Calls{"open /dev/gpioctrl", "ioctl 7", "close", "open /dev/gpioctrl", "ioctl 6",
                   "ioctl 11 null", "close", "open /dev/gpioctrl", "ioctl 6", "ioctl 5", "close"}));
}

TEST(GpioTest, FailuresAreLoggedAndReported) {
  RecordingPlatform p;
  p.failing_requests = {GPIOCTRL_WRITEIO, GPIOCTRL_READIO};
  EXPECT_EQ(GpioWriteIo(8, 1), -1);
  EXPECT_EQ(GpioReadIo(32), -1);
  p.failing_requests = {GPIOCTRL_ENTERFTM};
  EXPECT_EQ(GpioWriteIo(8, 1), -1);
  p.failing_requests = {GPIOCTRL_EXITFTM};
  EXPECT_EQ(GpioExitFtm(), -1);
  p.missing = {"/dev/gpioctrl"};
  EXPECT_EQ(GpioWriteIo(8, 1), -1);
  EXPECT_EQ(GpioReadIo(8), -1);
  EXPECT_EQ(p.calls, (Calls{"open /dev/gpioctrl",
                            "ioctl 6",
                            "ioctl 5",
                            kErr + "GPIOCTRL_WRITEIO ioctl failed",
                            "close",
                            "open /dev/gpioctrl",
                            "ioctl 4",
                            kErr + "GPIOCTRL_READIO ioctl failed",
                            "close",
                            "open /dev/gpioctrl",
                            "ioctl 6",
                            kErr + "GPIOCTRL_ENTERFTM ioctl failed",
                            "close",
                            "open /dev/gpioctrl",
                            "ioctl 7",
                            kErr + "GPIOCTRL_EXITFTM ioctl failed",
                            "close",
                            "open /dev/gpioctrl",
                            kErr + "Cannot open gpio driver",
                            "open /dev/gpioctrl",
                            kErr + "Cannot open gpio driver"}));
}

TEST(GpioTest, StartupCycleGoesOnAfterFailedWrites) {
  RecordingPlatform p;
  p.failing_requests = {GPIOCTRL_WRITEIO};
  testing::internal::CaptureStdout();
  EXPECT_EQ(GpioStartupLteCycle(), 0);
  std::string out = testing::internal::GetCapturedStdout();
  const std::string w = kErr + "GPIOCTRL_WRITEIO ioctl failed";
  EXPECT_EQ(p.calls,
            (Calls{"open /dev/gpioctrl", "ioctl 6", "ioctl 5", w, "ioctl 5", w, "sleep 5000000",
                   "ioctl 5", w, "ioctl 5", w, "sleep 15000000", "ioctl 7", "close"}));
  EXPECT_EQ(out,
            "************ eLTEPowerEnable 0 GPIOCTRL_WRITEIO ioctl failed \n\r"
            "************ eLTEWifiDisable 1 GPIOCTRL_WRITEIO ioctl failed\n\r"
            "************ eLTEPowerEnable 1 GPIOCTRL_WRITEIO ioctl failed \n\r"
            "************ eLTEWifiDisable 0 GPIOCTRL_WRITEIO ioctl failed\n\r"
            "GPIOCTRL_EXITFTM ioctl success\n");
}

TEST(GpioTest, StartupCycleStopsWithoutDeviceOrTestMode) {
  RecordingPlatform p;
  p.missing = {"/dev/gpioctrl"};
  EXPECT_EQ(GpioStartupLteCycle(), -1);
  p.missing.clear();
  p.failing_requests = {GPIOCTRL_ENTERFTM};
  EXPECT_EQ(GpioStartupLteCycle(), -1);
  EXPECT_EQ(p.calls,
            (Calls{"open /dev/gpioctrl", kErr + "Cannot open gpio driver", "open /dev/gpioctrl",
                   "ioctl 6", kErr + "GPIOCTRL_ENTERFTM ioctl failed", "close"}));
}

}  // namespace
