// Uploads: the station's file is received block by block into memory and
// handed whole, NUL-terminated, to the upload dispatch, whose verdict
// replaces the last ACK. Image files are acknowledged and discarded.
//
// The rules, at a glance:
// - Every pass acknowledges the current block and waits for the next one.
// - A block shorter than 512 bytes ends the file (also a short repeat).
// - A time-out acknowledges the last good block again, three times; the
//   fourth gives up.
// - A repeat of the last good block is acknowledged again and changes
//   nothing; any other wrong block number, or a packet that is not DATA,
//   ends the upload.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "core/ftm_conn.h"
#include "dispatch/ftm_catalog.h"
#include "platform/platform.h"
#include "tftp/tftp_packet.h"
#include "tftp/tftp_transfer.h"

namespace {

constexpr unsigned long kHexPauseMicros = 3000000;

void SendErrorf(uint16_t code, const char* format, int a, int b = 0) {
  char message[128];
  std::snprintf(message, sizeof message, format, a, b);
  FTM_sendError(code, message);
}

// One upload in progress.
struct Upload {
  char name[kTftpBlockSize + 1];
  int type;
  // The transfer buffer (kTftpUploadBufferSize, kTftpUploadLimit).
  std::unique_ptr<uint8_t[]> buffer;
  int total = 0;                         // bytes of a plain file stored so far
  uint16_t block = 0;                    // the block the next ACK names
  uint16_t dataLength = kTftpBlockSize;  // of the block last taken
  uint16_t lastGood = 0;
  int retries = 0;
};

// kDone: an image's last block was acknowledged.
enum class Step { kNextBlock, kDone, kFailed };

// A plain file is complete: its text goes to the dispatch, whose verdict
// takes the place of the last ACK.
void FinishPlainFile(Upload* u) {
  u->buffer[u->total] = 0;
  FtmErrorInfo* error = FTM_PutFile(reinterpret_cast<char*>(u->buffer.get()), u->name);
  if (error != nullptr) {
    FTM_sendError(error->code, error->message);
  } else {
    FTM_sendAck(u->block);
  }
}

// Waits for the block after the last good one and takes it.
Step ReceiveBlock(Upload* u) {
  const uint16_t expected = static_cast<uint16_t>(u->lastGood + 1);
  // Images are not kept: every block goes over the previous one.
  uint8_t* store = u->type == FTM_FILE_PLAIN ? u->buffer.get() + u->total : u->buffer.get();
  switch (FTM_getData(store, &u->dataLength, &u->block)) {
    case -2:  // time-out: acknowledge the last good block again
      if (u->retries < kTftpUploadRetries) {
        ++u->retries;
        u->block = u->lastGood;
        u->dataLength = kTftpBlockSize;
        return Step::kNextBlock;
      }
      SendErrorf(0, "Timed out on data packet, expected block = %d", expected);
      SendErrorf(0, "Bad data packet, expected block = %d", expected);
      return Step::kFailed;
    case -1:
      SendErrorf(0, "Bad data packet, expected block = %d", expected);
      return Step::kFailed;
    default:
      break;
  }
  if (u->dataLength > kTftpBlockSize) {
    SendErrorf(0, "data_len = %d", u->dataLength);
    return Step::kFailed;
  }
  if (u->block == static_cast<uint16_t>(expected - 1)) return Step::kNextBlock;  // a repeat
  if (u->block != expected) {
    SendErrorf(0, "expected block %d - received block %d", expected, u->block);
    return Step::kFailed;
  }
  if (u->type == FTM_FILE_PLAIN) {
    u->total += u->dataLength;
    if (u->total > kTftpUploadLimit) {
      FTM_sendError(3, "file allocation size exceeded");
      return Step::kFailed;
    }
  } else if (u->block != 1 && u->dataLength != kTftpBlockSize) {
    // Block 1 is never an image's last block: a short block 1 ends the
    // upload in the loop, unanswered, and the grace period answers its resend.
    // Nothing is dispatched; a ".hex" image is followed by a pause of the
    // task once the transfer is over.
    FTM_sendAck(u->block);
    return Step::kDone;
  }
  u->lastGood = u->block;
  u->retries = 0;
  return Step::kNextBlock;
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
  *lastBlock = 0;
  Upload u;
  TftpRequestName(request, length, u.name, sizeof u.name);
  u.buffer.reset(new (std::nothrow) uint8_t[kTftpUploadBufferSize]);
  if (!u.buffer) {
    FTM_sendError(0, "Write data failed");
    return -1;
  }
  u.type = FTM_getFileType(u.name);
  Step end = Step::kNextBlock;  // left so when a short block ended the file
  {
    // The blocks' exchange: the task takes the station's blocks itself.
    // The handler and the pause after a ".hex" image come after it, with
    // the main thread receiving again.
    FtmTaskReceiving receiving;
    while (end == Step::kNextBlock && u.dataLength == kTftpBlockSize) {
      FTM_sendAck(u.block);
      end = ReceiveBlock(&u);
    }
  }
  if (end == Step::kFailed) return -1;
  if (end == Step::kNextBlock && u.type == FTM_FILE_PLAIN) FinishPlainFile(&u);
  if (end == Step::kDone && u.type == FTM_FILE_HEX) FtmUsleep(kHexPauseMicros);
  *lastBlock = u.block;
  return 0;
}
