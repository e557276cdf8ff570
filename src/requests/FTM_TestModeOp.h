// The test-mode operations ("FTM_TestModeOp.xml" uploads): enter a test,
// leave the tests, resynchronise the DSL line, restart the board normally
// or into its safe-boot image.
#ifndef FTM_REQUESTS_FTM_TESTMODEOP_H_
#define FTM_REQUESTS_FTM_TESTMODEOP_H_

#include "xml/xml_doc.h"

// The upload handler: ENTER_TEST, then EXIT_TEST, then the board commands
// (RESYNC, REBOOT, REBOOT_TO_SAFEBOOT), each step passing the document on
// with -1. 0 on success; 1 for a refused test or a failed board write; -1
// otherwise; the error record says why.
int FtmPutTestModeOp(const char* text);

// The three steps, each 0 when it recognised and performed its command.
// FtmEnterTest answers 1 for an unknown test or a failed board write; -1
// passes the document on.
int FtmEnterTest(XmlNode* doc);
int FtmExitTest(XmlNode* doc);
int FtmBoardCommand(XmlNode* doc);

#endif  // FTM_REQUESTS_FTM_TESTMODEOP_H_
