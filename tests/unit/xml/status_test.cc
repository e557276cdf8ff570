#include <gtest/gtest.h>

#include "dispatch/ftm_status.h"

namespace {

TEST(FtmStatus, MessagesAreTheStationsBytes) {
  EXPECT_STREQ(kFtmMsgFileNotSupported, "File Not Supported");
  EXPECT_STREQ(kFtmMsgXmlFileInvalid, "Xml File InValid");
  EXPECT_STREQ(kFtmMsgNoCommandFound, "No Command Found");
  EXPECT_STREQ(kFtmMsgTestNotSupported, "Test not supported");
  EXPECT_STREQ(kFtmMsgWriteDataFailed, "Write data failed");
  EXPECT_STREQ(kFtmMsgWriteTestConfigFailed, "Write test config failed");
  EXPECT_STREQ(kFtmMsgCreateXmlDataObjFailed, "Fail to Create Xml Data Obj");
  EXPECT_STREQ(kFtmMsgCreateXmlFileFailed, "Fail to Create Xml File");
}

TEST(FtmStatus, RecordKeepsTheFixedMessageUntilCleared) {
  FtmErrorInfo* record = FtmGetErrorInfo();
  ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
  EXPECT_EQ(FtmGetErrorInfo(), record);  // always the one record
  EXPECT_EQ(record->code, 0);
  EXPECT_EQ(record->message, kFtmMsgTestNotSupported);  // the text itself, not a copy
  ftm_SetErrorInfo(3, kFtmMsgFileNotSupported);
  EXPECT_EQ(record->code, 3);
  FtmClearErrorInfo();
  EXPECT_EQ(record->code, 0);
  EXPECT_EQ(record->message, nullptr);
}

}  // namespace
