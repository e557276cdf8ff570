// Fuzzes what the LTE modem sends: the bytes of one input are the modem's
// whole output during one report, read through the AT channel by the mobile
// or the antenna report's fill (every query, the unlock, the value picking
// and the carried-over rests), then end as a silent modem would.
//
// Input: [report selector][modem bytes...]; an even selector asks for the
// mobile report, an odd one for the antenna report.
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "modem/ftm_at.h"
#include "platform/platform.h"
#include "reports/FTM_AntennaInfo.h"
#include "reports/FTM_MobileInfo.h"

namespace {

// The modem port is one end of a socket pair: the daemon's commands go into
// it, the input comes out of it, and its end reads as the port's silence.
class FuzzModemBoard final : public PlatformWrapper {
 public:
  int Open(const char*, int) override {
    if (port_ < 0) {
      errno = ENOENT;
      return -1;
    }
    int fd = port_;
    port_ = -1;
    return fd;
  }
  int Ioctl(int, unsigned long, void*) override { return 0; }
  int Close(int fd) override { return ::close(fd); }
  void Syslog(int, const char*) override {}

  void SetPort(int fd) { port_ = fd; }

 private:
  int port_ = -1;
};

FuzzModemBoard* g_board;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_board = new FuzzModemBoard();
  PlatformInstall(g_board);
  // The daemon's progress lines would drown the fuzzer's own.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  // The socket buffer takes the whole input (-max_len keeps it small).
  size_t sent = 0;
  while (sent < size - 1) {
    ssize_t n = ::write(ends[1], data + 1 + sent, size - 1 - sent);
    if (n <= 0) std::abort();
    sent += static_cast<size_t>(n);
  }
  ::shutdown(ends[1], SHUT_WR);
  g_board->SetPort(ends[0]);
  char* text = nullptr;
  int length = 0;
  if (data[0] % 2 == 0) {
    FTM_GetMobileInfoXml(&text, &length);
  } else {
    FTM_GetAntennaInfoXml(&text, &length);
  }
  std::free(text);
  ::close(ends[1]);

  // The value picking on the raw bytes, as an answer of any shape.
  std::string response(reinterpret_cast<const char*>(data + 1), size - 1);
  char value[kAtValueSize] = "";
  for (const char* key : {"+CPIN: ", "Rx0:  AGC: ", "IMEI: ", ": "}) {
    getResponseValue(key, response.c_str(), value);
  }
  return 0;
}
