// The supported-tests report for masks a station cannot set yet, and the
// upload routing by name and extension. The reports' bytes over the wire are
// checked by the integration tests.
#include <gtest/gtest.h>

#include <string>

#include "dispatch/ftm_catalog.h"
#include "dispatch/ftm_status.h"

namespace {

const std::string kProlog = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";

std::string Empty(const std::string& name, int depth) {
  std::string pad(2 * depth, ' ');
  return pad + "<" + name + ">\r\n" + pad + "</" + name + ">\r\n";
}

std::string TestModeOp(const std::string& active) {
  return kProlog + "  <SUPPORTED_TESTS>\r\n" + Empty("LED", 2) + Empty("THROUGHPUT", 2) +
         Empty("RESET_SWITCH", 2) + Empty("BCOM_WIRELESS", 2) + "  </SUPPORTED_TESTS>\r\n" +
         "  <ACTIVE_TEST>\r\n" + active + "  </ACTIVE_TEST>\r\n";
}

std::string Get(const char* name) {
  FtmErrorInfo* error = reinterpret_cast<FtmErrorInfo*>(1);
  const char* text = FTM_GetFile(name, &error);
  if (text == nullptr) {
    EXPECT_EQ(error, FtmGetErrorInfo());
    return std::string("ERROR ") + (error->message != nullptr ? error->message : "(none)");
  }
  EXPECT_EQ(error, nullptr);
  return text;
}

TEST(CatalogTest, TestModeOpListsRunningTestsInTableOrder) {
  FtmActiveTests = 0;
  EXPECT_EQ(Get("FTM_TestModeOp.xml"), TestModeOp(""));
  FtmActiveTests = 0x8200;
  EXPECT_EQ(Get("FTM_TestModeOp.xml"), TestModeOp(Empty("LED", 2) + Empty("VOIP", 2)));
  FtmActiveTests = 0xFFFF;  // bits outside the table change nothing
  EXPECT_EQ(Get("FTM_TestModeOp.xml"),
            TestModeOp(Empty("LED", 2) + Empty("RESET_SWITCH", 2) + Empty("THROUGH_PUT", 2) +
                       Empty("AUTO_PAIR", 2) + Empty("BCOM_WIRELESS", 2) + Empty("VOIP", 2)));
  FtmActiveTests = 0x1100;
  EXPECT_EQ(Get("FTM_TestModeOp.xml"), TestModeOp(""));
  FtmActiveTests = 0;
}

TEST(CatalogTest, UploadsOfReportsAndUnknownNamesAreRefused) {
  char text[] = "<A>1</A>";
  for (const char* name :
       {"FTM_Progress.xml", "FTM_AntennaInfo.xml", "FTM_MobileInfo.xml", "x.y.ini", "ini"}) {
    FtmClearErrorInfo();
    FtmErrorInfo* error = FTM_PutFile(text, name);
    ASSERT_EQ(error, FtmGetErrorInfo()) << name;
    EXPECT_STREQ(error->message, "File Not Supported") << name;
    EXPECT_EQ(error->code, 0) << name;
  }
  EXPECT_EQ(FtmDownloadInProgress, 0);
}

}  // namespace
