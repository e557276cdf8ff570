#include "board/flash.h"

#include <fcntl.h>
#include <syslog.h>

#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "dispatch/ftm_text.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"

namespace {

const char kFlashDevice[] = "/dev/flshmgmt";
const char kBootDelayFile[] = "/tmp/BootDelayVer";

char g_softwareVersion[kFtmSoftwareVersionSize];

}  // namespace

int FlshmgmtRestart(int safe) {
  PlatformDevice device(kFlashDevice, O_RDWR);
  if (!device.ok()) return 0;
  device.Ioctl(safe != 0 ? FLSHMGMT_BOOT_SAFE : FLSHMGMT_BOOT_NORMAL, nullptr);
  device.Ioctl(FLSHMGMT_RESTART, nullptr);
  return 0;
}

const char* FTM_GetSoftwareVersion() {
  PlatformDevice device(kFlashDevice, O_RDWR);
  if (!device.ok()) return g_softwareVersion;
  // The driver writes into a scratch copy, so that a failed query cannot
  // leave a half-written text in the shared buffer.
  char version[kFtmSoftwareVersionSize] = {};
  if (device.Ioctl(FLSHMGMT_GET_FTMSOFTWAREVERSION, version) != 0) {
    FtmLogSyslog(LOG_ERR, "%s: FLSHMGMT_GET_FTMSOFTWAREVERSION ioctl failed",
                 "FTM_GetSoftwareVersion");
    return g_softwareVersion;
  }
  version[kFtmSoftwareVersionSize - 1] = '\0';
  std::memcpy(g_softwareVersion, version, sizeof g_softwareVersion);
  return g_softwareVersion;
}

void FTM_GetBootMode_Kestra(char* buffer, size_t size) {
  char line[64];
  if (!FtmCommandFirstLine(kBootDelayFile, line, sizeof line, "uboot_env --get --name bootdelay")) {
    return;
  }
  int value = FtmDecimal(line);
  FtmLogConsole("\n %s boot delay value = %d \n\n", "FTM_GetBootMode_Kestra", value);
  if (buffer != nullptr && size > 0) std::snprintf(buffer, size, "%d", value);
}
