// Models of the board's character devices. Each model acts on the board
// directory (gpio/ files, events.log) the way the driver acts on hardware.
#ifndef FTM_SIM_SIM_DEVICE_H_
#define FTM_SIM_SIM_DEVICE_H_

#include <cerrno>
#include <string>

class SimDevice {
 public:
  virtual ~SimDevice() = default;
  // The request's name as the faults file spells it, or null for a request
  // the driver does not know.
  virtual const char* RequestName(unsigned long request) const = 0;
  // The driver's answer to one request: 0, or -1 with errno set.
  virtual int Ioctl(unsigned long request, void* arg) = 0;
  // Called after each successful open of the device.
  virtual void Opened() {}
};

// A driver's refusal: sets errno and answers -1.
inline int SimFail(int error) {
  errno = error;
  return -1;
}

// The model behind a board device path, or null for a plain file.
SimDevice* SimDeviceFor(const std::string& board_path);

// The device models, one per driver.
SimDevice& SimGpioDevice();
SimDevice& SimDslDevice();
SimDevice& SimFlashDevice();
// The wireless driver behind every socket of Platform::Socket.
SimDevice& SimWifiDevice();

#endif  // FTM_SIM_SIM_DEVICE_H_
