// The voice-line tests: a VOIP element (inside TEST_CONFIG, or the test
// named by ENTER_TEST) sets each of the two lines' ring voltage, hook, cut
// relay, digit decoder and test tone through the board's voice operations.
#ifndef FTM_REQUESTS_FTM_VOICE_H_
#define FTM_REQUESTS_FTM_VOICE_H_

#include <cstdint>

#include "dispatch/ftm_result.h"
#include "xml/xml_doc.h"

// Sets the voice bit of the tests mask and runs each child of the element in
// order. Refused for a refused value ("Test not supported") or a first
// attribute other than ReadClear ("No Command Found"); failed with the
// non-zero result of the last board operation.
FtmResult FtmVoiceTest(XmlNode* element);

// Switches a line's digit decoder: code 1 or 3 on (line 1 or 2), 2 or 4 off.
// 0, or -1 when a decoder is already on, none is known to switch off, or the
// code is unknown.
int FtmVoiceDecoderCtl(int line, int code);

// The last accepted decoder code (0 at start) and the read-clear flag the
// ReadClear attribute sets: state no report of this board shows.
int32_t FtmVoiceDecoderState();
int32_t FtmVoiceReadClear();

#endif  // FTM_REQUESTS_FTM_VOICE_H_
