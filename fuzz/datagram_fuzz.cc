// Fuzzes the datagram path: a run of datagrams from several stations goes
// through the intake and the transfer task as if received on the socket, so
// every transfer state, the catalogue and the upload handlers see them.
//
// Input: records of [length high byte][length low byte][station][bytes...];
// each datagram is cut to 1..516 bytes as the receive would cut it. The
// station byte's low two bits name the station; its high bits may instead
// make the record a packet of that station's transfer, built by the harness
// (no bytes follow), so that whole transfers with lost and repeated blocks
// are near at hand:
//   0x10 the DATA of the station's next block, (length % 513) bytes;
//   0x20 its last DATA again;  0x30 a lost block (the counter moves on);
//   0x40 the ACK of its next block;  0x50 its last ACK again;
//   0x60 a new transfer (both counters back to 0).
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

std::string g_board;

struct Station {
  uint16_t data = 0, ack = 0;
  uint16_t dataLength = 0;
};

// Sends a DATA or ACK packet of the station's own transfer; false for a
// record that is a raw datagram.
bool SendBuilt(unsigned kind, size_t length, Station* s, const sockaddr_in& from) {
  uint8_t packet[kTftpPacketSize];
  uint16_t opcode = 3, block = 0;
  size_t size = 4;
  switch (kind) {
    case 1:
      ++s->data;
      s->dataLength = static_cast<uint16_t>(length % 513);
      [[fallthrough]];
    case 2:
      block = s->data;
      size += s->dataLength;
      std::memset(packet + 4, 'x', s->dataLength);
      break;
    case 3:
      ++s->data;
      return true;
    case 4:
      ++s->ack;
      [[fallthrough]];
    case 5:
      opcode = 4;
      block = s->ack;
      break;
    case 6:
      *s = Station();
      return true;
    default:
      return false;
  }
  packet[0] = 0;
  packet[1] = static_cast<uint8_t>(opcode);
  packet[2] = static_cast<uint8_t>(block >> 8);
  packet[3] = static_cast<uint8_t>(block);
  ftm_ProcessRcvTFTPData(packet, size, &from);
  return true;
}

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
  g_board = FuzzMakeBoard([] { return new QuietBoard(); });
  FtmClearConnections();
  FtmListenSocket = -1;  // replies are built and dropped
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Station stations[4];
  size_t pos = 0;
  while (pos + 3 <= size) {
    size_t field = static_cast<size_t>(data[pos] << 8 | data[pos + 1]);
    size_t length = field % kTftpPacketSize + 1;
    sockaddr_in station;
    std::memset(&station, 0, sizeof station);
    station.sin_family = AF_INET;
    station.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    station.sin_port = htons(static_cast<uint16_t>(1000 + data[pos + 2] % 4));
    pos += 3;
    if (SendBuilt(data[pos - 1] >> 4, field, &stations[data[pos - 1] % 4], station)) continue;
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
  FuzzForgetEvents(g_board);
  return 0;
}
