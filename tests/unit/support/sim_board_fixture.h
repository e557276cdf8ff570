// A simulated board directory for the tests of one process: made before the
// first store call (the board directory is fixed for a process's life) and
// emptied after each test.
#ifndef FTM_TESTS_UNIT_SUPPORT_SIM_BOARD_FIXTURE_H_
#define FTM_TESTS_UNIT_SUPPORT_SIM_BOARD_FIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

class SimBoardTest : public ::testing::Test {
 protected:
  static const std::string& Dir() {
    static const std::string dir = [] {
      char pattern[] = "/tmp/ftm-cfgtest-XXXXXX";
      const char* made = ::mkdtemp(pattern);
      std::string d = made != nullptr ? made : "/tmp/ftm-cfgtest";
      ::setenv("FTM_SIM_DIR", d.c_str(), 1);
      return d;
    }();
    return dir;
  }

  void SetUp() override {
    std::filesystem::create_directories(Dir() + "/cfg/defaults");
    std::filesystem::create_directories(Dir() + "/root/tmp");
    Write("events.log", "");
    Write("faults", "");
    Write("cfg/ProductionData.tsv",
          "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
          "K17\t0001\t02:5e:a3:00:00:01\t01012024\tA\t\n");
    Write("cfg/defaults/ProductionData.tsv",
          "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\nDEF\t0\t00\t0\tA\t\n");
  }

  void TearDown() override { std::filesystem::remove_all(Dir()); }

  static void Write(const std::string& rel, const std::string& text) {
    std::ofstream(Dir() + "/" + rel, std::ios::binary) << text;
  }

  static std::string Read(const std::string& rel) {
    std::ifstream in(Dir() + "/" + rel, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }

  static std::vector<std::string> Events() {
    std::vector<std::string> lines;
    std::istringstream in(Read("events.log"));
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
  }
};

#endif  // FTM_TESTS_UNIT_SUPPORT_SIM_BOARD_FIXTURE_H_
