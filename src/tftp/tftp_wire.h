// The TFTP wire format as this board speaks it: opcodes, sizes, the upload
// limit, the board's waits, big-endian accessors, packet builders and
// parsers. Shared by the daemon and the station's client (ftmctl); it holds
// no state and sends nothing.
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
// The largest datagram the board takes or sends: a header and a full block.
constexpr int kTftpPacketSize = kTftpHeaderSize + kTftpBlockSize;
constexpr int kTftpMaxMessage = 511;
// An upload is received into 8160 bytes. A plain file continues only while
// it holds at most 7648 bytes (the buffer less a block), so the next block
// always fits behind them, and so does the NUL after a complete file.
constexpr int kTftpUploadBufferSize = 8160;
constexpr int kTftpUploadLimit = kTftpUploadBufferSize - kTftpBlockSize;

// The board's waits (board time; the simulated board scales them). The
// transfer task takes one datagram per pass; after an upload it answers a
// resent last block for the next idle passes (about 2.75 s).
constexpr unsigned long kTftpTickMicros = 250000;
constexpr int kTftpGraceTicks = 11;
// The wait for a DATA block: 301 empty polls of 10 ms (3.01 s).
constexpr unsigned long kTftpDataPollMicros = 10000;
constexpr int kTftpDataPolls = 301;
// The wait for an ACK: 13 empty polls of 250 ms (3.25 s).
constexpr unsigned long kTftpAckPollMicros = 250000;
constexpr int kTftpAckPolls = 13;
// An upload acknowledges its last good block again after a time-out this
// many times; the next time-out ends it.
constexpr int kTftpUploadRetries = 3;

constexpr double TftpSeconds(unsigned long micros, int count = 1) {
  return static_cast<double>(micros) * count / 1e6;
}

// Wire accessors: 16-bit fields are big-endian whatever the CPU.
inline uint16_t TftpGet16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] << 8 | p[1]);
}
inline void TftpPut16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}

// The opcode of a datagram, 0 for one too short to have one.
inline uint16_t TftpOpcodeOf(const uint8_t* datagram, int length) {
  return length >= 2 ? TftpGet16(datagram) : 0;
}

// True when the datagram is a DATA or ACK packet (`opcode`) with its whole
// header; *block receives its block number.
inline bool TftpBlockPacket(const uint8_t* datagram, int length, TftpOpcode opcode,
                            uint16_t* block) {
  if (length < kTftpHeaderSize || TftpGet16(datagram) != opcode) return false;
  *block = TftpGet16(datagram + 2);
  return true;
}

// The file name of a request datagram of the given length, copied NUL-ended
// into name (room for 513 bytes). A name without a NUL ends with the datagram.
void TftpRequestName(const uint8_t* datagram, int length, char* name, size_t size);

// Builds an RRQ or WRQ for `name` in mode "octet" into `buffer`. Returns the
// datagram's length, or -1 when it does not fit or the name is empty.
int TftpBuildRequest(TftpOpcode opcode, const char* name, uint8_t* buffer, size_t size);

// Builds a DATA packet of `count` (0 to 512) bytes into `buffer` (room for
// kTftpPacketSize). Returns its length.
int TftpBuildData(uint8_t* buffer, uint16_t block, const uint8_t* bytes, int count);

// Builds an ACK packet into `buffer` (room for 4 bytes). Returns its length.
int TftpBuildAck(uint8_t* buffer, uint16_t block);

// Builds an ERROR packet into `buffer` (room for kTftpPacketSize): the code
// and the message, cut at 511 characters (null = empty). Returns its length.
int TftpBuildError(uint8_t* buffer, uint16_t code, const char* message);

// The message of an ERROR datagram, read within its length (a missing NUL
// ends it with the datagram), copied NUL-ended into message. Returns the
// error code, or -1 when the datagram is not an ERROR packet.
int TftpErrorMessage(const uint8_t* datagram, int length, char* message, size_t size);

#endif  // FTM_TFTP_TFTP_WIRE_H_
