#include "board/gpio.h"

#include <fcntl.h>
#include <syslog.h>

#include <cstdio>

#include "platform/ftm_log.h"
#include "platform/platform.h"

namespace {

const char kGpioDevice[] = "/dev/gpioctrl";

}  // namespace

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
  PlatformDevice device(kGpioDevice, O_RDWR);
  if (!device.ok()) {
    FtmLogBoth("Cannot open gpio driver");
    return -1;
  }
  GpioIoRecord record = {point, value};
  if (value == kGpioExitFtmValue) {
    if (device.Ioctl(GPIOCTRL_EXITFTM, &record) != 0) {
      FtmLogBoth("GPIOCTRL_EXITFTM ioctl failed");
      return -1;
    }
    return 0;
  }
  if (device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0) {
    FtmLogBoth("GPIOCTRL_ENTERFTM ioctl failed");
    return -1;
  }
  int rc;
  if (point == GPIO_ALL_LEDS) {
    unsigned long request = value != 0 ? GPIOCTRL_ALLLEDS_ON : GPIOCTRL_ALLLEDS_OFF;
    rc = device.Ioctl(request, nullptr);
    FtmLogConsole("ioctl  iGpioCtl= %lu\n", request);
  } else {
    rc = device.Ioctl(GPIOCTRL_WRITEIO, &record);
  }
  if (rc != 0) {
    FtmLogBoth("GPIOCTRL_WRITEIO ioctl failed");
    return -1;
  }
  return 0;
}

int GpioReadIo(int point) {
  PlatformDevice device(kGpioDevice, O_RDWR);
  if (!device.ok()) {
    FtmLogSyslog(LOG_ERR, "Cannot open gpio driver");
    return -1;
  }
  GpioIoRecord record = {point, 0};
  if (device.Ioctl(GPIOCTRL_READIO, &record) != 0) {
    FtmLogSyslog(LOG_ERR, "GPIOCTRL_READIO ioctl failed");
    record.value = -1;
  }
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
  PlatformDevice device(kGpioDevice, O_RDWR);
  if (!device.ok()) {
    FtmLogSyslog(LOG_ERR, "Cannot open gpio driver");
    FtmLogConsole("************ Cannot open gpio driver\n\r");
    return -1;
  }
  // The driver is handed the record before anything is written into it; it
  // starts zeroed so that what it sees is defined.
  GpioIoRecord record = {0, 0};
  if (device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0) {
    FtmLogSyslog(LOG_ERR, "GPIOCTRL_ENTERFTM ioctl failed");
    FtmLogConsole("************ GPIOCTRL_ENTERFTM ioctl failed\n\r");
    return -1;
  }
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
    FtmLogBoth("GPIOCTRL_EXITFTM ioctl failed");
    return -1;
  }
  FtmLogConsole("GPIOCTRL_EXITFTM ioctl success\n");
  return 0;
}
