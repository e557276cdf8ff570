// Fuzzes the datagram path: a run of datagrams from several stations goes
// through the intake and the transfer task as if received on the socket, so
// every transfer state, the catalogue and the upload handlers see them.
//
// Input: records of [length high byte][length low byte][station][bytes...];
// each datagram is cut to 1..516 bytes as the receive would cut it.
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/ftm_conn.h"
#include "platform/platform.h"
#include "tftp/tftp_task.h"

namespace {

// The simulated board, quiet and instant: devices are absent (the wireless
// driver stays: without its socket the daemon would end), commands do
// nothing and no wait takes time, so a transfer's time-outs cost only their
// polls. Files and the store are the board's own.
class QuietBoard final : public PlatformWrapper {
 public:
  int Open(const char*, int) override { return Fail(); }
  int System(const char*) override { return 0; }
  int Kill(pid_t, int) override { return 0; }
  void Syslog(int, const char*) override {}
  void SleepMicros(unsigned long) override {}
  unsigned long ScaleMicros(unsigned long) override { return 0; }

 private:
  static int Fail() {
    errno = ENOENT;
    return -1;
  }
};

QuietBoard* g_board;
char g_boardDir[] = "/tmp/ftm-datagram-fuzz-XXXXXX";

void RemoveBoard() {
  std::string remove = std::string("rm -rf ") + g_boardDir;
  if (std::system(remove.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", g_boardDir);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The store's simulated tables live on a board made for this run.
  if (mkdtemp(g_boardDir) == nullptr) std::abort();
  std::atexit(RemoveBoard);
  std::string board = std::string(g_boardDir) + "/board";
  std::string init = std::string(FTM_FTMSIM) + " init " + board;
  if (std::system(init.c_str()) != 0) std::abort();
  setenv("FTM_SIM_DIR", board.c_str(), 1);
  g_board = new QuietBoard();  // after FTM_SIM_DIR: it wraps the board's backend
  PlatformInstall(g_board);
  // The daemon's progress lines would drown the fuzzer's own.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  FtmClearConnections();
  FtmListenSocket = -1;  // replies are built and dropped
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  size_t pos = 0;
  while (pos + 3 <= size) {
    size_t length = static_cast<size_t>(data[pos] << 8 | data[pos + 1]) % kFtmPacketSize + 1;
    sockaddr_in station;
    std::memset(&station, 0, sizeof station);
    station.sin_family = AF_INET;
    station.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    station.sin_port = htons(static_cast<uint16_t>(1000 + data[pos + 2] % 4));
    pos += 3;
    if (length > size - pos) length = size - pos;
    if (length == 0) break;
    ftm_ProcessRcvTFTPData(data + pos, length, &station);
    pos += length;
  }
  uint8_t datagram[kFtmPacketSize];
  int length;
  while ((length = ftm_GetRcvTFTPData(datagram)) != 0) FtmTaskHandle(datagram, length);
  // Idle ticks end any grace period, so runs do not depend on each other.
  for (int i = 0; i < 12; ++i) FtmTaskHandle(datagram, 0);
  return 0;
}
