// The GPIO control driver: point values live in gpio/<point> (decimal; a
// missing file reads as 0), and every effect is logged as a "gpio" event.
#include <cerrno>
#include <cstdlib>
#include <string>

#include "board/gpio.h"
#include "sim_board.h"
#include "sim_device.h"

namespace {

// The LED points that the all-LEDs commands switch together.
const int kLedPoints[] = {5, 8, 12, 14, 42, 50, 51, 70, 72};

std::string PointPath(int point) {
  return SimDir() + "/gpio/" + std::to_string(point);
}

int ReadPoint(int point) {
  std::string text;
  if (!SimReadFile(PointPath(point), &text)) return 0;
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

void WritePoint(int point, int value) {
  SimWriteFileAtomic(PointPath(point), std::to_string(value) + "\n");
}

class GpioDevice final : public SimDevice {
 public:
  const char* RequestName(unsigned long request) const override {
    switch (request) {
      case GPIOCTRL_READIO:
        return "GPIOCTRL_READIO";
      case GPIOCTRL_WRITEIO:
        return "GPIOCTRL_WRITEIO";
      case GPIOCTRL_ENTERFTM:
        return "GPIOCTRL_ENTERFTM";
      case GPIOCTRL_EXITFTM:
        return "GPIOCTRL_EXITFTM";
      case GPIOCTRL_ALLLEDS_OFF:
        return "GPIOCTRL_ALLLEDS_OFF";
      case GPIOCTRL_ALLLEDS_ON:
        return "GPIOCTRL_ALLLEDS_ON";
      default:
        return nullptr;
    }
  }

  int Ioctl(unsigned long request, void* arg) override {
    auto* record = static_cast<GpioIoRecord*>(arg);
    switch (request) {
      case GPIOCTRL_READIO:
        if (record == nullptr) return SimFail(EFAULT);
        record->value = ReadPoint(record->eUserIOPoint);
        return 0;
      case GPIOCTRL_WRITEIO:
        if (record == nullptr) return SimFail(EFAULT);
        if (record->eUserIOPoint < 0 || record->eUserIOPoint > 255) return SimFail(EINVAL);
        WritePoint(record->eUserIOPoint, record->value);
        SimEvent("gpio write " + std::to_string(record->eUserIOPoint) + " " +
                 std::to_string(record->value));
        return 0;
      case GPIOCTRL_ENTERFTM:
        SimEvent("gpio enterftm");
        return 0;
      case GPIOCTRL_EXITFTM:
        SimEvent("gpio exitftm");
        return 0;
      case GPIOCTRL_ALLLEDS_OFF:
      case GPIOCTRL_ALLLEDS_ON: {
        int on = request == GPIOCTRL_ALLLEDS_ON ? 1 : 0;
        for (int point : kLedPoints) WritePoint(point, on);
        SimEvent("gpio allleds " + std::to_string(on));
        return 0;
      }
      default:
        return SimFail(EINVAL);
    }
  }
};

}  // namespace

SimDevice& SimGpioDevice() {
  static GpioDevice device;
  return device;
}
