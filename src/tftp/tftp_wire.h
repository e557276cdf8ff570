// The TFTP wire format as this board speaks it: opcodes, sizes, big-endian
// accessors and request datagrams. Shared by the daemon and the station's
// client (ftmctl); it holds no state and sends nothing.
#ifndef FTM_TFTP_TFTP_WIRE_H_
#define FTM_TFTP_TFTP_WIRE_H_

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
// The largest plain file an upload may carry (8160-byte buffer less a block).
constexpr int kTftpUploadLimit = 7648;

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

// Builds an RRQ or WRQ for `name` in mode "octet" into `buffer`. Returns the
// datagram's length, or -1 when it does not fit or the name is empty.
int TftpBuildRequest(TftpOpcode opcode, const char* name, uint8_t* buffer, size_t size);

// The message of an ERROR datagram, read within its length (a missing NUL
// ends it with the datagram), copied NUL-ended into message. Returns the
// error code, or -1 when the datagram is not an ERROR packet.
int TftpErrorMessage(const uint8_t* datagram, int length, char* message, size_t size);

#endif  // FTM_TFTP_TFTP_WIRE_H_
