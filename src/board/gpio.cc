#include "board/gpio.h"

#include <fcntl.h>
#include <syslog.h>

#include <cstdio>

#include "platform/ftm_log.h"
#include "platform/platform.h"

namespace {

const char kGpioDevice[] = "/dev/gpioctrl";

void Report(GpioReport report, const char* text) {
  if (report == GpioReport::kBoth) return FtmLogBoth("%s", text);
  FtmLogSyslog(LOG_ERR, "%s", text);
  if (report == GpioReport::kStarred) FtmLogConsole("************ %s\n\r", text);
}

}  // namespace

GpioDevice::GpioDevice(GpioReport report) : device_(kGpioDevice, O_RDWR), report_(report) {
  if (!device_.ok()) Report(report, "Cannot open gpio driver");
}

int GpioDevice::Fail(const char* text) const {
  Report(report_, text);
  return -1;
}

int GpioDevice::SetSwitch(int point, int value) {
  GpioIoRecord record = {point, value};
  if (Ioctl(GPIOCTRL_ENTERFTM, &record) != 0) return Fail("GPIOCTRL_ENTERFTM ioctl failed");
  if (Ioctl(GPIOCTRL_WRITEIO, &record) != 0) return Fail("GPIOCTRL_WRITEIO ioctl failed");
  return 0;
}

int GpioEnterFtm() {
  GpioDevice device(GpioReport::kBoth);
  GpioIoRecord record = {0, 0};
  if (!device.ok() || device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0) {
    return device.Fail("GPIOCTRL_ENTERFTM ioctl failed");
  }
  return 0;
}

const GpioLed kGpioLeds[kGpioLedCount] = {
    {"WPS_LED", GPIO_WPS_LED},
    {"INTERNET_LED", GPIO_INTERNET_LED},
    {"USB_LED", GPIO_USB_LED},
    {"LAN_LED", GPIO_LAN_LED},
    {"WAN_LED", GPIO_WAN_LED},
    {"WIFI_24G_LED", GPIO_WIFI_24G_LED},
    {"WIFI_5G_LED", GPIO_WIFI_5G_LED},
    {"MOBILE_4G_LED", GPIO_MOBILE_4G_LED},
    {"MOBILE_3G_LED", GPIO_MOBILE_3G_LED},
};

int GpioWriteIo(int point, int value) {
  FtmLogConsole("eUserIOPoint = %d\n", point);
  GpioDevice device(GpioReport::kBoth);
  if (!device.ok()) return -1;
  GpioIoRecord record = {point, value};
  if (value == kGpioExitFtmValue) {
    if (device.Ioctl(GPIOCTRL_EXITFTM, &record) != 0)
      return device.Fail("GPIOCTRL_EXITFTM ioctl failed");
    return 0;
  }
  if (device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0)
    return device.Fail("GPIOCTRL_ENTERFTM ioctl failed");
  int rc;
  if (point == GPIO_ALL_LEDS) {
    unsigned long request = value != 0 ? GPIOCTRL_ALLLEDS_ON : GPIOCTRL_ALLLEDS_OFF;
    rc = device.Ioctl(static_cast<GpioCtrlRequest>(request), nullptr);
    FtmLogConsole("ioctl  iGpioCtl= %lu\n", request);
  } else {
    rc = device.Ioctl(GPIOCTRL_WRITEIO, &record);
  }
  if (rc != 0) return device.Fail("GPIOCTRL_WRITEIO ioctl failed");
  return 0;
}

int GpioReadIo(int point) {
  GpioDevice device(GpioReport::kSyslog);
  if (!device.ok()) return -1;
  GpioIoRecord record = {point, 0};
  if (device.Ioctl(GPIOCTRL_READIO, &record) != 0)
    return device.Fail("GPIOCTRL_READIO ioctl failed");
  return record.value;
}

int GpioExitFtm() {
  return GpioWriteIo(GPIO_ALL_LEDS, kGpioExitFtmValue);
}

int GpioAllLedsOff() {
  return GpioWriteIo(GPIO_ALL_LEDS, 0);
}

int GpioSetVoiceRelay(int line, int value) {
  int level = static_cast<int16_t>(value);
  if (line == 1) return GpioWriteIo(GPIO_CUT_RELAY_1, level);
  if (line == 2) return GpioWriteIo(GPIO_CUT_RELAY_2, level);
  return -1;
}

int GpioStartupLteCycle() {
  GpioDevice device(GpioReport::kStarred);
  if (!device.ok()) return -1;
  // The driver is handed the record before anything is written into it; it
  // starts zeroed so that what it sees is defined.
  GpioIoRecord record = {0, 0};
  if (device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0)
    return device.Fail("GPIOCTRL_ENTERFTM ioctl failed");
  struct Step {
    int point;
    int value;
    const char* failure;
  };
  auto write = [&device, &record](const Step& step) {
    record.eUserIOPoint = step.point;
    record.value = step.value;
    if (device.Ioctl(GPIOCTRL_WRITEIO, &record) != 0) {
      FtmLogSyslog(LOG_ERR, "GPIOCTRL_WRITEIO ioctl failed");
      FtmLogConsole("%s", step.failure);
    }
  };
  write({eLTEPowerEnable, 0, "************ eLTEPowerEnable 0 GPIOCTRL_WRITEIO ioctl failed \n\r"});
  write({eLTEWifiDisable, 1, "************ eLTEWifiDisable 1 GPIOCTRL_WRITEIO ioctl failed\n\r"});
  FtmUsleep(5000000);
  write({eLTEPowerEnable, 1, "************ eLTEPowerEnable 1 GPIOCTRL_WRITEIO ioctl failed \n\r"});
  write({eLTEWifiDisable, 0, "************ eLTEWifiDisable 0 GPIOCTRL_WRITEIO ioctl failed\n\r"});
  FtmUsleep(15000000);
  if (device.Ioctl(GPIOCTRL_EXITFTM, &record) != 0) {
    Report(GpioReport::kBoth, "GPIOCTRL_EXITFTM ioctl failed");
    return -1;
  }
  FtmLogConsole("GPIOCTRL_EXITFTM ioctl success\n");
  return 0;
}
