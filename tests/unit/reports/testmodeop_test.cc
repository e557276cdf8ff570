// The supported-tests report for masks no request sequence makes (bits
// outside the list, every bit). Station-made masks are tested end to end.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "dispatch/ftm_status.h"
#include "reports/FTM_TestModeOp.h"

namespace {

std::string Report(uint16_t mask) {
  FtmActiveTests = mask;
  char* text = nullptr;
  int length = 0;
  EXPECT_EQ(FTM_GetTestModeOpXml(&text, &length), 0);
  std::string active = text;
  std::free(text);
  FtmActiveTests = 0;
  active = active.substr(active.find("<ACTIVE_TEST>"));
  std::string names;
  for (size_t at = active.find("\r\n    <"); at != std::string::npos;
       at = active.find("\r\n    <", at + 1)) {
    if (active[at + 7] != '/') names += active.substr(at + 7, active.find('>', at) - at - 7) + " ";
  }
  return names;
}

TEST(TestModeOpReport, ListsRunningTestsInFixedOrder) {
  EXPECT_EQ(Report(0x1100), "");
  EXPECT_EQ(Report(0xFFFF), "LED RESET_SWITCH THROUGH_PUT AUTO_PAIR BCOM_WIRELESS VOIP ");
}

}  // namespace
