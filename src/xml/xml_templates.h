// The built-in report skeletons. Every report starts from one of these
// one-line texts: a builder parses it, overwrites the placeholders it can
// fill with live values and writes the document out (xml_write.h), so any
// element it cannot fill goes out with the value given here.
//
// The prolog of each text carries unquoted values
// ("<?xml version=1.0 encoding=UTF-8?>"); the parser reads them and the
// writer puts them out quoted.
#ifndef FTM_XML_XML_TEMPLATES_H_
#define FTM_XML_XML_TEMPLATES_H_

#include "xml/xml_doc.h"

extern const char kFtmDownloadStatusTemplate[];  // DOWNLOAD_STATUS
extern const char kFtmEthernetTemplate[];        // ETHERNET, PORT_1 to PORT_5
extern const char kFtmStatsTemplate[];           // FTM_STATS
extern const char kFtmTestConfigTemplate[];      // TEST_CONFIG
extern const char kFtmMobileInfoTemplate[];      // MOBILE_INFO
extern const char kFtmAntennaInfoTemplate[];     // ANTENNA_INFO
extern const char kFtmModemInfoTemplate[];       // MODEM_INFO

// Not a whole document: the fixed SUPPORTED_TESTS part, 132 characters,
// ending with an open "<ACTIVE_TEST>". The test-mode operations report
// appends the entries of the tests in progress and "</ACTIVE_TEST>" before
// parsing it.
extern const char kFtmSupportedTestsPrefix[];

// New documents parsed from the first four texts. The caller owns each
// (the daemon keeps them for its whole life). Null only when memory runs
// out.
XmlNode* FTM_NewDownloadStatusDoc();
XmlNode* FTM_NewEthernetDoc();
XmlNode* FTM_NewStatsDoc();
XmlNode* FTM_NewTestConfigDoc();

#endif  // FTM_XML_XML_TEMPLATES_H_
