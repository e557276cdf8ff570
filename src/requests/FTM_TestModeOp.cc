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
#include "dispatch/ftm_result.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "requests/FTM_TestConfig.h"
#include "requests/FTM_Voice.h"
#include "xml/xml_write.h"

namespace {

FtmResult EnterTest(XmlNode* doc) {
  XmlNode* enter = XmlFindChild(doc, "ENTER_TEST");
  if (enter == nullptr || enter->children == nullptr) {
    return FtmResult::Refused(kFtmMsgXmlFileInvalid);
  }
  XmlNode* test = enter->children[0];
  if (test == nullptr) return FtmResult::Refused(kFtmMsgNoCommandFound);
  const char* name = test->name;
  if (FtmIs(name, "LED")) {
    FtmActiveTests |= kFtmTestLed;
    GpioAllLedsOff();
  } else if (FtmIs(name, "RESET_SWITCH")) {
    FtmActiveTests |= kFtmTestResetSwitch;
    GpioEnterFtm();  // failures are logged and do not change the answer
  } else if (FtmIs(name, "THROUGHPUT")) {
    FtmActiveTests |= kFtmTestThroughput;
    FtmResult result = FtmThroughputTest(test);
    // A failed circuit change is answered 1, which ends the request here.
    return result.failed() ? FtmResult::Refused(kFtmMsgWriteDataFailed, 1) : result;
  } else if (FtmIs(name, "VOIP")) {
    FtmActiveTests |= kFtmTestVoice;
    return FtmVoiceTest(test);
  } else if (FtmIs(name, "AUTO_PAIR")) {
    FtmActiveTests |= kFtmTestAutoPair;
    BoardEnterAutoPair();
  } else if (FtmIs(name, "BCOM_WIRELESS")) {
    FtmActiveTests |= kFtmTestWireless;
  } else {
    return FtmResult::Refused(kFtmMsgTestNotSupported, 1);
  }
  return FtmResult::Accepted();
}

}  // namespace

int FtmEnterTest(XmlNode* doc) {
  FtmClearErrorInfo();
  return EnterTest(doc).Report();
}

int FtmExitTest(XmlNode* doc) {
  FtmClearErrorInfo();
  if (XmlFindChild(doc, "EXIT_TEST") == nullptr) {
    return FtmResult::Refused(kFtmMsgXmlFileInvalid).Report();
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
    return FtmResult::Refused(kFtmMsgNoCommandFound).Report();
  }
  return (result == 0 ? FtmResult::Accepted() : FtmResult::Refused(kFtmMsgWriteDataFailed))
      .Report();
}

int FtmPutTestModeOp(const char* text) {
  FtmClearErrorInfo();
  XmlDoc document = XmlParseCopy(text);
  if (!document) return FtmResult::Refused(kFtmMsgCreateXmlDataObjFailed).Report();
  int result = FtmEnterTest(document.get());
  if (result == -1) result = FtmExitTest(document.get());
  if (result == -1) result = FtmBoardCommand(document.get());
  return result;
}
