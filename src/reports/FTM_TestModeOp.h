// The supported-tests report ("FTM_TestModeOp.xml" downloaded): the tests the
// board offers, fixed, and the tests in progress, from FtmActiveTests.
#ifndef FTM_REPORTS_FTM_TESTMODEOP_H_
#define FTM_REPORTS_FTM_TESTMODEOP_H_

// Builds the report into a new malloc'd text in *buffer (*buffer null on
// entry; *length counts the terminator). 0, or -1 after recording the
// failure.
int FTM_GetTestModeOpXml(char** buffer, int* length);

#endif  // FTM_REPORTS_FTM_TESTMODEOP_H_
