// The packet queue between the intake and the transfer task: oldest first,
// each datagram with its own length, and a bound that a flood cannot pass.
// The connection table is tested over real UDP (test_spine.py).
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>

#include "core/ftm_conn.h"

namespace {

TEST(PacketQueue, FirstInFirstOutWithinItsBound) {
  sockaddr_in station = {};
  station.sin_family = AF_INET;
  station.sin_port = htons(4000);
  auto receive = [&station](const std::string& bytes) {
    ftm_ProcessRcvTFTPData(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &station);
  };
  uint8_t buffer[kTftpPacketSize];
  testing::internal::CaptureStdout();
  for (int i = 0; i < kFtmQueueLimit + 2; ++i)
    receive(i == 1 ? std::string(516, 'z') : "#" + std::to_string(i));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ftm_ProcessRcvTFTPData: Unable to allocate buffer\n"
            "ftm_ProcessRcvTFTPData: Unable to allocate buffer\n");
  EXPECT_EQ(ftm_GetRcvTFTPData(nullptr), 0);  // and the queue stays as it is
  for (int i = 0; i < kFtmQueueLimit; ++i) {
    const std::string want = i == 1 ? std::string(516, 'z') : "#" + std::to_string(i);
    ASSERT_EQ(ftm_GetRcvTFTPData(buffer), static_cast<int>(want.size()));
    ASSERT_EQ(std::string(reinterpret_cast<char*>(buffer), want.size()), want);
  }
  EXPECT_EQ(ftm_GetRcvTFTPData(buffer), 0);
  receive("again");  // room again once drained
  EXPECT_EQ(ftm_GetRcvTFTPData(buffer), 5);
}

}  // namespace
