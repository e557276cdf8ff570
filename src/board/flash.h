// The flash-management device "/dev/flshmgmt" (boot image, factory-test
// software version, restart) and the boot loader's boot delay, read through
// the board's "uboot_env" tool. Each operation opens the device for itself
// and closes it again; none reports failure to its caller.
#ifndef FTM_BOARD_FLASH_H_
#define FTM_BOARD_FLASH_H_

#include <cstddef>

// ioctl requests: plain numbers, no size or direction encoding.
enum FlshmgmtRequest : unsigned long {
  FLSHMGMT_RESTART = 7,
  FLSHMGMT_BOOT_NORMAL = 30,
  FLSHMGMT_BOOT_SAFE = 31,
  FLSHMGMT_GET_FTMSOFTWAREVERSION = 40,  // argument: a 32-byte text buffer
};

// The size of the version buffer the driver fills, terminator included.
constexpr size_t kFtmSoftwareVersionSize = 32;

// Selects the normal image (safe == 0) or the safe-boot image and restarts
// the board. Always 0, also when the device cannot be opened.
int FlshmgmtRestart(int safe);

// The factory-test software version as the driver last reported it: one
// buffer shared by every caller, empty until a query succeeds, kept as it
// was when a query fails. Never null.
const char* FTM_GetSoftwareVersion();

// Writes the boot delay as decimal text into buffer (size bytes); leaves the
// buffer as it was when the value cannot be read.
void FTM_GetBootMode_Kestra(char* buffer, size_t size);

#endif  // FTM_BOARD_FLASH_H_
