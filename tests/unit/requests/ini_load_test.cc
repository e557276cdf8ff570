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
#include "sim_board_fixture.h"

namespace {

std::vector<std::string> g_progress;

void ReadProgress() {
  const char* text = FTM_GetProgressXml();
  g_progress.push_back(text != nullptr ? text : "(none)");
}

// The simulated board with its waits and signals recorded, not made.
class RecordingBoard : public PlatformWrapper {
 public:
  RecordingBoard() { PlatformInstall(this); }
  ~RecordingBoard() override { PlatformInstall(nullptr); }
  std::vector<std::string> calls;
  void SleepMicros(unsigned long micros) override {
    calls.push_back("sleep " + std::to_string(micros));
  }
  int Kill(pid_t pid, int sig) override {
    calls.push_back("kill " + std::to_string(pid) + " " + std::to_string(sig));
    return 0;
  }
};

class IniLoad : public SimBoardTest {};

TEST_F(IniLoad, ProgressReadsNotDoneOnlyWhileTheLibraryRuns) {
  RecordingBoard board;
  g_progress.clear();
  ReadProgress();
  SimIniSetHook(ReadProgress);
  char text[] = "[ftm]\nrestart = 1\n";
  FtmErrorInfo* result = FTM_PutFile(text, "board.ini");
  SimIniSetHook(nullptr);
  ReadProgress();
  EXPECT_EQ(result, nullptr);
  const std::string status =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n  <DOWNLOAD_STATUS>\r\n    ";
  const std::string end = "\r\n  </DOWNLOAD_STATUS>\r\n";
  EXPECT_EQ(g_progress, (std::vector<std::string>{status + "DONE" + end, status + "NOT_DONE" + end,
                                                  status + "DONE" + end}));
  // The store is reset, then the board is restarted a second later.
  EXPECT_EQ(Events(), std::vector<std::string>{"cfg reset"});
  EXPECT_EQ(board.calls, (std::vector<std::string>{"sleep 1000000", "kill 1 15"}));
}

}  // namespace
