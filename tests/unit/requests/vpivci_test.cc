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
class ChangeVpiVci : public SimBoardTest, public PlatformWrapper {
 protected:
  void SetUp() override { SimBoardTest::SetUp(), PlatformInstall(this); }
  void TearDown() override { PlatformInstall(nullptr), SimBoardTest::TearDown(); }
  int System(const char* command) override {
    lines.push_back(command);
    return 0;
  }
  std::vector<std::string> lines;
};

struct Row {
  std::string mac, vcc, faults, vpi, vci;
  int result;
  std::vector<std::string> lines;
  const char* message = nullptr;
};

std::string New(const std::string& circuit, const std::string& mac) {
  return "/etc/init.d/NewVpiVci.sh 0." + circuit + " " + mac;
}

TEST_F(ChangeVpiVci, DeletesTheFirstNas0CircuitAndMakesTheNewOne) {
  const std::string mac = "00:1a:2b:3c:4d:5e", fallback = "02:5e:a3:00:00:01", v22(22, '7');
  const std::string vcc = "eth0\t1\t1\tLLC\nnas0\t8\t35\tLLC\nnas0\t1\t1\n", v79(79, '7');
  const std::string del = "/etc/init.d/DelOrgVpiVci.sh 0.", made = New("8.35", mac);
  const std::string noVcc = "cfg table VccStat\n", noId = "cfg table ProductionData\n";
  const std::string upper = "00:1A:2b:3c:4d:5e", del8 = del + "8.35";
  const char *notSupported = "Test not supported", *failed = "Fail to Create Xml File";
  std::vector<Row> rows = {
      {upper, vcc, "", "0", "100", 0, {del8, New("0.100", upper)}},
      // Without a current circuit that fits a command line, only the new one.
      {mac, "", "", "8", "35", 0, {made}},
      {mac, "nas1\t8\t35\n", "", "8", "35", 0, {made}},
      {mac, "nas0\t8;reboot\t35\nnas0\t8\t35\n", "", "8", "35", 0, {made}},
      {mac, "nas0\t8\t\n", "", "8", "35", 0, {made}},
      {mac, vcc, noVcc, "8", "35", 0, {made}, failed},
      {mac, "nas0\t7" + v22 + "\t" + v22 + "\n", "", "8", "35", 0, {made}},
      {mac, "nas0\t" + v22 + "\t" + v22 + "\n", "", "8", "35", 0, {del + v22 + "." + v22, made}},
      // The longest new circuit's line that still fits, and one digit more.
      {mac, vcc, "", v79, "35", 0, {del8, New(v79 + ".35", mac)}},
      {mac, vcc, "", v79 + "7", "35", -1, {}, notSupported},
      // An unreadable table: the scripts still run, with the fallback.
      {mac, vcc, noId, "8", "35", -1, {del8, New("8.35", fallback)}, failed},
  };
  // A MAC address of another form, or none, falls back.
  for (const char* other : {"00:1a:2b:3c:4d:5e;reboot", "$(reboot)", "001a2b3c4d5e", "",
                            "00:1a:2b:3c:4d:5g", "00-1a-2b-3c-4d-5e"}) {
    rows.push_back({other, vcc, "", "8", "35", 0, {del8, New("8.35", fallback)}});
  }
  // Values that are not decimal digits run no script.
  for (const char* bad : {";reboot", "$(reboot)", "`reboot`", "'8'", "8 35", "", "-8", "0x8"}) {
    rows.push_back({mac, vcc, "", bad, "35", -1, {}, notSupported});
    rows.push_back({mac, vcc, "", "8", bad, -1, {}, notSupported});
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.mac + " " + row.vcc + " " + row.faults + " " + row.vpi + "." + row.vci);
    Write("cfg/ProductionData.tsv", "ModelNum\tSerialNum\tMacAddr\nK17\t1\t" + row.mac + "\n");
    Write("cfg/VccStat.tsv", "Interface\tVpi\tVci\tEncap\n" + row.vcc);
    Write("faults", row.faults);
    FtmClearErrorInfo();
    lines.clear();
    EXPECT_EQ(ftm_ChangeVpiVci(row.vpi.c_str(), row.vci.c_str()), row.result);
    EXPECT_EQ(lines, row.lines);
    EXPECT_STREQ(FtmGetErrorInfo()->message, row.message);
  }
  lines.clear();
  EXPECT_EQ(ftm_ChangeVpiVci(nullptr, "35"), -1);
  EXPECT_EQ(lines, std::vector<std::string>());
}

}  // namespace
