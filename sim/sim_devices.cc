#include <cerrno>

#include "sim_board.h"
#include "sim_device.h"

namespace {

// The DSL driver is only ever opened, to tell that it is there.
class DslDevice final : public SimDevice {
 public:
  const char* RequestName(unsigned long) const override { return nullptr; }
  int Ioctl(unsigned long, void*) override { return SimFail(EINVAL); }
  void Opened() override { SimEvent("dsl open"); }
};

}  // namespace

SimDevice& SimDslDevice() {
  static DslDevice device;
  return device;
}

SimDevice* SimDeviceFor(const std::string& board_path) {
  if (board_path == "/dev/gpioctrl") return &SimGpioDevice();
  if (board_path == "/dev/dsl_cpe_api") return &SimDslDevice();
  if (board_path == "/dev/flshmgmt") return &SimFlashDevice();
  return nullptr;
}
