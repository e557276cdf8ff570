// What the receiving main thread and the transfer task share: the listening
// socket, the connection table and the packet queue. The intake files every
// datagram under its client's entry, makes that entry the current connection
// (the one every reply goes to) and queues a copy; the transfer task takes
// the copies, oldest first, and sends every reply through the socket. The
// receiving, the table and the queue are locked here and nowhere else.
#ifndef FTM_CORE_FTM_CONN_H_
#define FTM_CORE_FTM_CONN_H_

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "tftp/tftp_wire.h"

constexpr int kFtmMaxConnections = 100;
constexpr uint32_t kFtmConnectionCountdown = 120;
// Most datagrams the queue holds at once; one more is refused like a failed
// allocation, so a flood cannot eat the board's memory.
constexpr int kFtmQueueLimit = 512;

// One entry of the connection table.
struct TftpConnection {
  struct sockaddr_in client;  // as the receive reported it
  uint32_t countdown;         // 0 = free
  uint32_t transferState;     // cleared whenever the entry changes hands
  void* firstBuffer;          // released (free) when the entry is evicted
  void* secondBuffer;
};

// One node of the packet queue.
struct QueuedPacket {
  uint16_t length;
  uint8_t payload[kTftpPacketSize];
  QueuedPacket* next;
};

// The listening UDP socket (-1 until start-up opens it). Only the transfer
// task sends on it; which thread receives is settled under the receive lock.
extern int FtmListenSocket;

// Clears the whole table: every entry free, no current connection.
void FtmClearConnections();

// The intake, main thread only: count is 1 to 516.
void ftm_ProcessRcvTFTPData(const uint8_t* data, size_t count, const struct sockaddr_in* source);

// Takes the oldest queued datagram into destination (516 bytes or more) and
// returns its length; 0 when destination is null or nothing is queued.
// Transfer task only.
int ftm_GetRcvTFTPData(uint8_t* destination);

// The transfer task's polls wait here instead of sleeping blindly, so that a
// datagram already queued is taken without delay.
//
// A poll period: an empty poll starts it, and it has passed only when its
// whole time has, however many datagrams arrive and are taken meanwhile. So
// a time-out counted in periods keeps its length whatever a station sends.
// While the task receives (FtmTaskReceiving), the wait watches the socket
// and files what comes; otherwise it blocks on the queue's condition.
// Nothing spins: a spinning thread would hold a CPU that the receiving
// thread and, on a station's own machine, the station need.
class FtmPollPeriod {
 public:
  explicit FtmPollPeriod(unsigned long micros) : micros_(micros) {}
  // Waits until a datagram is queued or the current period ends (starting
  // one if none runs). True when the period has passed; the next call starts
  // a new one.
  bool Wait();

 private:
  unsigned long micros_;
  bool running_ = false;
  std::chrono::steady_clock::time_point deadline_;
};

// Receiving. The main thread waits for every datagram on the listening
// socket and files it through the intake, except during a transfer: the
// transfer task then takes what comes itself, through the same intake, so a
// station's answer wakes one thread, not the main thread and then the task.
// One thread receives at a time, so datagrams are filed in the order they
// came; a failed receive ends the daemon in either thread.

// The main thread's receive: waits for a datagram and files it, or waits
// while the transfer task receives.
void FtmReceive();

// While one lives, the transfer task receives (a transfer's scope). Without
// a listening socket (as in tests that feed the intake themselves) it does
// nothing and the waits watch the queue alone.
class FtmTaskReceiving {
 public:
  FtmTaskReceiving();
  ~FtmTaskReceiving();
  FtmTaskReceiving(const FtmTaskReceiving&) = delete;
  FtmTaskReceiving& operator=(const FtmTaskReceiving&) = delete;

 private:
  bool active_;
};

// Files every datagram already waiting on the socket while the task
// receives, so that a reply goes to the sender of the latest one, as when
// the main thread files each at once. Transfer task only; nothing otherwise.
void FtmFileWaiting();

// Copies the current connection's client address; -1 before any datagram.
int FtmCurrentClient(struct sockaddr_in* client);

#endif  // FTM_CORE_FTM_CONN_H_
