// Fuzzes the test configuration requests: "FTM_TestModeCfg.xml" uploads
// (LEDs, throughput, auto-pair, switches, port speed, voice lines, radios).
#include "upload_fuzz.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  upload_fuzz::Initialize();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  upload_fuzz::Upload("FTM_TestModeCfg.xml", data, size);
  // Now and then the read-back of whatever the requests left in its document.
  if (upload_fuzz::g_runs % 64 == 0) {
    FtmErrorInfo* error;
    FTM_GetFile("FTM_TestModeCfg.xml", &error);
  }
  return 0;
}
