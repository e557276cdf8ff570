// The transfer task: the daemon's second thread. It brings up the wireless
// interfaces, then serves the station's requests one at a time from the
// packet queue, one datagram per 250 ms tick.
#ifndef FTM_TFTP_TFTP_TASK_H_
#define FTM_TFTP_TFTP_TASK_H_

#include <cstdint>

// The thread body; never returns.
[[noreturn]] void TFTP_task();

// One tick's handling of a datagram taken from the queue (length 0 = none
// taken); the task's grace counter and last block live behind it. Exposed so
// that the datagram fuzzer can drive ticks without the 250 ms pause.
void FtmTaskHandle(const uint8_t* datagram, int length);

#endif  // FTM_TFTP_TFTP_TASK_H_
