// Downloads: the catalogue builds the named report as one NUL-terminated
// text, which goes out in 512-byte DATA blocks, each waiting for its ACK.
#include <syslog.h>

#include <cstdio>

#include "core/ftm_conn.h"
#include "dispatch/ftm_catalog.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "tftp/tftp_packet.h"
#include "tftp/tftp_transfer.h"

int TFTP_read(const uint8_t* request, int length) {
  char name[kTftpBlockSize + 1];
  TftpRequestName(request, length, name, sizeof name);

  // The task takes the station's ACKs itself from here on; the main thread
  // steps aside while the report is built, before the first block leaves.
  FtmTaskReceiving receiving;
  FtmErrorInfo* error = nullptr;
  const char* text = FTM_GetFile(name, &error);
  if (text == nullptr) {
    if (error != nullptr) {
      FTM_sendError(error->code, error->message);
    } else {
      FTM_sendError(0, "");
    }
    FtmLogSyslog(LOG_ERR, "TFTP read: invalid filename");
    return -1;
  }

  uint8_t data[kTftpBlockSize];
  uint16_t block = 1;
  for (;;) {
    int count = 0;
    bool end = false;
    // The NUL is looked for only while the block has room, so a text whose
    // length is a multiple of 512 ends with an empty block.
    while (count < kTftpBlockSize) {
      if (*text == '\0') {
        end = true;
        break;
      }
      data[count++] = static_cast<uint8_t>(*text++);
    }
    bool resend = true;  // one resend per block, by time-out or repeated ACK
    for (;;) {
      FTM_sendData(data, count, block);
      uint16_t acked = 0;
      int rc = FTM_getAck(&acked);
      if (rc == -2) {
        if (resend) {
          resend = false;
          continue;
        }
        FtmLogConsole("read(): error response to resent packet; abort send\n");
        return -1;
      }
      if (acked == block) break;
      if (acked == static_cast<uint16_t>(block - 1) && resend) {
        resend = false;
        continue;
      }
      FtmLogConsole("read(): expected ACK for block %d - got block %d\n", block, acked);
      char message[96];
      std::snprintf(message, sizeof message, "expected ACK for block %d - got block %d\n", block,
                    acked);
      FTM_sendError(0, message);
      return -1;
    }
    if (end) return 0;
    block = static_cast<uint16_t>(block + 1);
  }
}
