#include "tftp/tftp_packet.h"

#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "core/ftm_conn.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"

uint8_t TftpSendBuffer[kTftpPacketSize];

void FTM_sendPacket(const uint8_t* bytes, int length) {
  FtmFileWaiting();
  sockaddr_in client;
  if (FtmCurrentClient(&client) != 0) return;
  if (::sendto(FtmListenSocket, bytes, static_cast<size_t>(length), 0,
               reinterpret_cast<const sockaddr*>(&client), sizeof client) < 0) {
    return;  // nothing sent, nobody woken
  }
  // A station on this machine often waits to run on this CPU: woken by the
  // packet, or set aside when its own last packet woke the task. Given the
  // CPU now, it answers while the task is still awake, so the answer is
  // found at once instead of waking the task again. On the board the
  // station is across the wire: the call returns at once, or lets another
  // ready process go first while the answer is still a wire round trip away.
  sched_yield();
}

void FTM_sendError(uint16_t code, const char* message) {
  FTM_sendPacket(TftpSendBuffer, TftpBuildError(TftpSendBuffer, code, message));
}

int FTM_sendData(const uint8_t* bytes, int count, uint16_t block) {
  FTM_sendPacket(TftpSendBuffer, TftpBuildData(TftpSendBuffer, block, bytes, count));
  return 0;
}

int FTM_sendAck(uint16_t block) {
  FTM_sendPacket(TftpSendBuffer, TftpBuildAck(TftpSendBuffer, block));
  return 0;
}

int FTM_getData(uint8_t* destination, uint16_t* length, uint16_t* block) {
  uint8_t packet[kTftpPacketSize];
  int count = 0;
  // Each empty poll waits out its period of 10 ms; the 301st gives up, so
  // the wait lasts 3.01 s, the same rule as the wait for an ACK.
  FtmPollPeriod period(kTftpDataPollMicros);
  int empty = 0;
  while ((count = ftm_GetRcvTFTPData(packet)) == 0) {
    if (period.Wait() && ++empty >= kTftpDataPolls) return -2;
  }
  // A datagram shorter than the DATA header has no data length: it is not a
  // DATA packet, whatever its first bytes say.
  if (!TftpBlockPacket(packet, count, TFTP_DATA, block)) return -1;
  *length = static_cast<uint16_t>(count - kTftpHeaderSize);
  std::memcpy(destination, packet + kTftpHeaderSize, *length);
  return 0;
}

int FTM_getAck(uint16_t* block) {
  uint8_t packet[kTftpPacketSize];
  // Stray datagrams taken during a period neither end nor shorten it.
  FtmPollPeriod period(kTftpAckPollMicros);
  int empty = 0;
  for (;;) {
    int count = ftm_GetRcvTFTPData(packet);
    if (count == 0) {
      if (period.Wait() && ++empty >= kTftpAckPolls) {
        FtmLogConsole("FTM_getAck: ack packet timeout! timeoutCntr= %d\n", empty);
        return -2;
      }
      continue;
    }
    if (TftpBlockPacket(packet, count, TFTP_ACK, block)) return 0;
    const uint16_t opcode = TftpOpcodeOf(packet, count);
    if (opcode == TFTP_ERROR) {
      FtmLogConsole("FTM_getAck: expecting ack packet, got error packet\n");
    } else {
      FtmLogConsole("FTM_getAck: received something other than expected ack packet. OpCode = %d\n",
                    opcode);
    }
  }
}
