// The AT channel's byte-level rules on a real pseudo-terminal, through the
// simulated board's port (time scale 0.05: a silent port answers after one
// tenth of a second): where a read stops, what carries over to the next
// one, and how values are picked out of an answer.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "modem/ftm_at.h"
#include "sim_board_fixture.h"

namespace {

class AtChannelTest : public SimBoardTest {
 protected:
  void SetUp() override {
    SimBoardTest::SetUp();
    Write("timescale", "0.05\n");
    modem_ = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(modem_, 0);
    ASSERT_EQ(::grantpt(modem_), 0);
    ASSERT_EQ(::unlockpt(modem_), 0);
    std::filesystem::create_directories(Dir() + "/root/dev");
    std::filesystem::create_symlink(::ptsname(modem_), Dir() + "/root/dev/ttyUSB1");
    ASSERT_EQ(openModemDevice(kFtmModemDevice), 0);
  }

  void TearDown() override {
    closeModemDevice();
    ::close(modem_);
    SimBoardTest::TearDown();
  }

  void Send(const std::string& bytes) {
    ASSERT_EQ(::write(modem_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  int modem_ = -1;
};

TEST_F(AtChannelTest, ReadStopsAtFinalResultAndCarriesTheRestOver) {
  struct Row {
    const char* sent;
    int result;
    std::string answer;
    int code;
    const char* text;
  };
  const Row rows[] = {
      {"\r\nOK\r\n", 1, "\r\nOK", -5, "OK"},
      // "+CME ERROR" wins over the "ERROR" it ends with; its number stays.
      {"\r\n+CME ERROR: 10\r\n", 1, "\r\n\r\n+CME ERROR", -1, "+CME ERROR"},
      // The second O breaks the match and is not tried as a first one.
      {"\r\nOOK", 0, ": 10\r\n\r\nOOK", -1, ""},
      // A result split over two reads is still recognised.
      {"\r\nO", 0, "\r\nO", -1, ""},
      {"K\r\n", 1, "K", -5, "OK"},
      // The top bit of each byte is dropped.
      {"\xCF\xCB", 1, "\r\nOK", -5, "OK"},
      {"\r\nNO CARRIER", 1, "\r\nNO CARRIER", -2, "NO CARRIER"},
      {"\r\nRING", 1, "\r\nRING", -3, "RING"},
      {"CONNECT", 1, "CONNECT", -4, "CONNECT"},
      {"\r\nERROR", 1, "\r\nERROR", -6, "ERROR"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.sent);
    Send(row.sent);
    char buffer[kAtResponseSize] = "stale text";
    EXPECT_EQ(readFromDevice(buffer), row.result);
    EXPECT_EQ(std::string(buffer), row.answer);
    EXPECT_EQ(lastResultCode, row.code);
    EXPECT_STREQ(lastResultText, row.text);
  }
}

TEST_F(AtChannelTest, AnswerWithoutFinalResultStopsAtAFullBuffer) {
  Send(std::string(4100, '7'));
  char buffer[kAtResponseSize] = {};
  EXPECT_EQ(readFromDevice(buffer), 0);
  EXPECT_EQ(std::string(buffer), std::string(4095, '7'));
  EXPECT_EQ(readFromDevice(buffer), 0);  // the rest, then silence
  EXPECT_EQ(std::string(buffer), "77777");
}

TEST(AtValue, PicksTheLineAfterTheKey) {
  struct Row {
    const char* key;
    const char* response;
    int result;
    std::string value;
  };
  const std::string longLine = std::string(200, 'v');
  const std::string longResponse = "Model: " + longLine + "\r\n";
  const Row rows[] = {
      {"+CPIN: ", "\r\n+CPIN: READY\r\n\r\nOK", 1, "READY"},
      {"+cpin: ", "\r\n+CPIN: READY\r\n\r\nOK", 1, "READY"},
      {"IMEI: ", "IMEI SV: 9\r\nimei: 123\r\n", 1, "123"},
      {"Rx1:  AGC: ", "Rx1:  AGC: \nOK", 1, ""},
      {"Rx1:  AGC: ", "Rx0:  AGC: -62.5\r\nOK", 0, "kept"},
      {"+CPIN: ", "+CPIN: READY", 0, "kept"},  // no line end: not a value
      {"Model: ", longResponse.c_str(), 1, std::string(127, 'v')},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.response);
    char value[kAtValueSize] = "kept";
    EXPECT_EQ(getResponseValue(row.key, row.response, value), row.result);
    EXPECT_EQ(std::string(value), row.value);
  }
}

}  // namespace
