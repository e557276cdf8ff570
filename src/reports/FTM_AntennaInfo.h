// The antenna report ("FTM_AntennaInfo.xml"): the receive levels of the LTE
// modem's main and auxiliary antennas. Also home of the antenna read that
// the mobile report shares.
#ifndef FTM_REPORTS_FTM_ANTENNAINFO_H_
#define FTM_REPORTS_FTM_ANTENNAINFO_H_

#include "modem/ftm_at.h"
#include "xml/xml_doc.h"

// Builds the report from the ANTENNA_INFO template, filled from the modem,
// into a new malloc'd text in *buffer (*buffer null on entry; *length counts
// the terminator). 0, or non-zero after recording the failure in the error
// record. A modem that fails never fails the report: its element is empty.
int FTM_GetAntennaInfoXml(char** buffer, int* length);

// Fills the first ANT child of an ANTENNA_INFO element; opens and closes the
// modem port around it. Always 0.
int XMLS_GetAntennaInfoCM(XmlNode* element);

// The ANT text on an open port: the unlock, then the receive levels as
// "Main: %s, Aux: %s" (cut to kAtValueSize - 1 characters), or "" when the
// modem could not be asked. `fill` names the caller in the trace line.
void FtmReadAntennaText(const char* fill, char* text);

#endif  // FTM_REPORTS_FTM_ANTENNAINFO_H_
