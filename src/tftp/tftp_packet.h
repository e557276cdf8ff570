// The TFTP wire format (no options, one server port) and the transfer task's
// packet senders and waits. Every packet goes out of the listening socket to
// the current connection.
#ifndef FTM_TFTP_TFTP_PACKET_H_
#define FTM_TFTP_TFTP_PACKET_H_

#include <cstddef>
#include <cstdint>

enum TftpOpcode : uint16_t {
  TFTP_RRQ = 1,
  TFTP_WRQ = 2,
  TFTP_DATA = 3,
  TFTP_ACK = 4,
  TFTP_ERROR = 5,
};

constexpr int kTftpHeaderSize = 4;
constexpr int kTftpBlockSize = 512;
constexpr int kTftpMaxMessage = 511;

// The one buffer in which every outgoing packet is built; transfer task only.
extern uint8_t TftpSendBuffer[kTftpHeaderSize + kTftpBlockSize];

// Wire accessors: 16-bit fields are big-endian whatever the CPU.
inline uint16_t TftpGet16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] << 8 | p[1]);
}
inline void TftpPut16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}

// The file name of a request datagram of the given length, copied NUL-ended
// into name (room for 513 bytes). A name without a NUL ends with the datagram.
void TftpRequestName(const uint8_t* datagram, int length, char* name, size_t size);

// Sends length bytes of TftpSendBuffer to the current connection.
void FTM_sendPacket(const uint8_t* bytes, int length);
// ERROR packet: the code and the message (cut at 511 characters; null = empty).
void FTM_sendError(uint16_t code, const char* message);
// DATA packet with count (0 to 512) bytes. Returns 0.
int FTM_sendData(const uint8_t* bytes, int count, uint16_t block);
// ACK packet. Returns 0.
int FTM_sendAck(uint16_t block);

// Waits about 3 s for one DATA packet: 0 with its block, length and data
// (room for 512 bytes); -1 when the datagram taken is not a DATA packet;
// -2 on time-out.
int FTM_getData(uint8_t* destination, uint16_t* length, uint16_t* block);
// Waits about 3.25 s for one ACK packet: 0 with its block; -2 on time-out.
int FTM_getAck(uint16_t* block);

#endif  // FTM_TFTP_TFTP_PACKET_H_
