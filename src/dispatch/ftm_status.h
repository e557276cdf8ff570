// Process-wide test status: the error record that carries a failure's
// message back to the station, the mask of tests in progress and the flag
// read by the progress report. All of it is touched only by the transfer
// task's thread, so nothing here is locked.
#ifndef FTM_DISPATCH_FTM_STATUS_H_
#define FTM_DISPATCH_FTM_STATUS_H_

#include <cstdint>

// The last failure recorded for the station. `message` always points at one
// of the fixed messages below (never a copy), or is null before the first
// failure and after FtmClearErrorInfo.
struct FtmErrorInfo {
  uint16_t code;  // TFTP error code; 0 in every use of the daemon
  const char* message;
};

// The daemon's fixed result messages, byte for byte as the station sees them.
extern const char kFtmMsgFileNotSupported[];        // "File Not Supported"
extern const char kFtmMsgXmlFileInvalid[];          // "Xml File InValid"
extern const char kFtmMsgNoCommandFound[];          // "No Command Found"
extern const char kFtmMsgTestNotSupported[];        // "Test not supported"
extern const char kFtmMsgWriteDataFailed[];         // "Write data failed"
extern const char kFtmMsgWriteTestConfigFailed[];   // "Write test config failed"
extern const char kFtmMsgCreateXmlDataObjFailed[];  // "Fail to Create Xml Data Obj"
extern const char kFtmMsgCreateXmlFileFailed[];     // "Fail to Create Xml File"

// Bits of FtmActiveTests.
constexpr uint16_t kFtmTestLed = 0x8000;
constexpr uint16_t kFtmTestResetSwitch = 0x4000;
constexpr uint16_t kFtmTestThroughput = 0x2000;
// Looked at by EXIT_TEST, but no request sets it.
constexpr uint16_t kFtmTestReserved = 0x1000;
constexpr uint16_t kFtmTestAutoPair = 0x0800;
constexpr uint16_t kFtmTestWireless = 0x0400;
constexpr uint16_t kFtmTestVoice = 0x0200;

// Tests in progress; 0 at start. Setting a test's bit leaves the others
// alone; only EXIT_TEST clears the mask.
extern uint16_t FtmActiveTests;

// 1 only while an uploaded INI file is being loaded; 0 otherwise.
extern uint16_t FtmDownloadInProgress;

// Records a failure. `message` must be one of the fixed messages above: the
// record keeps the pointer, not a copy. It stays until the next call or
// FtmClearErrorInfo; transfers do not reset it.
void ftm_SetErrorInfo(uint16_t code, const char* message);

// Code 0, no message.
void FtmClearErrorInfo();

// The one record itself, for the transfers to read its code and message.
FtmErrorInfo* FtmGetErrorInfo();

#endif  // FTM_DISPATCH_FTM_STATUS_H_
