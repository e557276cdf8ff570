// The four-port Ethernet report ("FTM_Stats_4port.xml" downloaded): each
// switch port's link and its packet totals, which are kept across link drops.
#ifndef FTM_REPORTS_FTM_STATS4PORT_H_
#define FTM_REPORTS_FTM_STATS4PORT_H_

#include "xml/xml_doc.h"

// Refreshes the kept ETHERNET document from the store's SwitchStat table
// (and the switch utility's RMON counters for the fifth port) and builds its
// text into a new malloc'd *buffer (*buffer null on entry; *length counts
// the terminator). 0; -1 without building when the store cannot be read;
// otherwise the result of FTM_BuildReportFile.
int FTM_GetStats4portXml(char** buffer, int* length);

// Refreshes PORT_1 to PORT_5 of the kept document. 0, or -1 when no session
// could be started or SwitchStat could not be read (recorded as "Fail to
// Create Xml File").
int FtmUpdStats4portNew();

// The kept ETHERNET document (FtmStats4portDoc), made on first use and kept
// for the daemon's life; the Ethernet port request makes sure it exists.
// Null only when memory runs out ("Fail to Create Xml Data Obj" recorded).
XmlNode* FtmStats4portDocument();

// Directions of a port's counter records.
enum FtmPortDirection { kFtmPortReceived = 0, kFtmPortTransmitted = 1 };

// One counter record: takes a reading (null when absent) with the port's
// link state. Returns 1 when it took the reading, 0 when it was absent or
// negative (the record is then unchanged).
int FtmUpdatePortCounter(const char* reading, bool linkUp, int statRow, FtmPortDirection direction);

// The reported count of a record: base plus current reading, in 32-bit
// two's complement.
int FtmPortCount(int statRow, FtmPortDirection direction);

#endif  // FTM_REPORTS_FTM_STATS4PORT_H_
