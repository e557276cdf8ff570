#include "board/board_command.h"

#include <cstdarg>
#include <cstdio>

#include "platform/platform.h"

namespace {

// The longest command line the daemon runs, with room to spare.
constexpr size_t kCommandSize = 160;

// Formats into `command`; false when the line does not fit.
bool Format(char (&command)[kCommandSize], const char* format, va_list args) {
  const int n = std::vsnprintf(command, sizeof command, format, args);
  return n >= 0 && static_cast<size_t>(n) < sizeof command;
}

}  // namespace

int FtmRunCommand(const char* format, ...) {
  char command[kCommandSize];
  va_list args;
  va_start(args, format);
  const bool fits = Format(command, format, args);
  va_end(args);
  return fits ? FtmPlatform().System(command) : -1;
}

bool FtmCommandFirstLine(const char* file, char* line, size_t size, const char* format, ...) {
  line[0] = '\0';
  char command[kCommandSize];
  va_list args;
  va_start(args, format);
  const bool fits = Format(command, format, args);
  va_end(args);
  if (!fits) return false;
  FtmRunCommand("%s > %s", command, file);
  bool read = false;
  {
    PlatformFile in(file, "r");
    if (in.get() != nullptr) {
      read = std::fgets(line, static_cast<int>(size), in.get()) != nullptr;
      if (!read) line[0] = '\0';
    }
  }
  FtmPlatform().Unlink(file);
  return read;
}
