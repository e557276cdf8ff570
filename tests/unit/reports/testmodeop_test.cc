// The supported-tests report for masks no station request makes: bits
// outside the list change nothing. The masks stations make are compared
// whole end to end.
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
  std::string report = text != nullptr ? text : "";
  EXPECT_EQ(length, static_cast<int>(report.size()) + 1);
  std::free(text);
  FtmActiveTests = 0;
  return report;
}

TEST(TestModeOpReport, BitsOutsideTheListChangeNothing) {
  EXPECT_EQ(Report(0x11FF), Report(0));
  EXPECT_EQ(Report(0xFFFF), Report(0xEE00));
  EXPECT_NE(Report(0xEE00), Report(0));
}

}  // namespace
