#include "requests/FTM_TestModeOp.h"

#include <fcntl.h>
#include <syslog.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "board/board_ops.h"
#include "board/flash.h"
#include "board/gpio.h"
#include "dispatch/ftm_status.h"
#include "platform/platform.h"
#include "requests/FTM_TestConfig.h"
#include "requests/FTM_Voice.h"
#include "xml/xml_write.h"

namespace {

bool Is(const char* a, const char* b) {
  return std::strcmp(a, b) == 0;
}

// The reset-switch test: the GPIO driver enters test mode; failures are
// logged and do not change the answer. A device that does not open cannot
// take the request either, so both lines are logged.
void EnterResetSwitchTest() {
  PlatformDevice device("/dev/gpioctrl", O_RDWR);
  if (!device.ok()) FtmLogBoth("Cannot open gpio driver");
  GpioIoRecord record = {0, 0};
  if (!device.ok() || device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0) {
    FtmLogBoth("GPIOCTRL_ENTERFTM ioctl failed");
  }
}

}  // namespace

int FtmEnterTest(XmlNode* doc) {
  FtmClearErrorInfo();
  XmlNode* enter = XmlFindChild(doc, "ENTER_TEST");
  if (enter == nullptr || enter->children == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgXmlFileInvalid);
    return -1;
  }
  XmlNode* test = enter->children[0];
  if (test == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgNoCommandFound);
    return -1;
  }
  int32_t flag = 0;
  int result = 0;
  const char* name = test->name;
  if (Is(name, "LED")) {
    FtmActiveTests |= kFtmTestLed;
    GpioAllLedsOff();
  } else if (Is(name, "RESET_SWITCH")) {
    FtmActiveTests |= kFtmTestResetSwitch;
    EnterResetSwitchTest();
  } else if (Is(name, "THROUGHPUT")) {
    FtmActiveTests |= kFtmTestThroughput;
    result = FtmThroughputTest(test, &flag);
  } else if (Is(name, "VOIP")) {
    FtmActiveTests |= kFtmTestVoice;
    result = FtmVoiceTest(test, &flag);
  } else if (Is(name, "AUTO_PAIR")) {
    FtmActiveTests |= kFtmTestAutoPair;
    BoardEnterAutoPair();
  } else if (Is(name, "BCOM_WIRELESS")) {
    FtmActiveTests |= kFtmTestWireless;
  } else {
    ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
    result = 1;
  }
  if (flag != 0) {
    ftm_SetErrorInfo(0, kFtmMsgWriteDataFailed);
    return 1;
  }
  return result;
}

int FtmExitTest(XmlNode* doc) {
  FtmClearErrorInfo();
  if (XmlFindChild(doc, "EXIT_TEST") == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgXmlFileInvalid);
    return -1;
  }
  if ((FtmActiveTests & kFtmTestLed) != 0) GpioExitFtm();
  for (uint16_t bit :
       {kFtmTestResetSwitch, kFtmTestThroughput, kFtmTestReserved, kFtmTestAutoPair}) {
    if ((FtmActiveTests & bit) != 0) BoardExitTest(bit);
  }
  FtmActiveTests = 0;
  return 0;
}

int FtmBoardCommand(XmlNode* doc) {
  int result;
  if (XmlFindChild(doc, "RESYNC") != nullptr) {
    // Opening the driver is the resynchronisation; nothing is sent to it.
    PlatformDevice device("/dev/dsl_cpe_api", O_RDWR);
    if (!device.ok()) FtmLogBoth("Cannot open adsl driver");
    result = device.ok() ? 0 : -1;
  } else if (XmlFindChild(doc, "REBOOT") != nullptr) {
    result = FlshmgmtRestart(0);
  } else if (XmlFindChild(doc, "REBOOT_TO_SAFEBOOT") != nullptr) {
    result = FlshmgmtRestart(1);
  } else {
    ftm_SetErrorInfo(0, kFtmMsgNoCommandFound);
    return -1;
  }
  if (result == 0) return 0;
  ftm_SetErrorInfo(0, kFtmMsgWriteDataFailed);
  return -1;
}

int FtmPutTestModeOp(const char* text) {
  FtmClearErrorInfo();
  XmlDoc document = XmlParseCopy(text);
  if (!document) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  int result = FtmEnterTest(document.get());
  if (result == -1) result = FtmExitTest(document.get());
  if (result == -1) result = FtmBoardCommand(document.get());
  return result;
}
