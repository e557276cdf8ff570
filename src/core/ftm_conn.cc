#include "core/ftm_conn.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/ftm_log.h"
#include "platform/platform.h"

int FtmListenSocket = -1;

namespace {

// Table mutex: the table and the current connection.
std::mutex g_tableMutex;
TftpConnection g_table[kFtmMaxConnections];
// The current connection is read for every send while the intake may be
// moving it; an atomic index keeps that one word consistent, and the client
// address itself is copied out under the table mutex.
std::atomic<int> g_current{-1};

// Queue mutex: the head and the links. The head is atomic because the take
// looks at it before locking (only the take removes nodes, so a head seen
// non-empty stays so).
std::mutex g_queueMutex;
std::condition_variable g_queued;
std::atomic<QueuedPacket*> g_head{nullptr};
int g_queueCount = 0;

bool SameEndpoint(const sockaddr_in& a, const sockaddr_in& b) {
  return a.sin_addr.s_addr == b.sin_addr.s_addr && a.sin_port == b.sin_port;
}

void GiveEntry(TftpConnection& entry, const sockaddr_in& source) {
  entry.countdown = kFtmConnectionCountdown;
  entry.client = source;
  entry.transferState = 0;
}

int FindOrAssign(const sockaddr_in& source) {
  {
    std::lock_guard<std::mutex> lock(g_tableMutex);
    for (int i = 0; i < kFtmMaxConnections; ++i) {
      if (g_table[i].countdown != 0 && SameEndpoint(g_table[i].client, source)) {
        g_table[i].countdown = kFtmConnectionCountdown;
        return i;
      }
    }
  }
  std::lock_guard<std::mutex> lock(g_tableMutex);
  for (int i = 0; i < kFtmMaxConnections; ++i) {
    if (g_table[i].countdown == 0) {
      GiveEntry(g_table[i], source);
      return i;
    }
  }
  // Full: evict the smallest countdown, the lowest index among equals.
  int victim = 0;
  for (int i = 1; i < kFtmMaxConnections; ++i) {
    if (g_table[i].countdown < g_table[victim].countdown) victim = i;
  }
  TftpConnection& entry = g_table[victim];
  std::free(entry.firstBuffer);
  std::free(entry.secondBuffer);
  entry.firstBuffer = nullptr;
  entry.secondBuffer = nullptr;
  GiveEntry(entry, source);
  FtmLogConsole("Close Old Connection %d\n", victim);
  return victim;
}

}  // namespace

void FtmClearConnections() {
  std::lock_guard<std::mutex> lock(g_tableMutex);
  std::memset(g_table, 0, sizeof g_table);
  g_current.store(-1);
}

void ftm_ProcessRcvTFTPData(const uint8_t* data, size_t count, const sockaddr_in* source) {
  if (count > kTftpPacketSize) count = kTftpPacketSize;
  g_current.store(FindOrAssign(*source));
  {
    std::lock_guard<std::mutex> lock(g_queueMutex);
    QueuedPacket* node = nullptr;
    if (g_queueCount < kFtmQueueLimit) node = new (std::nothrow) QueuedPacket();
    if (node == nullptr) {
      FtmLogConsole("ftm_ProcessRcvTFTPData: Unable to allocate buffer\n");
      return;
    }
    std::memcpy(node->payload, data, count);
    node->length = static_cast<uint16_t>(count);
    QueuedPacket* head = g_head.load();
    if (head == nullptr) {
      g_head.store(node);
    } else {
      while (head->next != nullptr) head = head->next;
      head->next = node;
    }
    ++g_queueCount;
  }
  // Woken after the unlock, the transfer task finds the queue free to take.
  g_queued.notify_one();
}

int ftm_GetRcvTFTPData(uint8_t* destination) {
  if (destination == nullptr || g_head.load() == nullptr) return 0;
  std::lock_guard<std::mutex> lock(g_queueMutex);
  QueuedPacket* node = g_head.load();
  int length = node->length;
  std::memcpy(destination, node->payload, length);
  g_head.store(node->next);
  --g_queueCount;
  delete node;
  return length;
}

