// The test configuration requests ("FTM_TestModeCfg.xml" uploads): LEDs,
// the throughput test's ATM circuit, the auto-pair selector, the push-button
// lines, Ethernet port speed, voice lines and Wi-Fi radios, each a child of
// TEST_CONFIG handed to its handler in document order.
//
// FtmTestConfigDoc, the kept TEST_CONFIG document that the read-back report
// serves, lives here; the wireless handler and the read-back reach it through
// FtmTestConfigDocument().
#ifndef FTM_REQUESTS_FTM_TESTCONFIG_H_
#define FTM_REQUESTS_FTM_TESTCONFIG_H_

#include <cstddef>
#include <cstdint>

#include "dispatch/ftm_result.h"
#include "xml/xml_doc.h"

// The kept read-back document, made from the TEST_CONFIG template on first
// use and kept for the daemon's life. Null only when memory runs out.
XmlNode* FtmTestConfigDocument();

// The upload handler: the result of the last child's handler (0 on
// success), or -1 with the error record saying why.
int FtmPutTestConfig(const char* text);

// The THROUGHPUT element (also ENTER_TEST / THROUGHPUT): sets the
// throughput bit and moves the ATM circuit to the element's VPI and VCI
// (first and second attribute). Refused with its message, or failed when
// the circuit change failed.
FtmResult FtmThroughputTest(XmlNode* element);

// Replaces the ATM circuit: deletes the current one (FTM_GetCurrentVpiVci)
// with "/etc/init.d/DelOrgVpiVci.sh" and makes the new one with
// "/etc/init.d/NewVpiVci.sh 0.<vpi>.<vci> <MAC>", the MAC address read from
// ProductionData ("02:5e:a3:00:00:01" when it cannot be read or is not of
// the form xx:xx:xx:xx:xx:xx). 0, or -1 when the MAC address could not be
// read. VPI and VCI must be decimal digits; anything else runs no script and
// is -1 with "Test not supported".
int ftm_ChangeVpiVci(const char* vpi, const char* vci);

// Writes the current circuit of "nas0" from VccStat ("0.<vpi>.<vci>") into
// buffer (size bytes) and returns it; null when the table cannot be read,
// has no "nas0" row, its VPI or VCI is not decimal, or it does not fit.
char* FTM_GetCurrentVpiVci(char* buffer, size_t size);

#endif  // FTM_REQUESTS_FTM_TESTCONFIG_H_
