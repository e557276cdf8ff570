#include "dispatch/ftm_status.h"

const char kFtmMsgFileNotSupported[] = "File Not Supported";
const char kFtmMsgXmlFileInvalid[] = "Xml File InValid";
const char kFtmMsgNoCommandFound[] = "No Command Found";
const char kFtmMsgTestNotSupported[] = "Test not supported";
const char kFtmMsgWriteDataFailed[] = "Write data failed";
const char kFtmMsgWriteTestConfigFailed[] = "Write test config failed";
const char kFtmMsgCreateXmlDataObjFailed[] = "Fail to Create Xml Data Obj";
const char kFtmMsgCreateXmlFileFailed[] = "Fail to Create Xml File";

uint16_t FtmActiveTests = 0;
uint16_t FtmDownloadInProgress = 0;

namespace {
FtmErrorInfo g_errorInfo = {0, nullptr};
}  // namespace

void ftm_SetErrorInfo(uint16_t code, const char* message) {
  g_errorInfo.code = code;
  g_errorInfo.message = message;
}

void FtmClearErrorInfo() {
  ftm_SetErrorInfo(0, nullptr);
}

FtmErrorInfo* FtmGetErrorInfo() {
  return &g_errorInfo;
}