namespace {

// Receiving (see the header): one thread receives at a time, under this
// mutex, so datagrams are filed in the order they came.
std::mutex g_receiveMutex;
std::condition_variable g_mainMayReceive;
bool g_taskReceives = false;
// Rung when the task starts receiving: the main thread, waiting on the
// socket, gets out of the way at once rather than when the station's
// answer wakes both threads, which would put its wake-up in the answer's
// path. Without it (it failed to open) the main thread steps aside then.
std::atomic<int> g_stepAside{-1};

// Files one datagram waiting on the socket; false when none waits. A failed
// receive ends the daemon, whichever thread meets it; the board logs it
// twice, with a line end and then as the fatal exit's message.
bool ReceiveOne() {
  uint8_t buffer[kTftpPacketSize];
  sockaddr_in source;
  socklen_t length = sizeof source;
  ssize_t count = ::recvfrom(FtmListenSocket, buffer, sizeof buffer, MSG_DONTWAIT,
                             reinterpret_cast<sockaddr*>(&source), &length);
  if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return false;
  if (count <= 0) FtmFatalExit("recvfrom() failed", nullptr, "recvfrom() failed\n");
  ftm_ProcessRcvTFTPData(buffer, static_cast<size_t>(count), &source);
  return true;
}

bool TaskReceives() {
  std::lock_guard<std::mutex> lock(g_receiveMutex);
  return g_taskReceives;
}

// The transfer task's wait while it receives: until a datagram is queued or
// the deadline passes.
void WatchSocket(std::chrono::steady_clock::time_point deadline) {
  while (g_head.load() == nullptr) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return;
    const timespec wait = {static_cast<time_t>(left.count() / 1000000000),
                           static_cast<long>(left.count() % 1000000000)};
    pollfd socket = {FtmListenSocket, POLLIN, 0};
    if (::ppoll(&socket, 1, &wait, nullptr) <= 0) continue;
    std::lock_guard<std::mutex> lock(g_receiveMutex);
    ReceiveOne();
  }
}

}  // namespace

void FtmReceive() {
  static const int stepAside = g_stepAside = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  pollfd waits[] = {{FtmListenSocket, POLLIN, 0}, {stepAside, POLLIN, 0}};
  if (::poll(waits, stepAside >= 0 ? 2 : 1, -1) < 0 && errno != EINTR) {
    FtmFatalExit("recvfrom() failed", nullptr, "recvfrom() failed\n");
  }
  uint64_t rings;
  if (waits[1].revents != 0 && ::read(stepAside, &rings, sizeof rings) < 0) {
    // Nothing to clear: another read took the count.
  }
  std::unique_lock<std::mutex> lock(g_receiveMutex);
  g_mainMayReceive.wait(lock, [] { return !g_taskReceives; });
  ReceiveOne();
}

FtmTaskReceiving::FtmTaskReceiving() : active_(FtmListenSocket >= 0) {
  if (!active_) return;
  std::lock_guard<std::mutex> lock(g_receiveMutex);
  g_taskReceives = true;
  const uint64_t ring = 1;
  const int stepAside = g_stepAside.load();
  if (stepAside >= 0 && ::write(stepAside, &ring, sizeof ring) < 0) {
    // The main thread then steps aside at the first datagram instead.
  }
}

FtmTaskReceiving::~FtmTaskReceiving() {
  if (!active_) return;
  {
    std::lock_guard<std::mutex> lock(g_receiveMutex);
    g_taskReceives = false;
  }
  g_mainMayReceive.notify_one();
}

void FtmFileWaiting() {
  std::lock_guard<std::mutex> lock(g_receiveMutex);
  if (!g_taskReceives) return;
  while (ReceiveOne()) {
  }
}

bool FtmPollPeriod::Wait() {
  using Clock = std::chrono::steady_clock;
  if (!running_) {
    running_ = true;
    deadline_ = Clock::now() + std::chrono::microseconds(FtmPlatform().ScaleMicros(micros_));
  }
  // A period already over (always, with the board's time compressed to
  // nothing) goes without a wait: even a wait that times out at once costs a
  // trip through the scheduler.
  if (Clock::now() < deadline_) {
    if (TaskReceives()) {
      WatchSocket(deadline_);
    } else {
      std::unique_lock<std::mutex> lock(g_queueMutex);
      g_queued.wait_until(lock, deadline_, [] { return g_head.load() != nullptr; });
    }
    if (Clock::now() < deadline_) return false;
  }
  running_ = false;
  return true;
}

int FtmCurrentClient(sockaddr_in* client) {
  std::lock_guard<std::mutex> lock(g_tableMutex);
  int index = g_current.load();
  if (index < 0) return -1;
  *client = g_table[index].client;
  return 0;
}
