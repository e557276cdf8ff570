// The simulated store: the table file format, the layout of the records it
// hands out, transactions, faults and refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfg_tsv.h"
#include "cfgstore/libcfg.h"
#include "sim_board_fixture.h"

namespace {

using Lines = std::vector<std::string>;
const char kHeader[] = "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n";
const char kOriginal[] =
    "ModelNum\tSerialNum\tMacAddr\tDate\tRevision\tE164\n"
    "K17\t0001\t02:5e:a3:00:00:01\t01012024\tA\t\n";

TEST(CfgTsvTest, ParseAndFormat) {
  CfgTsvTable t;
  ASSERT_TRUE(CfgTsvParse("A\tB\tC\nx\\ty\\\\z\\n\tq\\r\r\n1\n", &t));
  EXPECT_EQ(t.columns, (Lines{"A", "B", "C"}));
  ASSERT_EQ(t.rows.size(), 2u);
  // Escapes decoded; an unknown pair and a raw carriage return stand as they are.
  EXPECT_EQ(t.rows[0], (Lines{"x\ty\\z\n", "q\\r\r", ""}));
  EXPECT_EQ(t.rows[1], (Lines{"1", "", ""}));  // a short row gets empty cells
  EXPECT_EQ(CfgTsvFormat(t), "A\tB\tC\nx\\ty\\\\z\\n\tq\\\\r\r\t\n1\t\t\n");

  ASSERT_TRUE(CfgTsvParse("A\tB", &t));  // no final line end, no rows
  EXPECT_EQ(t.columns, (Lines{"A", "B"}));
  EXPECT_TRUE(t.rows.empty());
  ASSERT_TRUE(CfgTsvParse("A\n\n", &t));  // an empty line is a row of empty cells
  EXPECT_EQ(t.rows, (std::vector<Lines>{{""}}));

  EXPECT_FALSE(CfgTsvParse("", &t));
  EXPECT_FALSE(CfgTsvParse("A\tB\n1\t2\t3\n", &t));  // a cell without a column
}

class LibcfgSimTest : public SimBoardTest {};

TEST_F(LibcfgSimTest, ReadHandsOutTheBoardLayout) {
  CfgSession s = cfg_startSession(0, nullptr);
  ASSERT_NE(s, 0);
  CfgTable* t = nullptr;
  ASSERT_EQ(cl_cfg_getTable(s, "ProductionData", &t, "FTM_Apis.c", "Test", 1), 0);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->rowCount, 1);
  EXPECT_EQ(t->colCount, 6);
  EXPECT_STREQ(t->cells[0], "ModelNum");  // the leading row: the column names
  EXPECT_STREQ(t->cells[5], "E164");
  EXPECT_STREQ(t->cells[6 + 0], "K17");
  EXPECT_STREQ(t->cells[6 + 2], "02:5e:a3:00:00:01");
  EXPECT_STREQ(t->cells[6 + 5], "");
  EXPECT_EQ(cfg_findCol(s, "ProductionData", "Date"), 3);
  EXPECT_EQ(cfg_findCol(s, "ProductionData", "date"), -1);
  EXPECT_EQ(cfg_freeTable(t), 0);
  EXPECT_EQ(cfg_endSession(s), 0);
  EXPECT_EQ(cfg_endSession(s), -1);  // ended once
  EXPECT_EQ(Events(), Lines{});
}

TEST_F(LibcfgSimTest, BadTableFilesAndNamesAreNotRead) {
  Write("cfg/Empty.tsv", "");
  Write("cfg/Wide.tsv", "A\n1\t2\n");
  Write("cfg/Bare.tsv", "A\tB\n");
  CfgSession s = cfg_startSession(0, nullptr);
  CfgTable sentinel;
  CfgTable* t = nullptr;
  for (const char* name : {"Empty", "Wide", "Missing", "../cfg/ProductionData", "", "a/b"}) {
    t = &sentinel;  // a failed read hands out no record
    EXPECT_EQ(cl_cfg_getTable(s, name, &t, "FTM_Apis.c", "Test", 1), -1) << name;
    EXPECT_EQ(t, nullptr) << name;
  }
  EXPECT_EQ(cl_cfg_getTable(s, nullptr, &t, "FTM_Apis.c", "Test", 1), -1);
  ASSERT_EQ(cl_cfg_getTable(s, "Bare", &t, "FTM_Apis.c", "Test", 1), 0);
  EXPECT_EQ(t->rowCount, 0);
  EXPECT_EQ(t->colCount, 2);
  cfg_freeTable(t);
  EXPECT_EQ(cl_cfg_getTable(s + 1000, "Bare", &t, "FTM_Apis.c", "Test", 1), -1);
  cfg_endSession(s);
}

