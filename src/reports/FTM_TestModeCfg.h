// The read-back of the test settings ("FTM_TestModeCfg.xml" downloads): the
// kept TEST_CONFIG document, its LEDs, buttons and switches refreshed from
// the GPIO driver and the button markers, its radios from the driver and
// the store, and its USB fields from "/proc/scsi/scsi".
#ifndef FTM_REPORTS_FTM_TESTMODECFG_H_
#define FTM_REPORTS_FTM_TESTMODECFG_H_

// Refreshes the kept document and builds its text, which this builder keeps
// until the next request. Returns the text from its first '<', or null when
// none could be made (the error record says why). An element the document
// does not hold is skipped after recording "Xml File InValid".
const char* FTM_GetTestModeCfgXml();

#endif  // FTM_REPORTS_FTM_TESTMODECFG_H_
