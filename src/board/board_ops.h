// The board operations the request handlers are written against: which
// test settings this board can apply, the hooks run when a test is entered
// or left, and the voice-line operations. On this board most of them have
// nothing to drive and answer a fixed result.
//
// A port to another board replaces board_ops.cc with its own file (the
// build names it once, in src/board/CMakeLists.txt); no handler changes.
#ifndef FTM_BOARD_BOARD_OPS_H_
#define FTM_BOARD_BOARD_OPS_H_

#include <cstdint>

// 1 when the board can apply the setting named by the element (READY_STATUS,
// ETHER_PORT_SPD, AUTO_MODE, each LED element and ALL_LEDS), else 0.
int BoardCapability(const char* element);

// Run by ENTER_TEST / AUTO_PAIR.
void BoardEnterAutoPair();
// Run by EXIT_TEST for each of the bits 0x4000, 0x2000, 0x1000 and 0x0800
// that is set in the tests mask.
void BoardExitTest(uint16_t bit);

// Formats a voice command text from the line and values into a buffer of
// its own ("%d", "%d %s" or "%d %d", the numbers as 16-bit values); 0.
int VoiceCommandText(int line);
int VoiceCommandText(int line, const char* tone);
int VoiceCommandText(int line, int value);
// The last command text formatted (empty before the first): what a board
// with a voice driver would hand it.
const char* VoiceLastCommandText();
// Sets a line's ring voltage from its text ("25v", "50v", "75v"): 0 or -1.
int VoiceSetRingVoltage(int line, const char* voltage);
// Puts the hook on (1) or off (0): 0 or -1.
int VoiceSetHook(int state);
// Plays a tone on a line, the tone as the station wrote it: 0 or -1.
int VoicePlayTone(int line, const char* tone);

// The daemon's one exported symbol; nothing in the daemon calls it. 0.
extern "C" int Ftm_Storage();

#endif  // FTM_BOARD_BOARD_OPS_H_
