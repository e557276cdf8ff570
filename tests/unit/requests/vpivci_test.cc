// The circuit change of the throughput test, which no station request
// reaches on this board (the read-back document holds no THROUGHPUT): the
// exact script command lines from the store's circuit and MAC address, the
// fallback MAC, and the values that must never reach a command line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dispatch/ftm_status.h"
#include "platform/platform.h"
#include "requests/FTM_TestConfig.h"
#include "sim_board_fixture.h"

namespace {

// The simulated store; board commands are recorded, not run.
class Commands : public PlatformWrapper {
 public:
  Commands() { PlatformInstall(this); }
  ~Commands() override { PlatformInstall(nullptr); }
  int System(const char* command) override {
    lines.push_back(command);
    return 0;
  }
  std::vector<std::string> lines;
};

const char kDelete[] = "/etc/init.d/DelOrgVpiVci.sh 0.8.35";
const char kVcc[] = "Interface\tVpi\tVci\tEncap\n";

class ChangeVpiVci : public SimBoardTest {
 protected:
  void Board(const std::string& mac, const std::string& vccRows) {
    Write("cfg/ProductionData.tsv", "ModelNum\tSerialNum\tMacAddr\nK17\t1\t" + mac + "\n");
    Write("cfg/VccStat.tsv", kVcc + vccRows);
  }
};

TEST_F(ChangeVpiVci, DeletesTheCurrentCircuitAndMakesTheNewOneWithTheBoardsMac) {
  Board("00:1A:2b:3c:4d:5e", "eth0\t1\t1\tLLC\nnas0\t8\t35\tLLC\n");
  Commands commands;
  EXPECT_EQ(ftm_ChangeVpiVci("0", "100"), 0);
  EXPECT_EQ(commands.lines, (std::vector<std::string>{
                                kDelete, "/etc/init.d/NewVpiVci.sh 0.0.100 00:1A:2b:3c:4d:5e"}));
}

TEST_F(ChangeVpiVci, WithoutACurrentCircuitOnlyTheNewOneIsMade) {
  for (const char* rows : {"", "nas1\t8\t35\n", "nas0\t8;reboot\t35\n", "nas0\t8\t\n"}) {
    Board("00:1a:2b:3c:4d:5e", rows);
    Commands commands;
    EXPECT_EQ(ftm_ChangeVpiVci("8", "35"), 0) << rows;
    EXPECT_EQ(commands.lines,
              (std::vector<std::string>{"/etc/init.d/NewVpiVci.sh 0.8.35 00:1a:2b:3c:4d:5e"}))
        << rows;
  }
}

TEST_F(ChangeVpiVci, AMacOfAnotherFormOrNoneFallsBack) {
  const std::string fallback = "/etc/init.d/NewVpiVci.sh 0.8.35 02:5e:a3:00:00:01";
  for (const char* mac : {"00:1a:2b:3c:4d:5e;reboot", "$(reboot)", "001a2b3c4d5e", "",
                          "00:1a:2b:3c:4d:5g", "00-1a-2b-3c-4d-5e"}) {
    Board(mac, "nas0\t8\t35\n");
    Commands commands;
    EXPECT_EQ(ftm_ChangeVpiVci("8", "35"), 0) << mac;
    EXPECT_EQ(commands.lines, (std::vector<std::string>{kDelete, fallback})) << mac;
  }
  // An unreadable table: the scripts still run, with the fallback.
  Board("00:1a:2b:3c:4d:5e", "nas0\t8\t35\n");
  Write("faults", "cfg table ProductionData\n");
  FtmClearErrorInfo();
  Commands commands;
  EXPECT_EQ(ftm_ChangeVpiVci("8", "35"), -1);
  EXPECT_EQ(commands.lines, (std::vector<std::string>{kDelete, fallback}));
  EXPECT_STREQ(FtmGetErrorInfo()->message, "Fail to Create Xml File");
}

TEST_F(ChangeVpiVci, ValuesThatAreNotDecimalOrTooLongRunNoScript) {
  Board("00:1a:2b:3c:4d:5e", "nas0\t8\t35\n");
  const std::string longDigits(500, '7');
  for (const char* bad :
       {";reboot", "$(reboot)", "`reboot`", "'8'", "8 35", "", "-8", "0x8", longDigits.c_str()}) {
    for (int which = 0; which < 2; ++which) {
      FtmClearErrorInfo();
      Commands commands;
      EXPECT_EQ(which == 0 ? ftm_ChangeVpiVci(bad, "35") : ftm_ChangeVpiVci("8", bad), -1) << bad;
      EXPECT_TRUE(commands.lines.empty()) << bad;
      EXPECT_STREQ(FtmGetErrorInfo()->message, "Test not supported") << bad;
    }
  }
  Commands commands;
  EXPECT_EQ(ftm_ChangeVpiVci(nullptr, "35"), -1);
  EXPECT_TRUE(commands.lines.empty());
}

TEST_F(ChangeVpiVci, TheCurrentCircuitIsReadFromTheFirstNas0Row) {
  Board("00:1a:2b:3c:4d:5e", "nas0\t0\t35\nnas0\t1\t1\n");
  char buffer[16];
  EXPECT_STREQ(FTM_GetCurrentVpiVci(buffer, sizeof buffer), "0.0.35");
  EXPECT_EQ(FTM_GetCurrentVpiVci(buffer, 6), nullptr);  // would not fit
  Write("faults", "cfg table VccStat\n");
  EXPECT_EQ(FTM_GetCurrentVpiVci(buffer, sizeof buffer), nullptr);
}

}  // namespace
