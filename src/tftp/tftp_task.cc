#include "tftp/tftp_task.h"

#include <syslog.h>

#include <cstdio>

#include "board/board_command.h"
#include "core/ftm_conn.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "tftp/tftp_packet.h"
#include "tftp/tftp_transfer.h"

namespace {

int g_grace = 0;
uint16_t g_lastBlock = 0;

const char* const kStartCommands[] = {
    "wlanconfig ath0 create wlandev wifi0 wlanmode ap",
    "wlanconfig ath4 create wlandev wifi1 wlanmode ap",
    "brctl addif br0 ath0",
    "brctl addif br0 ath4",
};

}  // namespace

void FtmTaskHandle(const uint8_t* datagram, int length) {
  bool idle = true;
  if (length > 0) {
    // A one-byte datagram has no opcode; it counts as an invalid one.
    switch (TftpOpcodeOf(datagram, length)) {
      case TFTP_WRQ:
        TFTP_write(datagram, length, &g_lastBlock);
        g_grace = kTftpGraceTicks;
        idle = false;
        break;
      case TFTP_DATA:
        // A station that missed the final ACK repeats its last block: the
        // first repeat within the grace period is answered once.
        if (g_grace != 0) {
          if (g_lastBlock != 0) {
            FTM_sendAck(g_lastBlock);
          } else {
            FTM_sendError(0, "receive block error");
          }
          g_grace = 0;
        }
        idle = false;
        break;
      case TFTP_RRQ:
        TFTP_read(datagram, length);
        g_grace = 0;
        idle = false;
        break;
      default:
        FtmLogSyslog(LOG_ERR, "TFTP_task: received invalid opcode");
        break;
    }
  }
  if (idle && g_grace > 0) --g_grace;
}

void TFTP_task() {
  for (const char* line : kStartCommands) FtmRunCommand("%s", line);
  uint8_t datagram[kTftpPacketSize];
  for (;;) {
    FtmTaskHandle(datagram, ftm_GetRcvTFTPData(datagram));
    FtmUsleep(kTftpTickMicros);
  }
}
