#include "tftp/tftp_wire.h"

#include <cstring>

void TftpRequestName(const uint8_t* datagram, int length, char* name, size_t size) {
  size_t n = 0;
  for (int i = 2; i < length && datagram[i] != 0 && n + 1 < size; ++i) {
    name[n++] = static_cast<char>(datagram[i]);
  }
  name[n] = '\0';
}

int TftpBuildRequest(TftpOpcode opcode, const char* name, uint8_t* buffer, size_t size) {
  static const char kMode[] = "octet";
  const size_t nameLength = std::strlen(name);
  const size_t length = 2 + nameLength + 1 + sizeof kMode;
  if (nameLength == 0 || length > size) return -1;
  TftpPut16(buffer, opcode);
  std::memcpy(buffer + 2, name, nameLength + 1);
  std::memcpy(buffer + 2 + nameLength + 1, kMode, sizeof kMode);
  return static_cast<int>(length);
}

int TftpBuildData(uint8_t* buffer, uint16_t block, const uint8_t* bytes, int count) {
  TftpPut16(buffer, TFTP_DATA);
  TftpPut16(buffer + 2, block);
  if (count > 0) std::memcpy(buffer + kTftpHeaderSize, bytes, static_cast<size_t>(count));
  return kTftpHeaderSize + count;
}

int TftpBuildAck(uint8_t* buffer, uint16_t block) {
  TftpPut16(buffer, TFTP_ACK);
  TftpPut16(buffer + 2, block);
  return kTftpHeaderSize;
}

int TftpBuildError(uint8_t* buffer, uint16_t code, const char* message) {
  if (message == nullptr) message = "";
  size_t length = std::strlen(message);
  if (length > kTftpMaxMessage) length = kTftpMaxMessage;
  TftpPut16(buffer, TFTP_ERROR);
  TftpPut16(buffer + 2, code);
  std::memcpy(buffer + kTftpHeaderSize, message, length);
  buffer[kTftpHeaderSize + length] = 0;
  return kTftpHeaderSize + static_cast<int>(length) + 1;
}

int TftpErrorMessage(const uint8_t* datagram, int length, char* message, size_t size) {
  if (length < kTftpHeaderSize || TftpGet16(datagram) != TFTP_ERROR) return -1;
  size_t n = 0;
  for (int i = kTftpHeaderSize; i < length && datagram[i] != 0 && n + 1 < size; ++i) {
    message[n++] = static_cast<char>(datagram[i]);
  }
  message[n] = '\0';
  return TftpGet16(datagram + 2);
}
