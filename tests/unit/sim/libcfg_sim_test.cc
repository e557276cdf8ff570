// The simulated store, where a fault of its own would hide one of the
// daemon's: the record layout the daemon reads by offset (a leading row
// before the data rows), and transactions that show nothing before the
// commit. Everything else of the store is seen through the daemon's
// requests and reports in the integration tests.
#include <gtest/gtest.h>

#include <string>

#include "cfgstore/libcfg.h"
#include "sim_board_fixture.h"

namespace {

const char kOriginal[] =
    "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
    "K17\t0001\t02:5e:a3:00:00:01\t01012024\tA\t\n";

class LibcfgSim : public SimBoardTest {};

TEST_F(LibcfgSim, TableRecordHasTheBoardLayout) {
  Write("cfg/Short.tsv", "A\tB\tC\nx\\ty\\\\z\\n\t\\N\n");
  CfgSession s = cfg_startSession(0, nullptr);
  CfgTable* t = nullptr;
  ASSERT_EQ(cl_cfg_getTable(s, "ProductionData", &t, "FTM_Apis.c", "Test", 1), 0);
  EXPECT_EQ(t->rowCount, 1);
  EXPECT_EQ(t->colCount, 6);
  EXPECT_STREQ(t->cells[0], "ModelNum");  // the leading row: the column names
  EXPECT_STREQ(t->cells[6 + 2], "02:5e:a3:00:00:01");
  cfg_freeTable(t);
  ASSERT_EQ(cl_cfg_getTable(s, "Short", &t, "FTM_Apis.c", "Test", 1), 0);
  EXPECT_STREQ(t->cells[3], "x\ty\\z\n");  // escapes decoded
  EXPECT_EQ(t->cells[4], nullptr);         // an absent cell: no text at all
  EXPECT_STREQ(t->cells[5], "");           // a short row completed
  cfg_freeTable(t);
  EXPECT_EQ(cfg_findCol(s, "ProductionData", "Date"), 3);
  cfg_endSession(s);
}

TEST_F(LibcfgSim, TransactionShowsNothingBeforeItsCommit) {
  CfgSession s = cfg_startSession(5, "FTM write");
  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 0, "M2"), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "a\tb"), 0);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kOriginal);
  CfgTable* t = nullptr;  // the session sees its own writes
  ASSERT_EQ(cl_cfg_getTable(s, "ProductionData", &t, "FTM_Apis.c", "Test", 1), 0);
  EXPECT_STREQ(t->cells[6], "M2");
  cfg_freeTable(t);
  ASSERT_EQ(cfg_abortTransaction(s), 0);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kOriginal);

  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "a\tb"), 0);
  ASSERT_EQ(cfg_commitTransaction(s), 0);
  ASSERT_EQ(cfg_startTransaction(s), 0);  // left open: ending the session aborts it
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 0, "lost"), 0);
  cfg_endSession(s);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"),
            "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
            "K17\ta\\tb\t02:5e:a3:00:00:01\t01012024\tA\t\n");
  EXPECT_EQ(Events(), (std::vector<std::string>{
                          "cfg session 5 FTM write", "cfg read ProductionData FTM_Apis.c Test",
                          "cfg abort", "cfg commit ProductionData", "cfg abort", "cfg end"}));
}

}  // namespace
