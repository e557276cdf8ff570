#include "platform/platform.h"

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
