#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/ftm_conn.h"

namespace {

sockaddr_in Endpoint(const char* ip, int port) {
  sockaddr_in a;
  std::memset(&a, 0, sizeof a);
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  inet_pton(AF_INET, ip, &a.sin_addr);
  return a;
}

void Drain() {
  uint8_t buf[kFtmPacketSize];
  while (ftm_GetRcvTFTPData(buf) != 0) {
  }
}

class ConnTest : public testing::Test {
 protected:
  void SetUp() override {
    FtmClearConnections();
    Drain();
  }
  void TearDown() override { Drain(); }
  void Receive(const sockaddr_in& from, const std::string& bytes = "x") {
    ftm_ProcessRcvTFTPData(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &from);
  }
};

TEST_F(ConnTest, EndpointsTakeEntriesInOrderAndKeepThem) {
  testing::internal::CaptureStdout();
  Receive(Endpoint("10.0.0.1", 1000));
  EXPECT_EQ(FtmCurrentConnectionIndex(), 0);
  Receive(Endpoint("10.0.0.1", 1001));  // a new port is a new endpoint
  EXPECT_EQ(FtmCurrentConnectionIndex(), 1);
  Receive(Endpoint("10.0.0.1", 1000));
  EXPECT_EQ(FtmCurrentConnectionIndex(), 0);
  TftpConnection e = FtmConnectionEntry(1);
  EXPECT_EQ(e.countdown, 120u);
  EXPECT_EQ(ntohs(e.client.sin_port), 1001);
  EXPECT_EQ(e.client.sin_family, AF_INET);
  sockaddr_in current;
  ASSERT_EQ(FtmCurrentClient(&current), 0);
  EXPECT_EQ(ntohs(current.sin_port), 1000);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(ConnTest, FullTableGivesUpEntryZero) {
  testing::internal::CaptureStdout();
  for (int i = 0; i < kFtmMaxConnections; ++i) Receive(Endpoint("10.0.0.2", 2000 + i));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  testing::internal::CaptureStdout();
  Receive(Endpoint("10.0.0.3", 3000));
  EXPECT_EQ(FtmCurrentConnectionIndex(), 0);
  Receive(Endpoint("10.0.0.3", 3001));
  EXPECT_EQ(FtmCurrentConnectionIndex(), 0);
  Receive(Endpoint("10.0.0.2", 2050));  // still known: no eviction
  EXPECT_EQ(FtmCurrentConnectionIndex(), 50);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Close Old Connection 0\nClose Old Connection 0\n");
  for (int i = 1; i < kFtmMaxConnections; ++i) {
    EXPECT_EQ(ntohs(FtmConnectionEntry(i).client.sin_port), 2000 + i);
  }
  EXPECT_EQ(ntohs(FtmConnectionEntry(0).client.sin_port), 3001);
}

TEST_F(ConnTest, QueueIsFirstInFirstOut) {
  sockaddr_in a = Endpoint("10.0.0.4", 4000);
  Receive(a, "one");
  Receive(a, std::string(kFtmPacketSize, 'z'));
  Receive(a, "three!");
  uint8_t buf[kFtmPacketSize + 8];
  EXPECT_EQ(ftm_GetRcvTFTPData(nullptr), 0);  // leaves the queue as it is
  ASSERT_EQ(ftm_GetRcvTFTPData(buf), 3);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), 3), "one");
  ASSERT_EQ(ftm_GetRcvTFTPData(buf), kFtmPacketSize);
  EXPECT_EQ(buf[kFtmPacketSize - 1], 'z');
  ASSERT_EQ(ftm_GetRcvTFTPData(buf), 6);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), 6), "three!");
  EXPECT_EQ(ftm_GetRcvTFTPData(buf), 0);
}

TEST_F(ConnTest, BoundedQueueDropsWithMessage) {
  sockaddr_in a = Endpoint("10.0.0.5", 5000);
  testing::internal::CaptureStdout();
  for (int i = 0; i < kFtmQueueLimit + 2; ++i) Receive(a, std::to_string(i));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ftm_ProcessRcvTFTPData: Unable to allocate buffer\n"
            "ftm_ProcessRcvTFTPData: Unable to allocate buffer\n");
  uint8_t buf[kFtmPacketSize];
  int taken = 0;
  while (ftm_GetRcvTFTPData(buf) != 0) ++taken;
  EXPECT_EQ(taken, kFtmQueueLimit);
  Receive(a, "again");  // room again once drained
  EXPECT_EQ(ftm_GetRcvTFTPData(buf), 5);
}

}  // namespace
