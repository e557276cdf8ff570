// The board operations of this gateway: the fixed answers of a board whose
// throughput readiness and port speed cannot be set, whose hooks have nothing
// to drive and whose voice chip takes no ring voltage or tone from here.
#include "board/board_ops.h"

#include <cstdio>
#include <cstring>

namespace {

// The settings this board applies; anything else is not supported
// (READY_STATUS and ETHER_PORT_SPD among them).
const char* const kSupported[] = {
    "AUTO_MODE", "MOBILE_3G_LED", "MOBILE_4G_LED", "WIFI_24G_LED", "WIFI_5G_LED", "WAN_LED",
    "LAN_LED",   "INTERNET_LED",  "USB_LED",       "WPS_LED",      "ALL_LEDS",
};

// The last command text formatted; no voice driver on this board reads it.
char g_voiceCommand[64];

}  // namespace

int BoardCapability(const char* element) {
  if (element == nullptr) return 0;
  for (const char* name : kSupported) {
    if (std::strcmp(name, element) == 0) return 1;
  }
  return 0;
}

void BoardEnterAutoPair() {}

void BoardExitTest(uint16_t) {}

int VoiceCommandText(int line) {
  std::snprintf(g_voiceCommand, sizeof g_voiceCommand, "%d", static_cast<int16_t>(line));
  return 0;
}

int VoiceCommandText(int line, const char* tone) {
  std::snprintf(g_voiceCommand, sizeof g_voiceCommand, "%d %s", static_cast<int16_t>(line),
                tone != nullptr ? tone : "");
  return 0;
}

int VoiceCommandText(int line, int value) {
  std::snprintf(g_voiceCommand, sizeof g_voiceCommand, "%d %d", static_cast<int16_t>(line),
                static_cast<int16_t>(value));
  return 0;
}

const char* VoiceLastCommandText() {
  return g_voiceCommand;
}

int VoiceSetRingVoltage(int, const char*) {
  return -1;
}

int VoiceSetHook(int) {
  return 0;
}

int VoicePlayTone(int, const char*) {
  return -1;
}

extern "C" int Ftm_Storage() {
  return 0;
}
