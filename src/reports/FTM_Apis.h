// The report fills that read the configuration store. They identify
// themselves to the store's library as "FTM_Apis.c", with their own names
// and the lines of their calls.
#ifndef FTM_REPORTS_FTM_APIS_H_
#define FTM_REPORTS_FTM_APIS_H_

#include "xml/xml_doc.h"

// Fills a MODEM_INFO element in place, in four passes over its children
// (production data and boot delay; software versions; INI file and software
// load; transceiver). A table that cannot be read leaves its pass's
// elements as they were. 0, or -1 when no session could be started or the
// Xcvr table could not be read.
int XMLS_GetModemInfoCM(XmlNode* element);

// The read-back's WIFI_PWR_SWITCH / WIFI_PWR_STATUS of a TEST_CONFIG
// document: "OPEN" when the 2.4 GHz radio's Enabled cell (column 0 of
// WlanConfig's first row) is exactly "1", else "CLOSED". 0 when written;
// -1 when the store or the element is missing (reported on the console,
// never in the error record).
int FtmWifiSwStat(XmlNode* doc);

#endif  // FTM_REPORTS_FTM_APIS_H_
