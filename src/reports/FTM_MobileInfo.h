// The mobile report ("FTM_MobileInfo.xml"): what the LTE modem says about
// its SIM, its antennas and itself (IMEI, model, firmware revision).
#ifndef FTM_REPORTS_FTM_MOBILEINFO_H_
#define FTM_REPORTS_FTM_MOBILEINFO_H_

#include "xml/xml_doc.h"

// Builds the report from the MOBILE_INFO template, filled from the modem,
// into a new malloc'd text in *buffer (*buffer null on entry; *length counts
// the terminator). 0, or non-zero after recording the failure in the error
// record. A modem that fails never fails the report: its elements show it.
int FTM_GetMobileInfoXml(char** buffer, int* length);

// Fills the SIM, ANT, IMEI, MODEL and CGMR children of a MOBILE_INFO element
// in document order, at most five, one modem exchange each (the antenna
// two); opens and closes the modem port around them. Always 0.
int XMLS_GetMobileInfoCM(XmlNode* element);

#endif  // FTM_REPORTS_FTM_MOBILEINFO_H_
