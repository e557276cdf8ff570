// The daemon's store access on the simulated store: the field write and its
// failure line, and the read pattern's reports for missing, empty and narrow
// tables.
#include "cfgstore/ftm_cfg.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dispatch/ftm_status.h"
#include "sim_board_fixture.h"

namespace {

using Lines = std::vector<std::string>;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

class FtmCfgTest : public SimBoardTest {
 protected:
  void SetUp() override {
    SimBoardTest::SetUp();
    FtmClearErrorInfo();
  }
  static std::string Message() {
    const char* m = FtmGetErrorInfo()->message;
    return m != nullptr ? m : "(none)";
  }
};

TEST_F(FtmCfgTest, SetFieldWritesByColumnNameAndReportsFailures) {
  {
    FtmCfgWrite write;
    ASSERT_TRUE(write.ok());
    CaptureStdout();
    EXPECT_EQ(FtmCfgSetField(write.session(), "ProductionData", "Revision", 0, "C"), 0);
    // The failure line shows the column index as the library gave it.
    EXPECT_EQ(FtmCfgSetField(write.session(), "ProductionData", "Serial", 0, "x y"), -1);
    EXPECT_EQ(GetCapturedStdout(),
              "FTM write failed on table=ProductionData row=0 col=-1(Serial) value='x y'\n");
    EXPECT_EQ(Message(), "Write data failed");
    FtmClearErrorInfo();
    CaptureStdout();
    EXPECT_EQ(FtmCfgSetField(write.session(), nullptr, "Revision", 0, "D"), -1);
    EXPECT_EQ(GetCapturedStdout(), "");  // nothing logged, nothing recorded
    EXPECT_EQ(Message(), "(none)");
    EXPECT_EQ(write.Commit(), 0);
  }
  EXPECT_EQ(Read("cfg/ProductionData.tsv"),
            "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
            "K17\t0001\t02:5e:a3:00:00:01\t01012024\tC\t\n");
  EXPECT_EQ(Events(), Lines{"cfg commit ProductionData"});
}

TEST_F(FtmCfgTest, ReadPatternReports) {
  Write("cfg/Bare.tsv", "A\tB\n");
  FtmCfgSession session(kFtmCfgReadMode, nullptr);
  ASSERT_TRUE(session.ok());
  FtmCfgTable table;
  CaptureStderr();
  EXPECT_FALSE(FtmCfgReadTable(session.id(), "Missing", "Op", __LINE__, 1, 1, &table));
  EXPECT_FALSE(FtmCfgReadTable(session.id(), "Bare", "Op", __LINE__, 1, 1, &table));  // no row
  EXPECT_FALSE(table.ok());
  EXPECT_FALSE(FtmCfgReadTable(session.id(), "ProductionData", "Op", __LINE__, 1, 7, &table));
  EXPECT_EQ(GetCapturedStderr(),
            "error: failed to read table: Missing\n"
            "error: failed to read table: Bare\n"
            "error: failed to read table: ProductionData\n");
  EXPECT_EQ(Message(), "Fail to Create Xml File");

  FtmClearErrorInfo();
  CaptureStderr();
  ASSERT_TRUE(FtmCfgReadTable(session.id(), "Bare", "Op", __LINE__, 0, 2, &table));
  EXPECT_EQ(table.rows(), 0);
  EXPECT_EQ(table.Cell(0, 0), nullptr);  // no data row: the leading row is never handed out
  ASSERT_TRUE(FtmCfgReadTable(session.id(), "ProductionData", "Op", __LINE__, 1, 6, &table));
  EXPECT_EQ(GetCapturedStderr(), "");
  EXPECT_EQ(Message(), "(none)");
  EXPECT_STREQ(table.Cell(0, 0), "K17");
  EXPECT_STREQ(table.Cell(0, 5), "");
  EXPECT_EQ(table.Cell(0, 6), nullptr);
  EXPECT_EQ(table.Cell(1, 0), nullptr);
  EXPECT_EQ(table.Cell(-1, 0), nullptr);

  CaptureStderr();
  FtmCfgReportNoSession();
  EXPECT_EQ(GetCapturedStderr(), "error: failed to start session\n");
}

}  // namespace
