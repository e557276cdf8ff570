#include "platform/ftm_log.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "platform/platform.h"

namespace {

void Syslog(int priority, const char* format, va_list args) {
  char message[512];
  std::vsnprintf(message, sizeof message, format, args);
  FtmPlatform().Syslog(priority, message);
}

}  // namespace

void FtmLogSyslog(int priority, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Syslog(priority, format, args);
  va_end(args);
}

void FtmLogConsole(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
}

void FtmLogStderr(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
}

void FtmLogBoth(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  Syslog(LOG_ERR, format, args);
  std::vprintf(format, again);
  std::putchar('\n');
  va_end(again);
  va_end(args);
}

void FtmFatalExit(const char* message, const char* console, const char* before) {
  if (before != nullptr) FtmLogSyslog(LOG_ERR, "%s", before);
  FtmLogSyslog(LOG_ERR, "%s", message);
  if (console != nullptr) FtmLogConsole("%s\n", console);
  std::fflush(nullptr);
  ::_exit(-1);
}
