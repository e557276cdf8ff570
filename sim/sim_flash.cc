// The flash-management driver: boot image selection and restart are logged
// as "flash" events; the factory-test software version is the first line of
// the board file flash/ftm_version (a missing file makes the query fail, as
// a driver without a version would).
//
// The request numbers are the driver's own, written here and not taken
// from the daemon's headers: a daemon that sends a wrong number is refused
// as on the board.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "sim_board.h"
#include "sim_device.h"

namespace {

// The driver's requests, as the driver defines them (see sim_gpio.cc).
enum : unsigned long {
  FLSHMGMT_RESTART = 7,
  FLSHMGMT_BOOT_NORMAL = 30,
  FLSHMGMT_BOOT_SAFE = 31,
  FLSHMGMT_GET_FTMSOFTWAREVERSION = 40,
};
// The caller's version buffer.
constexpr size_t kVersionSize = 32;

class FlashDevice final : public SimDevice {
 public:
  const char* RequestName(unsigned long request) const override {
    switch (request) {
      case FLSHMGMT_RESTART:
        return "FLSHMGMT_RESTART";
      case FLSHMGMT_BOOT_NORMAL:
        return "FLSHMGMT_BOOT_NORMAL";
      case FLSHMGMT_BOOT_SAFE:
        return "FLSHMGMT_BOOT_SAFE";
      case FLSHMGMT_GET_FTMSOFTWAREVERSION:
        return "FLSHMGMT_GET_FTMSOFTWAREVERSION";
      default:
        return nullptr;
    }
  }

  int Ioctl(unsigned long request, void* arg) override {
    switch (request) {
      case FLSHMGMT_RESTART:
        SimEvent("flash restart");
        return 0;
      case FLSHMGMT_BOOT_NORMAL:
        SimEvent("flash boot normal");
        return 0;
      case FLSHMGMT_BOOT_SAFE:
        SimEvent("flash boot safe");
        return 0;
      case FLSHMGMT_GET_FTMSOFTWAREVERSION: {
        if (arg == nullptr) return SimFail(EFAULT);
        std::string text;
        if (!SimReadFile(SimDir() + "/flash/ftm_version", &text)) return SimFail(EIO);
        text = text.substr(0, text.find('\n'));
        // The driver fills the caller's 32 bytes: at most 31 characters.
        text.resize(std::min(text.size(), kVersionSize - 1));
        std::memcpy(arg, text.c_str(), text.size() + 1);
        return 0;
      }
      default:
        return SimFail(EINVAL);
    }
  }
};

}  // namespace

SimDevice& SimFlashDevice() {
  static FlashDevice device;
  return device;
}
