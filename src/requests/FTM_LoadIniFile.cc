#include "requests/FTM_LoadIniFile.h"

#include <csignal>
#include <cstdio>
#include <cstring>

#include "cfgstore/ftm_cfg.h"
#include "cfgstore/libini.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"

namespace {

// Kept between loads: the library may leave state in it for the next call.
IniParseContext g_iniParseContext;

// The pause between the reset and the restart's signal.
constexpr unsigned long kRestartDelayMicros = 1000000;
constexpr pid_t kInitProcess = 1;

}  // namespace

FtmErrorInfo* FtmLoadIniFile(char* text, const char* /*name*/) {
  g_iniParseContext.text = text;
  g_iniParseContext.textLength = static_cast<int32_t>(std::strlen(text));
  int32_t restart = 0;
  int32_t reset = 1;
  if (ParseIniFile(&g_iniParseContext, &restart, &reset, 0) != 0) {
    ftm_SetErrorInfo(0, kFtmMsgWriteDataFailed);
    FtmLogConsole("Process INI Fail!\n");
    return FtmGetErrorInfo();
  }
  if (reset == 1) {
    FtmCfgSession session(kFtmCfgReadMode, "reset_cfg");
    if (session.ok()) cfg_resetCfg(session.id(), 0);
  }
  if (restart == 1) {
    FtmUsleep(kRestartDelayMicros);
    FtmPlatform().Kill(kInitProcess, SIGTERM);
  }
  return nullptr;
}
