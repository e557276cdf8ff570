#include "modem/ftm_at.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/ftm_log.h"
#include "platform/platform.h"

const char kFtmModemDevice[] = "/dev/ttyUSB1";

int lastResultCode = 0;
char lastResultText[kAtResultTextSize] = "";

namespace {

// The termio request carries the first NCC control characters of the
// port's settings, at the same positions as the termios ones.
static_assert(VMIN < NCC && VTIME < NCC, "VMIN and VTIME travel in struct termio");

// One final result code: its text in a slot of 15 bytes.
struct AtFinalResult {
  char text[15];
  int code;
};

// In the order in which each byte is matched: "+CME ERROR" wins over the
// "ERROR" it ends with.
constexpr AtFinalResult kAtFinalResults[] = {
    {"+CME ERROR", -1}, {"NO CARRIER", -2}, {"RING", -3},
    {"CONNECT", -4},    {"OK", -5},         {"ERROR", -6},
};
constexpr size_t kAtFinalResultCount = sizeof kAtFinalResults / sizeof kAtFinalResults[0];

// How many characters of each final result are matched so far. They live as
// long as the daemon: a result split over two reads is still recognised.
unsigned g_matched[kAtFinalResultCount];

// The port's descriptor: -1 when none is open (also after a failed open).
int g_port = -1;

// 2 seconds, in tenths.
constexpr unsigned char kReadTimeoutTenths = 20;

// Feeds one byte to the matcher; the index of the result it completes, or
// -1. A byte that breaks a match is not tried again as a first character,
// and the results after a completed one do not see the byte.
int MatchByte(char c) {
  for (size_t i = 0; i < kAtFinalResultCount; ++i) {
    const char* text = kAtFinalResults[i].text;
    if (c != text[g_matched[i]]) {
      g_matched[i] = 0;
      continue;
    }
    if (text[++g_matched[i]] == '\0') {
      g_matched[i] = 0;
      return static_cast<int>(i);
    }
  }
  return -1;
}

// strcasestr(3) is not in every C library the board may have.
const char* FindIgnoringCase(const char* text, const char* key) {
  size_t length = std::strlen(key);
  for (; *text != '\0'; ++text) {
    size_t i = 0;
    while (i < length && text[i] != '\0' &&
           std::tolower(static_cast<unsigned char>(text[i])) ==
               std::tolower(static_cast<unsigned char>(key[i]))) {
      ++i;
    }
    if (i == length) return text;
  }
  return nullptr;
}

}  // namespace

int openModemDevice(const char* path) {
  g_port = FtmPlatform().Open(path, O_RDWR);
  if (g_port < 0) return -2;
  return setTtyAttributes(g_port) == 0 ? 0 : -1;
}

int closeModemDevice() {
  if (g_port >= 0) FtmPlatform().Close(g_port);
  g_port = -1;
  return 0;
}

int setTtyAttributes(int fd) {
  struct termio settings;
  std::memset(&settings, 0, sizeof settings);
  if (FtmPlatform().Ioctl(fd, TCGETA, &settings) != 0) return -1;
  settings.c_iflag = IGNBRK;
  settings.c_oflag = 0;
  settings.c_cflag = B115200 | CS8 | CREAD | HUPCL | CLOCAL;
  settings.c_lflag = 0;
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = kReadTimeoutTenths;
  return FtmPlatform().Ioctl(fd, TCSETA, &settings) == 0 ? 0 : -1;
}

int writeToDevice(const char* command, int length) {
  if (g_port < 0) return 1;
  ssize_t written = ::write(g_port, command, static_cast<size_t>(length));
  if (written < 0) {
    FtmLogConsole("\n Write %s to device is Failed \n", command);
    return 0;
  }
  return 1;
}

int readFromDevice(char* buffer) {
  size_t length = strnlen(buffer, kAtResponseSize);
  std::memset(buffer, 0, length);
  length = 0;
  lastResultText[0] = '\0';
  // One character is left for the terminator. An answer that fills the
  // buffer without a final result is cut there, like a silent one: the rest
  // stays in the port, and no modem can keep a report waiting for more than
  // one buffer per exchange.
  while (length < kAtResponseSize - 1) {
    char c;
    ssize_t got = ::read(g_port, &c, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      FtmLogConsole("\n Read Failed \n");
      return 0;
    }
    if (got == 0) return 0;  // 2 seconds without a byte
    c &= 0x7f;
    buffer[length++] = c;
    buffer[length] = '\0';
    int matched = MatchByte(c);
    if (matched >= 0) {
      lastResultCode = kAtFinalResults[matched].code;
      std::snprintf(lastResultText, sizeof lastResultText, "%s", kAtFinalResults[matched].text);
      return 1;
    }
  }
  return 0;
}

int getResponseValue(const char* key, const char* response, char* value) {
  const char* found = FindIgnoringCase(response, key);
  if (found == nullptr) return 0;
  const char* start = found + std::strlen(key);
  const char* lineEnd = std::strchr(start, '\n');
  // A value without its line end is an unfinished line: not a value.
  if (lineEnd == nullptr) return 0;
  size_t length = static_cast<size_t>(lineEnd - start);
  if (length > 0) --length;  // the line end's carriage return
  if (length > kAtValueSize - 1) length = kAtValueSize - 1;
  std::memcpy(value, start, length);
  value[length] = '\0';
  return 1;
}
