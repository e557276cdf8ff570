// The transfer task's handling of one datagram per tick, with replies caught
// on a loopback socket standing in for the station.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "core/FTM_Task.h"
#include "core/ftm_conn.h"
#include "recording_platform.h"
#include "tftp/tftp_packet.h"
#include "tftp/tftp_task.h"

namespace {

std::string Packet(uint16_t op, uint16_t field, const std::string& rest = "") {
  std::string p(4, '\0');
  p[0] = static_cast<char>(op >> 8);
  p[1] = static_cast<char>(op);
  p[2] = static_cast<char>(field >> 8);
  p[3] = static_cast<char>(field);
  return p + rest;
}

// A request: opcode, then the name and mode strings as given.
std::string Request(uint16_t op, const std::string& rest) {
  return Packet(op, 0).substr(0, 2) + rest;
}

class TaskTest : public testing::Test {
 protected:
  void SetUp() override {
    FtmClearConnections();
    server_ = Bound();
    station_ = Bound();
    FtmListenSocket = server_;
    socklen_t len = sizeof station_addr_;
    getsockname(station_, reinterpret_cast<sockaddr*>(&station_addr_), &len);
    timeval tv = {0, 200000};
    setsockopt(station_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    // Leave any grace from an earlier test.
    for (int i = 0; i < 12; ++i) FtmTaskHandle(nullptr, 0);
  }
  void TearDown() override {
    close(server_);
    close(station_);
    FtmListenSocket = -1;
  }
  static int Bound() {
    int s = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a;
    std::memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
    return s;
  }
  // The intake files the datagram as the station's.
  void Queue(const std::string& p) {
    ftm_ProcessRcvTFTPData(reinterpret_cast<const uint8_t*>(p.data()), p.size(), &station_addr_);
  }
  // One tick: take one datagram and handle it.
  void Tick() {
    uint8_t buf[kFtmPacketSize];
    FtmTaskHandle(buf, ftm_GetRcvTFTPData(buf));
  }
  std::string Reply() {
    char buf[600];
    ssize_t n = recv(station_, buf, sizeof buf, 0);
    return n < 0 ? std::string("<none>") : std::string(buf, static_cast<size_t>(n));
  }

  RecordingPlatform platform_;
  int server_ = -1, station_ = -1;
  sockaddr_in station_addr_;
};

TEST_F(TaskTest, GraceAnswersOneLateBlockAfterAnUpload) {
  Queue(Request(TFTP_WRQ, std::string("unknown.xml\0octet", 17)));
  Queue(Packet(TFTP_DATA, 1, "hello"));
  Tick();
  EXPECT_EQ(Reply(), Packet(TFTP_ACK, 0));
  // The name is refused after the whole file came in, in place of the ACK.
  EXPECT_EQ(Reply(), Packet(TFTP_ERROR, 0, "File Not Supported") + '\0');
  EXPECT_EQ(FtmTaskGraceCounter(), 11);
  for (int i = 0; i < 10; ++i) Tick();  // idle ticks count the grace down
  EXPECT_EQ(FtmTaskGraceCounter(), 1);
  Queue(Packet(TFTP_DATA, 77, "late"));  // whatever its block number
  Tick();
  EXPECT_EQ(Reply(), Packet(TFTP_ACK, 1));
  Queue(Packet(TFTP_DATA, 1, "again"));  // only the first is answered
  Tick();
  EXPECT_EQ(Reply(), "<none>");
}

TEST_F(TaskTest, GraceRefusesLateBlockOfAFailedUploadAndEnds) {
  Queue(Request(TFTP_WRQ, std::string("a.xml\0", 6)));
  Queue(Packet(TFTP_ACK, 0));  // not DATA: the upload fails
  Tick();
  EXPECT_EQ(Reply(), Packet(TFTP_ACK, 0));
  EXPECT_EQ(Reply(), Packet(TFTP_ERROR, 0, "Bad data packet, expected block = 1") + '\0');
  Queue(Packet(TFTP_DATA, 1, "x"));
  Tick();
  EXPECT_EQ(Reply(), Packet(TFTP_ERROR, 0, "receive block error") + '\0');
  // After eleven idle ticks a late block is dropped silently.
  Queue(Request(TFTP_WRQ, std::string("b.upg\0", 6)));
  Queue(Packet(TFTP_DATA, 1, std::string(512, 'i')));
  Queue(Packet(TFTP_DATA, 2, "end"));
  Tick();
  EXPECT_EQ(Reply(), Packet(TFTP_ACK, 0));
  EXPECT_EQ(Reply(), Packet(TFTP_ACK, 1));
  EXPECT_EQ(Reply(), Packet(TFTP_ACK, 2));
  for (int i = 0; i < 11; ++i) Tick();
  EXPECT_EQ(FtmTaskGraceCounter(), 0);
  Queue(Packet(TFTP_DATA, 2, "end"));
  Tick();
  EXPECT_EQ(Reply(), "<none>");
}

TEST_F(TaskTest, InvalidOpcodesAreLoggedAndDownloadsEndTheGrace) {
  Queue(Request(TFTP_WRQ, std::string("c.upg\0", 6)));
  Queue(Packet(TFTP_DATA, 1, std::string(512, 'i')));
  Queue(Packet(TFTP_DATA, 2, "x"));
  Tick();
  for (int i = 0; i < 3; ++i) Reply();
  Queue(Packet(TFTP_ACK, 3));
  Queue(std::string("\x00", 1));
  Queue(Packet(9, 9));
  platform_.calls.clear();
  Tick();
  Tick();
  Tick();
  const std::string logged =
      "syslog " + std::to_string(LOG_ERR) + " TFTP_task: received invalid opcode";
  EXPECT_EQ(platform_.calls, (std::vector<std::string>{logged, logged, logged}));
  EXPECT_EQ(FtmTaskGraceCounter(), 8);  // invalid opcodes count as idle
  Queue(Request(TFTP_RRQ, "none"));     // a name without its NUL
  Tick();
  EXPECT_EQ(Reply(), Packet(TFTP_ERROR, 0, "File Not Supported") + '\0');
  EXPECT_EQ(FtmTaskGraceCounter(), 0);
  Queue(Packet(TFTP_DATA, 3, "x"));
  Tick();
  EXPECT_EQ(Reply(), "<none>");
}

}  // namespace
