// The GPIO control device "/dev/gpioctrl": LEDs, push-buttons, the
// auto-pair selector, the voice-line cut relays and the LTE modem's power
// lines. Each operation opens the device, acts and closes it again.
#ifndef FTM_BOARD_GPIO_H_
#define FTM_BOARD_GPIO_H_

#include <cstdint>

#include "platform/platform.h"

// The argument of the point requests: two 32-bit words in board byte order.
struct GpioIoRecord {
  int32_t eUserIOPoint;
  int32_t value;
};
static_assert(sizeof(GpioIoRecord) == 8, "the driver reads two 32-bit words");

// ioctl requests: plain numbers, no size or direction encoding. The
// simulated board's driver model writes its own copy of these numbers and
// of the LED points on purpose, so that a wrong number here is caught there.
enum GpioCtrlRequest : unsigned long {
  GPIOCTRL_READIO = 4,
  GPIOCTRL_WRITEIO = 5,
  GPIOCTRL_ENTERFTM = 6,
  GPIOCTRL_EXITFTM = 7,
  GPIOCTRL_ALLLEDS_OFF = 11,
  GPIOCTRL_ALLLEDS_ON = 12,
};

// I/O points.
enum GpioPoint : int {
  GPIO_INTERNET_LED = 5,
  GPIO_USB_LED = 8,
  GPIO_LAN_LED = 12,
  GPIO_WAN_LED = 14,
  GPIO_CUT_RELAY_1 = 22,
  GPIO_CUT_RELAY_2 = 23,
  GPIO_RESET_SWITCH = 32,
  GPIO_AUTO_PAIR = 41,
  GPIO_WPS_LED = 42,
  GPIO_WPS_SWITCH = 43,
  GPIO_MOBILE_4G_LED = 50,
  GPIO_MOBILE_3G_LED = 51,
  GPIO_WIFI_SWITCH = 52,
  eLTEPowerEnable = 65,
  eLTEWifiDisable = 69,
  GPIO_WIFI_24G_LED = 70,
  GPIO_WIFI_5G_LED = 72,
  GPIO_ALL_LEDS = 100,  // pseudo point, never sent in a write request
};

// The LEDs a station switches and reads back, by element name, in the
// order the read-back reports them.
struct GpioLed {
  const char* element;
  int point;
};
constexpr int kGpioLedCount = 9;
extern const GpioLed kGpioLeds[kGpioLedCount];

// Written to any point, this value leaves test mode instead of setting a level.
constexpr int kGpioExitFtmValue = 99;

// How a failure of the device is reported: at LOG_ERR on syslog only; also
// as the same line on standard output; or also as a starred console line
// ending "\n\r" (the start-up's style). Each operation has its own, as the
// board's software has it.
enum class GpioReport { kSyslog, kBoth, kStarred };

// "/dev/gpioctrl", opened for one operation and closed on every path out of
// it; a failed open reports "Cannot open gpio driver". Every request to the
// device is made in gpio.cc.
class GpioDevice {
 public:
  explicit GpioDevice(GpioReport report);

  bool ok() const { return device_.ok(); }
  // A push-button line: enters test mode with {point, value} and writes
  // it. 0, or -1 after reporting the request that failed.
  int SetSwitch(int point, int value);

  int Ioctl(GpioCtrlRequest request, void* arg) { return device_.Ioctl(request, arg); }
  // Reports `text` in the device's style; -1.
  int Fail(const char* text) const;

 private:
  PlatformDevice device_;
  GpioReport report_;
};

// Enters test mode with the record {0, 0} (the reset-switch test); failures
// are reported on syslog and standard output, an unopened device with both
// lines. 0 or -1.
int GpioEnterFtm();

// Enters test mode and drives one point (or all LEDs for point 100, or leaves
// test mode for value 99). 0 on success, -1 on failure.
int GpioWriteIo(int point, int value);
// The point's value as the driver reports it, or -1. Does not enter test mode.
int GpioReadIo(int point);
// GpioWriteIo(100, 99).
int GpioExitFtm();
// GpioWriteIo(100, 0): enters test mode and switches every LED off.
int GpioAllLedsOff();
// Line 1 or 2 drives its cut relay; any other line is -1 without a device call.
int GpioSetVoiceRelay(int line, int value);
// The start-up power cycle of the LTE modem: at least 20 seconds. 0 or -1.
int GpioStartupLteCycle();

#endif  // FTM_BOARD_GPIO_H_
