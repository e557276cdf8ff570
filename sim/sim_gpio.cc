// The GPIO control driver: point values live in gpio/<point> (decimal; a
// missing file reads as 0), and every effect is logged as a "gpio" event.
//
// The driver's interface (request numbers, argument record, LED points) is
// written here as the driver defines it, not taken from the daemon's
// headers: a daemon that gets a number wrong then talks to the driver as the
// board's would, and the board's files show it.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sim_board.h"
#include "sim_device.h"

namespace {

// The point requests' argument: two 32-bit words in the board's byte order.
struct IoRecord {
  int32_t point;
  int32_t value;
};

enum : unsigned long {
  GPIOCTRL_READIO = 4,
  GPIOCTRL_WRITEIO = 5,
  GPIOCTRL_ENTERFTM = 6,
  GPIOCTRL_EXITFTM = 7,
  GPIOCTRL_ALLLEDS_OFF = 11,
  GPIOCTRL_ALLLEDS_ON = 12,
};

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
    auto* record = static_cast<IoRecord*>(arg);
    switch (request) {
      case GPIOCTRL_READIO:
        if (record == nullptr) return SimFail(EFAULT);
        record->value = ReadPoint(record->point);
        return 0;
      case GPIOCTRL_WRITEIO:
        if (record == nullptr) return SimFail(EFAULT);
        if (record->point < 0 || record->point > 255) return SimFail(EINVAL);
        // A driver that refuses one point: "ioctl GPIOCTRL_WRITEIO <point>".
        if (SimFaultActive("ioctl GPIOCTRL_WRITEIO " + std::to_string(record->point))) {
          return SimFail(EIO);
        }
        WritePoint(record->point, record->value);
        SimEvent("gpio write " + std::to_string(record->point) + " " +
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
