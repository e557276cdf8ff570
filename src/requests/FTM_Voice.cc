#include "requests/FTM_Voice.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "board/board_ops.h"
#include "board/gpio.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "xml/xml_write.h"

namespace {

// The decoder's state: the last accepted code (0 at start), the request a
// decoder would pick up, and the process that runs the decoder (none is
// ever known on this board, so switching one off is refused).
int32_t g_decoderState = 0;
int32_t g_decoderRequest = 0;
pid_t g_decoderPid = 0;
pthread_mutex_t g_decoderMutex = PTHREAD_MUTEX_INITIALIZER;

// Set by the ReadClear attribute; no report reads it.
int32_t g_readClear = 0;

struct Tone {
  const char* text;
  const char* name;
};
const Tone kTones[] = {
    {"1", "dial"},    {"2", "stutter"}, {"3", "ringback"}, {"4", "busy"},    {"5", "reorder"},
    {"6", "confirm"}, {"7", "msgw"},    {"8", "ohwarn"},   {"9", "ringing"}, {"10", "ring0"},
};

FtmResult RingVoltage(int line, const char* text) {
  int code;
  if (FtmIs(text, "25v")) {
    code = 0;
  } else if (FtmIs(text, "50v")) {
    code = 5;
  } else if (FtmIs(text, "75v")) {
    code = 7;
  } else {
    return FtmResult::Refused(kFtmMsgTestNotSupported);
  }
  VoiceCommandText(line, code);
  return FtmResult::Of(VoiceSetRingVoltage(line, text));
}

FtmResult Hook(const char* text) {
  if (FtmIs(text, "ON")) return FtmResult::Of(VoiceSetHook(1));
  if (FtmIs(text, "OFF")) return FtmResult::Of(VoiceSetHook(0));
  return FtmResult::Refused(kFtmMsgTestNotSupported);
}

FtmResult CutRelay(int line, const char* text) {
  if (FtmIs(text, "Enable")) return FtmResult::Of(GpioSetVoiceRelay(line, 1));
  if (FtmIs(text, "Disable")) return FtmResult::Of(GpioSetVoiceRelay(line, 0));
  return FtmResult::Refused(kFtmMsgTestNotSupported);
}

FtmResult Decoder(int line, const char* text) {
  if (FtmIs(text, "ON")) return FtmResult::Of(FtmVoiceDecoderCtl(line, line == 1 ? 1 : 3));
  if (FtmIs(text, "OFF")) return FtmResult::Of(FtmVoiceDecoderCtl(line, line == 1 ? 2 : 4));
  return FtmResult::Refused(kFtmMsgTestNotSupported);
}

FtmResult PlayTone(int line, const char* text) {
  if (FtmIs(text, "None")) {
    VoiceCommandText(line);
  } else {
    const char* name = text;  // any other text names the tone itself
    for (const Tone& tone : kTones) {
      if (FtmIs(tone.text, text)) name = tone.name;
    }
    VoiceCommandText(line, name);
  }
  return FtmResult::Of(VoicePlayTone(line, text));
}

// The line (1 or 2) and the setting a child's name gives, or false for a
// name no line has.
bool ChildSetting(const char* name, int* line, std::string* base) {
  size_t length = std::strlen(name);
  if (length < 2 || name[length - 2] != '_') return false;
  *line = name[length - 1] == '1' ? 1 : name[length - 1] == '2' ? 2 : 0;
  base->assign(name, length - 2);
  return *line != 0 && (*base == "RING_VOLTAGE" || *base == "HOOK" || *base == "CUT_RELAY" ||
                        *base == "DECODER" || *base == "TONE");
}

FtmResult RunChild(int line, const std::string& base, const char* text) {
  // An element without text accepts nothing, not even as a tone name.
  if (text == nullptr || *text == '\0') return FtmResult::Refused(kFtmMsgTestNotSupported);
  if (base == "RING_VOLTAGE") return RingVoltage(line, text);
  if (base == "HOOK") return Hook(text);
  if (base == "CUT_RELAY") return CutRelay(line, text);
  if (base == "DECODER") return Decoder(line, text);
  return PlayTone(line, text);
}

}  // namespace

FtmResult FtmVoiceTest(XmlNode* element) {
  FtmActiveTests |= kFtmTestVoice;
  FtmResult result = FtmResult::Accepted();
  if (element->children != nullptr) {
    for (XmlNode** child = element->children; *child != nullptr; ++child) {
      int line = 0;
      std::string base;
      if (!ChildSetting((*child)->name, &line, &base)) {
        FtmLogConsole("No Element Found\n");
        continue;
      }
      result = RunChild(line, base, (*child)->text);
      if (!result.failed() && !result.accepted()) return result;  // refused
    }
  }
  if (!result.accepted()) return result;

  char** name = XmlAttrNameSlot(element, 0);
  if (name == nullptr || *name == nullptr) return FtmResult::Accepted();
  if (!FtmIs(*name, "ReadClear")) return FtmResult::Refused(kFtmMsgNoCommandFound);
  const char* value = *XmlAttrValueSlot(element, 0);
  g_readClear = FtmIs(value, "1") ? 1 : 0;
  return FtmResult::Accepted();
}

int FtmVoiceDecoderCtl(int, int code) {
  switch (code) {
    case 1:
    case 3:
      if (g_decoderState != 0 && g_decoderState != 2 && g_decoderState != 4) return -1;
      pthread_mutex_lock(&g_decoderMutex);
      g_decoderRequest = code;
      g_decoderState = code;
      pthread_mutex_unlock(&g_decoderMutex);
      return 0;
    case 2:
    case 4:
      if (g_decoderPid == 0) return -1;
      g_decoderState = code;
      FtmPlatform().Kill(g_decoderPid, SIGTERM);
      return 0;
    default:
      return -1;
  }
}

int32_t FtmVoiceDecoderState() {
  return g_decoderState;
}

int32_t FtmVoiceReadClear() {
  return g_readClear;
}
