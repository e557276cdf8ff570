// The statistics report ("FTM_Statistics.xml"): the counters of the
// configurable Ethernet port, the ATM layer, the DSL line, the flash error
// record and the wireless interface, in one document kept for the daemon's
// life so that a source that cannot be read keeps its last values.
#ifndef FTM_REPORTS_FTM_STATISTICS_H_
#define FTM_REPORTS_FTM_STATISTICS_H_

// Refreshes the kept FTM_STATS document and builds its text into a new
// malloc'd *buffer (*buffer null on entry; *length counts the terminator).
// 0, or the failure of FTM_BuildReportFile (or -1 when the document cannot
// be made).
int FTM_GetStatisticsXml(char** buffer, int* length);

// Refreshes the five sections in turn (ETHERNET, ATM, DSL, FLASH,
// ATH_WIRELESS), each from its own store session; a missing section is
// skipped. Returns 0.
int FtmUpdStatistics();

#endif  // FTM_REPORTS_FTM_STATISTICS_H_
