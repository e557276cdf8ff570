// Fuzzes the test-mode operations: "FTM_TestModeOp.xml" uploads.
#include "upload_fuzz.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  upload_fuzz::Initialize();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  upload_fuzz::Upload("FTM_TestModeOp.xml", data, size);
  return 0;
}
