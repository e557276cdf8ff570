#include "platform/platform.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

namespace {
Platform* g_installed = nullptr;
}  // namespace

PlatformWrapper::PlatformWrapper() : target_(&PlatformBackend()) {}

Platform& FtmPlatform() {
  return g_installed != nullptr ? *g_installed : PlatformBackend();
}

void PlatformInstall(Platform* platform) {
  g_installed = platform;
}

void FtmSyslog(int priority, const char* format, ...) {
  char message[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof message, format, args);
  va_end(args);
  FtmPlatform().Syslog(priority, message);
}

void FtmLogBoth(const char* message) {
  FtmSyslog(LOG_ERR, "%s", message);
  std::printf("%s\n", message);
}

void FtmFatalExit(const char* message, const char* console) {
  FtmSyslog(LOG_ERR, "%s", message);
  if (console != nullptr) std::printf("%s\n", console);
  std::fflush(nullptr);
  ::_exit(-1);
}
