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
#include "fuzz_board.h"
#include "platform/platform.h"
#include "tftp/tftp_task.h"

namespace {

// Devices are absent as well, so that no driver model slows an input.
class QuietBoard final : public InstantBoard {
 public:
  int Open(const char*, int) override {
    errno = ENOENT;
    return -1;
  }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  FuzzMakeBoard([] { return new QuietBoard(); });
  FtmClearConnections();
  FtmListenSocket = -1;  // replies are built and dropped
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  size_t pos = 0;
  while (pos + 3 <= size) {
    size_t length = static_cast<size_t>(data[pos] << 8 | data[pos + 1]) % kTftpPacketSize + 1;
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
  uint8_t datagram[kTftpPacketSize];
  int length;
  while ((length = ftm_GetRcvTFTPData(datagram)) != 0) FtmTaskHandle(datagram, length);
  // Idle ticks end any grace period, so runs do not depend on each other.
  for (int i = 0; i < 12; ++i) FtmTaskHandle(datagram, 0);
  return 0;
}
