// Uploads: the station's file is received block by block into memory and
// handed whole, NUL-terminated, to the upload dispatch, whose verdict
// replaces the last ACK. Image files are acknowledged and discarded.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "dispatch/ftm_catalog.h"
#include "platform/platform.h"
#include "tftp/tftp_packet.h"
#include "tftp/tftp_transfer.h"

namespace {

constexpr int kMaxRetries = 3;
constexpr unsigned long kHexPauseMicros = 3000000;

void SendErrorf(uint16_t code, const char* format, int a, int b = 0) {
  char message[128];
  std::snprintf(message, sizeof message, format, a, b);
  FTM_sendError(code, message);
}

}  // namespace

int FTM_getFileType(const char* name) {
  const char* dot = std::strrchr(name, '.');
  if (dot == nullptr) return FTM_FILE_PLAIN;
  if (std::strcmp(dot, ".upg") == 0) return FTM_FILE_UPG;
  if (std::strcmp(dot, ".hex") == 0) return FTM_FILE_HEX;
  return FTM_FILE_PLAIN;
}

int TFTP_write(const uint8_t* request, int length, uint16_t* lastBlock) {
  char name[kTftpBlockSize + 1];
  TftpRequestName(request, length, name, sizeof name);
  *lastBlock = 0;

  // One byte more than the buffer's size for the NUL the dispatch needs.
  std::unique_ptr<uint8_t[]> buffer(new (std::nothrow) uint8_t[kFtmUploadBufferSize + 1]);
  if (!buffer) {
    FTM_sendError(0, "Write data failed");
    return -1;
  }
  const int type = FTM_getFileType(name);
  uint16_t dataLength = kTftpBlockSize;
  uint16_t block = 0;
  uint16_t lastGood = 0;
  int retries = 0;
  int total = 0;
  bool ok = false;

  for (;;) {
    if (dataLength != kTftpBlockSize) {  // a short block ended the file
      if (type == FTM_FILE_PLAIN) {
        buffer[total] = 0;
        FtmErrorInfo* error = FTM_PutFile(reinterpret_cast<char*>(buffer.get()), name);
        if (error != nullptr) {
          FTM_sendError(error->code, error->message);
        } else {
          FTM_sendAck(block);
        }
      }
      ok = true;
      break;
    }
    FTM_sendAck(block);
    const uint16_t expected = static_cast<uint16_t>(lastGood + 1);
    uint8_t* store = type == FTM_FILE_PLAIN ? buffer.get() + total : buffer.get();
    int rc = FTM_getData(store, &dataLength, &block);
    if (rc == -2) {
      if (retries < kMaxRetries) {
        ++retries;
        block = lastGood;
        dataLength = kTftpBlockSize;
        continue;
      }
      SendErrorf(0, "Timed out on data packet, expected block = %d", expected);
      SendErrorf(0, "Bad data packet, expected block = %d", expected);
      break;
    }
    if (rc == -1) {
      SendErrorf(0, "Bad data packet, expected block = %d", expected);
      break;
    }
    if (dataLength > kTftpBlockSize) {
      SendErrorf(0, "data_len = %d", dataLength);
      break;
    }
    if (block == expected) {
      if (type == FTM_FILE_PLAIN) {
        total += dataLength;
        if (total > kFtmMaxUpload) {
          FTM_sendError(3, "file allocation size exceeded");
          break;
        }
      } else if (block != 1 && dataLength != kTftpBlockSize) {
        FTM_sendAck(block);
        if (type == FTM_FILE_HEX) FtmUsleep(kHexPauseMicros);
        ok = true;
        break;
      }
      lastGood = block;
      retries = 0;
      continue;
    }
    if (block == static_cast<uint16_t>(expected - 1)) continue;  // a repeat: ACK it again
    SendErrorf(0, "expected block %d - received block %d", expected, block);
    break;
  }
  if (!ok) return -1;
  *lastBlock = block;
  return 0;
}
