#include "requests/FTM_Voice.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "board/board_ops.h"
#include "board/gpio.h"
#include "dispatch/ftm_status.h"
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

// The result of one child: the board call's result, or kRefused for a text
// the element does not accept.
constexpr int kRefused = 1000;

struct Tone {
  const char* text;
  const char* name;
};
const Tone kTones[] = {
    {"1", "dial"},    {"2", "stutter"}, {"3", "ringback"}, {"4", "busy"},    {"5", "reorder"},
    {"6", "confirm"}, {"7", "msgw"},    {"8", "ohwarn"},   {"9", "ringing"}, {"10", "ring0"},
};

bool Is(const char* a, const char* b) {
  return std::strcmp(a, b) == 0;
}

int RingVoltage(int line, const char* text) {
  int code;
  if (Is(text, "25v")) {
    code = 0;
  } else if (Is(text, "50v")) {
    code = 5;
  } else if (Is(text, "75v")) {
    code = 7;
  } else {
    return kRefused;
  }
  VoiceCommandText(line, code);
  return VoiceSetRingVoltage(line, text);
}

int Hook(const char* text) {
  if (Is(text, "ON")) return VoiceSetHook(1);
  if (Is(text, "OFF")) return VoiceSetHook(0);
  return kRefused;
}

int CutRelay(int line, const char* text) {
  if (Is(text, "Enable")) return GpioSetVoiceRelay(line, 1);
  if (Is(text, "Disable")) return GpioSetVoiceRelay(line, 0);
  return kRefused;
}

int Decoder(int line, const char* text) {
  if (Is(text, "ON")) return FtmVoiceDecoderCtl(line, line == 1 ? 1 : 3);
  if (Is(text, "OFF")) return FtmVoiceDecoderCtl(line, line == 1 ? 2 : 4);
  return kRefused;
}

int PlayTone(int line, const char* text) {
  if (Is(text, "None")) {
    VoiceCommandText(line);
  } else {
    const char* name = text;  // any other text names the tone itself
    for (const Tone& tone : kTones) {
      if (Is(tone.text, text)) name = tone.name;
    }
    VoiceCommandText(line, name);
  }
  return VoicePlayTone(line, text);
}

// One child: its result, kRefused, or kUnknown for a name no line has.
constexpr int kUnknown = 1001;

int RunChild(const char* name, const char* text) {
  size_t length = std::strlen(name);
  if (length < 2 || name[length - 2] != '_') return kUnknown;
  int line = name[length - 1] == '1' ? 1 : name[length - 1] == '2' ? 2 : 0;
  if (line == 0) return kUnknown;
  std::string base(name, length - 2);
  if (base != "RING_VOLTAGE" && base != "HOOK" && base != "CUT_RELAY" && base != "DECODER" &&
      base != "TONE") {
    return kUnknown;
  }
  // An element without text accepts nothing, not even as a tone name.
  if (text == nullptr || *text == '\0') return kRefused;
  if (base == "RING_VOLTAGE") return RingVoltage(line, text);
  if (base == "HOOK") return Hook(text);
  if (base == "CUT_RELAY") return CutRelay(line, text);
  if (base == "DECODER") return Decoder(line, text);
  return PlayTone(line, text);
}

}  // namespace

int FtmVoiceTest(XmlNode* element, int32_t*) {
  FtmActiveTests |= kFtmTestVoice;
  int result = 0;
  if (element->children != nullptr) {
    for (XmlNode** child = element->children; *child != nullptr; ++child) {
      int rc = RunChild((*child)->name, (*child)->text);
      if (rc == kUnknown) {
        std::printf("No Element Found\n");
        continue;
      }
      if (rc == kRefused) {
        ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
        return -1;
      }
      result = rc;
    }
  }
  if (result != 0) return result;

  char** name = XmlAttrNameSlot(element, 0);
  if (name == nullptr || *name == nullptr) return 0;
  if (!Is(*name, "ReadClear")) {
    ftm_SetErrorInfo(0, kFtmMsgNoCommandFound);
    return -1;
  }
  const char* value = *XmlAttrValueSlot(element, 0);
  g_readClear = value != nullptr && Is(value, "1") ? 1 : 0;
  return 0;
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
