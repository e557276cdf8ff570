// What the voice-line tests hand the board, which no station and no board
// file shows on this board: the command text of each value (line and ring
// voltage code, line and tone name), the decoder codes, the read-clear flag.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "board/board_ops.h"
#include "requests/FTM_Voice.h"
#include "sim_board_fixture.h"
#include "xml/xml_doc.h"
#include "xml/xml_write.h"

namespace {

struct Case {
  const char* voip;  // the VOIP element
  int result;
  const char* command;  // the voice command text afterwards
  int decoder;          // the decoder state afterwards
  int readClear;
};

// In order: the decoder's state carries from one case to the next.
const Case kCases[] = {
    {"<VOIP><RING_VOLTAGE_1>25v</RING_VOLTAGE_1></VOIP>", -1, "1 0", 0, 0},
    {"<VOIP><RING_VOLTAGE_1>50v</RING_VOLTAGE_1><HOOK_1>ON</HOOK_1></VOIP>", 0, "1 5", 0, 0},
    {"<VOIP><RING_VOLTAGE_2>75v</RING_VOLTAGE_2></VOIP>", -1, "2 7", 0, 0},
    {"<VOIP><RING_VOLTAGE_2>30v</RING_VOLTAGE_2></VOIP>", -1, "2 7", 0, 0},
    {"<VOIP><TONE_1>1</TONE_1></VOIP>", -1, "1 dial", 0, 0},
    {"<VOIP><TONE_2>2</TONE_2></VOIP>", -1, "2 stutter", 0, 0},
    {"<VOIP><TONE_1>3</TONE_1></VOIP>", -1, "1 ringback", 0, 0},
    {"<VOIP><TONE_1>4</TONE_1></VOIP>", -1, "1 busy", 0, 0},
    {"<VOIP><TONE_1>5</TONE_1></VOIP>", -1, "1 reorder", 0, 0},
    {"<VOIP><TONE_1>6</TONE_1></VOIP>", -1, "1 confirm", 0, 0},
    {"<VOIP><TONE_1>7</TONE_1></VOIP>", -1, "1 msgw", 0, 0},
    {"<VOIP><TONE_1>8</TONE_1></VOIP>", -1, "1 ohwarn", 0, 0},
    {"<VOIP><TONE_1>9</TONE_1></VOIP>", -1, "1 ringing", 0, 0},
    {"<VOIP><TONE_2>10</TONE_2></VOIP>", -1, "2 ring0", 0, 0},
    {"<VOIP><TONE_2>11</TONE_2></VOIP>", -1, "2 11", 0, 0},
    {"<VOIP><TONE_1>None</TONE_1></VOIP>", -1, "1", 0, 0},
    // Off with none on is refused; on takes the line's code (1 or 3).
    {"<VOIP><DECODER_2>OFF</DECODER_2></VOIP>", -1, "1", 0, 0},
    {"<VOIP><DECODER_1>OFF</DECODER_1></VOIP>", -1, "1", 0, 0},
    {"<VOIP><DECODER_2>ON</DECODER_2></VOIP>", 0, "1", 3, 0},
    {"<VOIP><DECODER_1>ON</DECODER_1></VOIP>", -1, "1", 3, 0},
    {"<VOIP ReadClear=\"1\"></VOIP>", 0, "1", 3, 1},
    {"<VOIP ReadClear=\"yes\"><HOOK_2>OFF</HOOK_2></VOIP>", 0, "1", 3, 0},
};

class Voice : public SimBoardTest {};

TEST_F(Voice, EachValueReachesTheBoardAsItsCommand) {
  for (const Case& c : kCases) {
    XmlDoc doc = XmlParseCopy(c.voip);
    ASSERT_TRUE(doc);
    int result = FtmVoiceTest(XmlFindChild(doc.get(), "VOIP")).Report();
    EXPECT_EQ((std::make_tuple(result, std::string(VoiceLastCommandText()), FtmVoiceDecoderState(),
                               FtmVoiceReadClear())),
              std::make_tuple(c.result, std::string(c.command), c.decoder, c.readClear))
        << c.voip;
  }
}

}  // namespace
