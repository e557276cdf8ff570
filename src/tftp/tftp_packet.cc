#include "tftp/tftp_packet.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "core/ftm_conn.h"
#include "platform/platform.h"

uint8_t TftpSendBuffer[kTftpHeaderSize + kTftpBlockSize];

namespace {

constexpr unsigned long kDataPollMicros = 10000;
constexpr int kDataPolls = 301;
constexpr unsigned long kAckPollMicros = 250000;
constexpr int kAckPolls = 13;

}  // namespace

void FTM_sendPacket(const uint8_t* bytes, int length) {
  sockaddr_in client;
  if (FtmCurrentClient(&client) != 0) return;
  ::sendto(FtmListenSocket, bytes, static_cast<size_t>(length), 0,
           reinterpret_cast<const sockaddr*>(&client), sizeof client);
}

void FTM_sendError(uint16_t code, const char* message) {
  if (message == nullptr) message = "";
  size_t length = std::strlen(message);
  if (length > kTftpMaxMessage) length = kTftpMaxMessage;
  TftpPut16(TftpSendBuffer, TFTP_ERROR);
  TftpPut16(TftpSendBuffer + 2, code);
  std::memcpy(TftpSendBuffer + 4, message, length);
  TftpSendBuffer[4 + length] = 0;
  FTM_sendPacket(TftpSendBuffer, static_cast<int>(length) + 5);
}

int FTM_sendData(const uint8_t* bytes, int count, uint16_t block) {
  TftpPut16(TftpSendBuffer, TFTP_DATA);
  TftpPut16(TftpSendBuffer + 2, block);
  if (count > 0) std::memcpy(TftpSendBuffer + 4, bytes, static_cast<size_t>(count));
  FTM_sendPacket(TftpSendBuffer, count + 4);
  return 0;
}

int FTM_sendAck(uint16_t block) {
  TftpPut16(TftpSendBuffer, TFTP_ACK);
  TftpPut16(TftpSendBuffer + 2, block);
  FTM_sendPacket(TftpSendBuffer, 4);
  return 0;
}

int FTM_getData(uint8_t* destination, uint16_t* length, uint16_t* block) {
  uint8_t packet[kFtmPacketSize];
  int count = 0;
  // Each empty poll waits out its period of 10 ms; the 301st gives up, so
  // the wait lasts 3.01 s, the same rule as the wait for an ACK.
  FtmPollPeriod period(kDataPollMicros);
  int empty = 0;
  while ((count = ftm_GetRcvTFTPData(packet)) == 0) {
    if (period.Wait() && ++empty >= kDataPolls) return -2;
  }
  // A datagram shorter than the DATA header has no data length: it is not a
  // DATA packet, whatever its first bytes say.
  if (count < kTftpHeaderSize || TftpGet16(packet) != TFTP_DATA) return -1;
  *block = TftpGet16(packet + 2);
  *length = static_cast<uint16_t>(count - kTftpHeaderSize);
  std::memcpy(destination, packet + kTftpHeaderSize, *length);
  return 0;
}

int FTM_getAck(uint16_t* block) {
  uint8_t packet[kFtmPacketSize];
  // Stray datagrams taken during a period neither end nor shorten it.
  FtmPollPeriod period(kAckPollMicros);
  int empty = 0;
  for (;;) {
    int count = ftm_GetRcvTFTPData(packet);
    if (count == 0) {
      if (period.Wait() && ++empty >= kAckPolls) {
        std::printf("FTM_getAck: ack packet timeout! timeoutCntr= %d\n", empty);
        return -2;
      }
      continue;
    }
    uint16_t opcode = count >= 2 ? TftpGet16(packet) : 0;
    if (opcode == TFTP_ACK && count >= kTftpHeaderSize) {
      *block = TftpGet16(packet + 2);
      return 0;
    }
    if (opcode == TFTP_ERROR) {
      std::printf("FTM_getAck: expecting ack packet, got error packet\n");
    } else {
      std::printf("FTM_getAck: received something other than expected ack packet. OpCode = %d\n",
                  opcode);
    }
  }
}