TEST_F(LibcfgSimTest, TransactionAppliesAllOrNothing) {
  CfgSession s = cfg_startSession(5, "FTM write");
  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_startTransaction(s), -1);  // one at a time
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "a\tb\nc\\d 'q' \"$(x)\""), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 5, nullptr), 0);  // stored as empty text
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 0, "M2"), 0);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kOriginal);  // nothing before the commit
  CfgTable* t = nullptr;                                 // the session sees its own writes
  ASSERT_EQ(cl_cfg_getTable(s, "ProductionData", &t, "FTM_Apis.c", "Test", 1), 0);
  EXPECT_STREQ(t->cells[6 + 0], "M2");
  cfg_freeTable(t);
  ASSERT_EQ(cfg_abortTransaction(s), 0);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kOriginal);

  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "a\tb\nc\\d 'q' \"$(x)\""), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "second"), 0);  // last write wins
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 5, "+4930123"), 0);
  ASSERT_EQ(cfg_commitTransaction(s), 0);
  EXPECT_EQ(cfg_commitTransaction(s), -1);  // no transaction left
  EXPECT_EQ(Read("cfg/ProductionData.tsv"),
            std::string(kHeader) + "K17\tsecond\t02:5e:a3:00:00:01\t01012024\tA\t+4930123\n");

  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "a\tb\nc\\d"), 0);
  ASSERT_EQ(cfg_commitTransaction(s), 0);
  EXPECT_EQ(
      Read("cfg/ProductionData.tsv"),
      std::string(kHeader) + "K17\ta\\tb\\nc\\\\d\t02:5e:a3:00:00:01\t01012024\tA\t+4930123\n");

  ASSERT_EQ(cfg_startTransaction(s), 0);  // left open: ending the session aborts it
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "lost"), 0);
  cfg_endSession(s);
  EXPECT_EQ(Events(), (Lines{"cfg abort", "cfg commit ProductionData", "cfg commit ProductionData",
                             "cfg abort"}));
  EXPECT_EQ(Read("cfg/ProductionData.tsv").find("lost"), std::string::npos);
}

TEST_F(LibcfgSimTest, RefusedWritesChangeNothing) {
  CfgSession reader = cfg_startSession(0, nullptr);
  EXPECT_EQ(cfg_setField(reader, "ProductionData", 0, 1, "x"), -1);  // a reading session
  CfgSession s = cfg_startSession(5, "FTM write");
  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, -1, "x"), -1);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 6, "x"), -1);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 1, 0, "x"), -1);  // no such row
  EXPECT_EQ(cfg_setField(s, "Missing", 0, 0, "x"), -1);
  EXPECT_EQ(cfg_setField(s, "../ProductionData", 0, 0, "x"), -1);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, std::string(4096, 'v').c_str()), -1);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, std::string(4095, 'v').c_str()), 0);
  EXPECT_EQ(cfg_setField(reader + 1000, "ProductionData", 0, 1, "x"), -1);
  EXPECT_EQ(cfg_abortTransaction(s), 0);
  cfg_endSession(s);
  cfg_endSession(reader);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kOriginal);
}

TEST_F(LibcfgSimTest, WriteWithoutTransactionCommitsAtOnce) {
  CfgSession s = cfg_startSession(5, "FTM write");
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 4, "B"), 0);
  cfg_endSession(s);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"),
            std::string(kHeader) + "K17\t0001\t02:5e:a3:00:00:01\t01012024\tB\t\n");
  EXPECT_EQ(Events(), Lines{"cfg commit ProductionData"});
}

TEST_F(LibcfgSimTest, Faults) {
  Write("faults", "cfg session\n");
  EXPECT_EQ(cfg_startSession(0, nullptr), 0);
  Write("faults", "cfg table ProductionData\ncfg set ProductionData\n");
  CfgSession s = cfg_startSession(5, "FTM write");
  ASSERT_NE(s, 0);
  CfgTable* t = nullptr;
  EXPECT_EQ(cl_cfg_getTable(s, "ProductionData", &t, "FTM_Apis.c", "Test", 1), -1);
  EXPECT_EQ(t, nullptr);
  ASSERT_EQ(cfg_startTransaction(s), 0);
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "x"), -1);
  Write("faults", "cfg commit\n");
  EXPECT_EQ(cfg_setField(s, "ProductionData", 0, 1, "x"), 0);
  EXPECT_EQ(cfg_commitTransaction(s), -1);
  Write("faults", "");
  EXPECT_EQ(cfg_commitTransaction(s), -1);  // the failed commit dropped the transaction
  cfg_endSession(s);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), kOriginal);
  EXPECT_EQ(Events(), Lines{});
}

TEST_F(LibcfgSimTest, ResetRestoresTheDefaults) {
  Write("cfg/Extra.tsv", "A\n1\n");
  CfgSession s = cfg_startSession(0, "reset_cfg");
  EXPECT_EQ(cfg_resetCfg(s, 0), 0);
  cfg_endSession(s);
  EXPECT_EQ(Read("cfg/ProductionData.tsv"), Read("cfg/defaults/ProductionData.tsv"));
  EXPECT_EQ(Read("cfg/Extra.tsv"), "A\n1\n");  // a table without defaults stays
  EXPECT_EQ(Events(), Lines{"cfg reset"});
  EXPECT_EQ(cfg_resetCfg(s, 0), -1);  // the session has ended
}

}  // namespace
