#include "core/FTM_Task.h"

#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "board/gpio.h"
#include "core/ftm_conn.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "tftp/tftp_task.h"

namespace {

pthread_t g_taskThread;

void* TaskEntry(void*) {
  TFTP_task();
}

[[noreturn]] void ReceiveLoop() {
  for (;;) FtmReceive();
}

}  // namespace

void FtmMain() {
  FtmLogSyslog(LOG_INFO, "FTM Started\n");
  FtmClearConnections();

  if (::pthread_create(&g_taskThread, nullptr, TaskEntry, nullptr) != 0) {
    FtmFatalExit("ftmd FATAL: failed to start tftp_task thread");
  }
  ::pthread_detach(g_taskThread);

  FtmListenSocket = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  if (FtmListenSocket < 0) FtmFatalExit("socket() failed");
  sockaddr_in address;
  std::memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  address.sin_port = htons(static_cast<uint16_t>(FtmPlatform().TftpPort()));
  if (::bind(FtmListenSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    FtmFatalExit("bind() failed");
  }

  FtmRunCommand("rmmod NetUSB");
  GpioStartupLteCycle();
  FtmRunCommand("switch_utility RegisterSet 0xccd 0x0");
  FtmRunCommand("switch_utility RegisterSet 0xc50 0x1805");
  FtmPlatform().Unlink("/PRST/current.cfg");
  FtmPlatform().Unlink("/PRST/current.bak");
  FtmPlatform().Unlink("/PRST/DSL_MODE");

  ReceiveLoop();
}
