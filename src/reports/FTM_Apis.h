// The report fills that read the configuration store. They identify
// themselves to the store's library as "FTM_Apis.c", with their own names
// and the lines of their calls.
#ifndef FTM_REPORTS_FTM_APIS_H_
#define FTM_REPORTS_FTM_APIS_H_

#include <cstddef>

#include "cfgstore/ftm_cfg.h"
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
// The statistics report's sections, each filled in place inside a store
// session of its own; a source that cannot be read (or a table without the
// row a section reads) leaves its elements as they were. 0, or -1 when no
// session could be started or the section's table could not be read (the
// wireless section: the result of its WlanStations read once NetDev was
// read).
int XMLS_initEtherStatCatCM(XmlNode* element);  // NetDev, the "SwingJack" row
int XMLS_initAtmStatCatCM(XmlNode* element);    // BcmAtm
int XMLS_initDslStatCM(XmlNode* element);       // Xcvr, the tests mask, GPIO 41
int XMLS_GetFlashErrCM(XmlNode* element);       // FlashErr
int XMLS_Get_Wl0_StatCM(XmlNode* element);      // NetDev, the "Wireless" row; WlanStations

// The size of an interface name buffer: at most 51 characters.
constexpr size_t kFtmInterfaceNameSize = 52;

// The Linux interface name of a logical interface, from ProductInterfaces
// (logical name in column 1, interface name in column 2) read in the
// caller's session. 0 when a name was found; -1 otherwise, after printing
// "%s Interface Name is not available\n". A name longer than 51 characters
// is not taken: the look-up fails as for a missing one.
int GetInterfaceName(const FtmCfgReader& store, const char* logicalName,
                     char (&name)[kFtmInterfaceNameSize]);

#endif  // FTM_REPORTS_FTM_APIS_H_
