// What no station can see over TFTP: the progress report while an INI load
// runs (the load and the report share the transfer task, so a station's
// request waits until the load is over), and the order of the reset, the
// one-second pause and the signal to process 1.
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "dispatch/ftm_catalog.h"
#include "libini_sim.h"
#include "platform/platform.h"
#include "reports/FTM_Progress.h"
#include "sim_board.h"
#include "sim_board_fixture.h"

namespace {

std::vector<std::string> g_progress;

void ReadProgress() {
  const char* text = FTM_GetProgressXml();
  g_progress.push_back(text != nullptr ? text : "(none)");
}

// The simulated board (whose signals are logged, never sent) with its
// waits logged among its events, not made.
class IniLoad : public SimBoardTest, public PlatformWrapper {
  void SetUp() override { SimBoardTest::SetUp(), PlatformInstall(this); }
  void TearDown() override { PlatformInstall(nullptr), SimBoardTest::TearDown(); }
  void SleepMicros(unsigned long micros) override { SimEvent("sleep " + std::to_string(micros)); }
};

TEST_F(IniLoad, ProgressReadsNotDoneOnlyWhileTheLibraryRuns) {
  ReadProgress();
  SimIniSetHook(ReadProgress);
  char text[] = "[ftm]\nrestart = 1\n";
  EXPECT_EQ(FTM_PutFile(text, "board.ini"), nullptr);
  SimIniSetHook(nullptr);
  ReadProgress();
  const std::string status =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n  <DOWNLOAD_STATUS>\r\n    ";
  const std::string end = "\r\n  </DOWNLOAD_STATUS>\r\n";
  EXPECT_EQ(g_progress, (std::vector<std::string>{status + "DONE" + end, status + "NOT_DONE" + end,
                                                  status + "DONE" + end}));
  // The store is reset, then the board is restarted a second later.
  EXPECT_EQ(Events(),
            (std::vector<std::string>{"cfg session 0 reset_cfg", "cfg restore ProductionData",
                                      "cfg reset", "cfg end", "sleep 1000000", "kill 1 15"}));
}

}  // namespace
