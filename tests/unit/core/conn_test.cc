// The packet queue between the intake and the transfer task: oldest first,
// each datagram with its own length, and a bound that a flood cannot pass.
// The connection table is tested over real UDP (test_spine.py). The grace
// period after an upload, counted in the task's idle passes, is tested here
// pass by pass, which no test over the wire can time exactly.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "core/ftm_conn.h"
#include "sim_board_fixture.h"
#include "tftp/tftp_task.h"

namespace {

constexpr int kHeld = 512;  // datagrams the queue holds

TEST(PacketQueue, FirstInFirstOutWithinItsBound) {
  sockaddr_in station = {};
  station.sin_family = AF_INET;
  station.sin_port = htons(4000);
  auto receive = [&station](const std::string& bytes) {
    ftm_ProcessRcvTFTPData(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &station);
  };
  uint8_t buffer[kTftpPacketSize];
  testing::internal::CaptureStdout();
  for (int i = 0; i < kHeld + 2; ++i)
    receive(i == 1 ? std::string(516, 'z') : "#" + std::to_string(i));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ftm_ProcessRcvTFTPData: Unable to allocate buffer\n"
            "ftm_ProcessRcvTFTPData: Unable to allocate buffer\n");
  EXPECT_EQ(ftm_GetRcvTFTPData(nullptr), 0);  // and the queue stays as it is
  for (int i = 0; i < kHeld; ++i) {
    const std::string want = i == 1 ? std::string(516, 'z') : "#" + std::to_string(i);
    ASSERT_EQ(ftm_GetRcvTFTPData(buffer), static_cast<int>(want.size()));
    ASSERT_EQ(std::string(reinterpret_cast<char*>(buffer), want.size()), want);
  }
  EXPECT_EQ(ftm_GetRcvTFTPData(buffer), 0);
  receive("again");  // room again once drained
  EXPECT_EQ(ftm_GetRcvTFTPData(buffer), 5);
}

class GracePeriod : public SimBoardTest {
 protected:
  void SetUp() override {
    SimBoardTest::SetUp();
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int* fd : {&FtmListenSocket, &station_}) {
      *fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
      ASSERT_EQ(bind(*fd, reinterpret_cast<sockaddr*>(&any), sizeof any), 0);
    }
    socklen_t size = sizeof address_;
    getsockname(station_, reinterpret_cast<sockaddr*>(&address_), &size);
  }
  void TearDown() override {
    close(FtmListenSocket), close(station_);
    FtmListenSocket = -1;
    SimBoardTest::TearDown();
  }
  // The station's datagrams, the first taken by the task's next pass.
  void Pass(std::initializer_list<std::string> sent) {
    for (const std::string& bytes : sent) {
      ftm_ProcessRcvTFTPData(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                             &address_);
    }
    uint8_t datagram[kTftpPacketSize];
    FtmTaskHandle(datagram, ftm_GetRcvTFTPData(datagram));
  }
  std::vector<std::string> Replies() {
    std::vector<std::string> got;
    char buffer[kTftpPacketSize];
    for (ssize_t n; (n = recv(station_, buffer, sizeof buffer, 0)) >= 0;)
      got.emplace_back(buffer, n);
    return got;
  }
  int station_ = -1;
  sockaddr_in address_ = {};
};

// After an upload, the first resend of its last block is answered within 11
// idle passes of the task, and not after.
TEST_F(GracePeriod, AnswersAResendWithinElevenIdlePasses) {
  const std::string wrq("\0\2x.txt\0octet\0", 15), last("\0\3\0\1z", 5);
  const std::string ack0("\0\4\0\0", 4), refused("\0\5\0\0File Not Supported\0", 23);
  const std::string ack1("\0\4\0\1", 4);
  for (int idle : {10, 11}) {
    Pass({wrq, last});
    for (int i = 0; i < idle; ++i) FtmTaskHandle(nullptr, 0);
    Pass({last});
    const std::vector<std::string> answered = {ack0, refused, ack1}, unanswered = {ack0, refused};
    EXPECT_EQ(Replies(), idle <= 10 ? answered : unanswered) << idle << " idle passes";
  }
}

}  // namespace
