#include "xml/xml_templates.h"

#include <cstdlib>
#include <cstring>

// Each text is one line; the literals are split only to keep the source
// readable. The values carry a space on each side, which the parser drops.

const char kFtmDownloadStatusTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><DOWNLOAD_STATUS> DONE </DOWNLOAD_STATUS>";

const char kFtmEthernetTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><ETHERNET><PORT_1>"
    "<ETH_PORT_ACTIVE> NO </ETH_PORT_ACTIVE><ETH_DISCARD_IN> 0 </ETH_DISCARD_IN>"
    "<ETH_DISCARD_OUT> 0 </ETH_DISCARD_OUT><ETH_IN> 0 </ETH_IN><ETH_OUT> 0 </ETH_OUT>"
    "</PORT_1><PORT_2><ETH_PORT_ACTIVE> NO </ETH_PORT_ACTIVE>"
    "<ETH_DISCARD_IN> 0 </ETH_DISCARD_IN><ETH_DISCARD_OUT> 0 </ETH_DISCARD_OUT>"
    "<ETH_IN> 0 </ETH_IN><ETH_OUT> 0 </ETH_OUT></PORT_2><PORT_3>"
    "<ETH_PORT_ACTIVE> NO </ETH_PORT_ACTIVE><ETH_DISCARD_IN> 0 </ETH_DISCARD_IN>"
    "<ETH_DISCARD_OUT> 0 </ETH_DISCARD_OUT><ETH_IN> 0 </ETH_IN><ETH_OUT> 0 </ETH_OUT>"
    "</PORT_3><PORT_4><ETH_PORT_ACTIVE> NO </ETH_PORT_ACTIVE>"
    "<ETH_DISCARD_IN> 0 </ETH_DISCARD_IN><ETH_DISCARD_OUT> 0 </ETH_DISCARD_OUT>"
    "<ETH_IN> 0 </ETH_IN><ETH_OUT> 0 </ETH_OUT></PORT_4><PORT_5>"
    "<ETH_PORT_ACTIVE> NO </ETH_PORT_ACTIVE><ETH_DISCARD_IN> 0 </ETH_DISCARD_IN>"
    "<ETH_DISCARD_OUT> 0 </ETH_DISCARD_OUT><ETH_IN> 0 </ETH_IN><ETH_OUT> 0 </ETH_OUT>"
    "</PORT_5></ETHERNET>";

const char kFtmStatsTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><FTM_STATS><ETHERNET>"
    "<ETH_DISCARD_IN> 0 </ETH_DISCARD_IN><ETH_DISCARD_OUT> 0 </ETH_DISCARD_OUT>"
    "<ETH_IN> 0 </ETH_IN><ETH_OUT> 0 </ETH_OUT></ETHERNET><ATM>"
    "<ATM_DISCARD_IN> 0 </ATM_DISCARD_IN><ATM_DISCARD_OUT> 0 </ATM_DISCARD_OUT>"
    "<ATM_IN> 0 </ATM_IN><ATM_OUT> 0 </ATM_OUT><VC_CHAN_NUM> 1 <VC_VPI> 1 </VC_VPI>"
    "<VC_VCI> 1 </VC_VCI></VC_CHAN_NUM></ATM><DSL>"
    "<DSL_ACTIVITY_DOWNSTREAM> 1 </DSL_ACTIVITY_DOWNSTREAM>"
    "<DSL_ACTIVITY_UPTREAM> 1 </DSL_ACTIVITY_UPTREAM>"
    "<DSL_FEC_DOWNSTREAM> 1 </DSL_FEC_DOWNSTREAM><DSL_FEC_UPSTREAM> 1 </DSL_FEC_UPSTREAM>"
    "<DSL_CRC_DOWNSTREAM> 1 </DSL_CRC_DOWNSTREAM><DSL_CRC_UPSTREAM> 1 </DSL_CRC_UPSTREAM>"
    "<DSL_HEC_DOWNSTREAM> 1 </DSL_HEC_DOWNSTREAM><DSL_HEC_UPSTREAM> 1 </DSL_HEC_UPSTREAM>"
    "<DSL_ATTEN_DOWNSTREAM> 1 </DSL_ATTEN_DOWNSTREAM>"
    "<DSL_ATTEN_UPSTREAM> 1 </DSL_ATTEN_UPSTREAM>"
    "<DSL_MARGIN_DOWNSTREAM> 1 </DSL_MARGIN_DOWNSTREAM>"
    "<DSL_MARGIN_UPSTREAM> 1 </DSL_MARGIN_UPSTREAM>"
    "<DSL_SPEED_DOWNSTREAM> 1 </DSL_SPEED_DOWNSTREAM>"
    "<DSL_SPEED_UPSTREAM> 1 </DSL_SPEED_UPSTREAM>"
    "<DSL_POWER_DOWNSTREAM> 1 </DSL_POWER_DOWNSTREAM><SIGNAL_LOSS> 1 </SIGNAL_LOSS>"
    "<READY_STATUS> READY </READY_STATUS><DSL_STATE> DOWN </DSL_STATE></DSL><ATH_WIRELESS>"
    "<WIRE_TXBYTES> NA </WIRE_TXBYTES><WIRE_TXPACKETS> NA </WIRE_TXPACKETS>"
    "<WIRE_TXERRORS> NA </WIRE_TXERRORS><WIRE_TXDROPS> NA </WIRE_TXDROPS>"
    "<WIRE_RXBYTES> NA </WIRE_RXBYTES><WIRE_RXPACKETS> NA </WIRE_RXPACKETS>"
    "<WIRE_RXERRORS> NA </WIRE_RXERRORS><WIRE_RXDROPS> NA </WIRE_RXDROPS>"
    "<WIRE_STATIONS> NA </WIRE_STATIONS></ATH_WIRELESS><FLASH><DEV_TYPE> OK </DEV_TYPE>"
    "<WRITE> OK </WRITE><ERASE> OK </ERASE><CORRUPT_FILE> NO </CORRUPT_FILE>"
    "<FILE_CRC_ERROR> NO </FILE_CRC_ERROR></FLASH></FTM_STATS>";

const char kFtmTestConfigTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><TEST_CONFIG><LED><WPS_LED RW=\"T\"> NA </WPS_LED>"
    "<INTERNET_LED RW=\"T\"> NA </INTERNET_LED><USB_LED RW=\"T\"> NA </USB_LED>"
    "<LAN_LED RW=\"T\"> NA </LAN_LED><WAN_LED RW=\"T\"> NA </WAN_LED>"
    "<WIFI_24G_LED RW=\"T\"> NA </WIFI_24G_LED><WIFI_5G_LED RW=\"T\"> NA </WIFI_5G_LED>"
    "<MOBILE_4G_LED RW=\"T\"> NA </MOBILE_4G_LED><MOBILE_3G_LED RW=\"T\"> NA </MOBILE_3G_LED>"
    "<ALL_LEDS RW=\"T\"> NA </ALL_LEDS></LED><ATH_WIRELESS><ATH_24G_WIRELESS>"
    "<SSID_24G> NA </SSID_24G><MODE_24G> NA </MODE_24G><CHANNEL_24G> NA </CHANNEL_24G>"
    "<WiFi_24G_Radio_Ctrl> NA </WiFi_24G_Radio_Ctrl><DOMAIN_24G> NA </DOMAIN_24G>"
    "</ATH_24G_WIRELESS><ATH_5G_WIRELESS><SSID_5G> NA </SSID_5G><MODE_5G> NA </MODE_5G>"
    "<CHANNEL_5G> NA </CHANNEL_5G><WiFi_5G_Radio_Ctrl> NA </WiFi_5G_Radio_Ctrl>"
    "<DOMAIN_5G> NA </DOMAIN_5G></ATH_5G_WIRELESS></ATH_WIRELESS><WPS_SWITCH>"
    "<WPS_SW_STATUS RW=\"F\"> NA </WPS_SW_STATUS></WPS_SWITCH><RESET_SWITCH>"
    "<RESET_SW_STATUS RW=\"F\"> NA </RESET_SW_STATUS></RESET_SWITCH><WIFI_PWR_SWITCH>"
    "<WIFI_PWR_STATUS RW=\"F\"> NA </WIFI_PWR_STATUS></WIFI_PWR_SWITCH><USB><HOST> NA </HOST>"
    "<VENDOR> NA </VENDOR><MODEL> NA </MODEL><TYPE> NA </TYPE></USB></TEST_CONFIG>";

const char kFtmSupportedTestsPrefix[] =
    "<?xml version=1.0 encoding=UTF-8?><SUPPORTED_TESTS><LED/><THROUGHPUT/><RESET_SWITCH/>"
    "<BCOM_WIRELESS/></SUPPORTED_TESTS><ACTIVE_TEST>";

const char kFtmMobileInfoTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><MOBILE_INFO><CGMR> NA </CGMR><IMEI> NA </IMEI>"
    "<MODEL> NA </MODEL><SIM> no SIM card </SIM><ANT> Main: -XX.X, Aux: -XX.X </ANT>"
    "<LTE_4G_BROADBAND> NA </LTE_4G_BROADBAND><LTE_4G_RUNTIME> NA </LTE_4G_RUNTIME>"
    "</MOBILE_INFO>";

const char kFtmAntennaInfoTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><ANTENNA_INFO><ANT> Main: -XX.X, Aux: -XX.X </ANT>"
    "</ANTENNA_INFO>";

const char kFtmModemInfoTemplate[] =
    "<?xml version=1.0 encoding=UTF-8?><MODEM_INFO><MODEL_NUM> K17-403522-02 </MODEL_NUM>"
    "<SERIAL_NUM> 1234 </SERIAL_NUM><MAC_ADDR> 02:5e:a3:00:00:01 </MAC_ADDR>"
    "<PROD_DATE> 01252002 </PROD_DATE><PROD_REV> A </PROD_REV>"
    "<FTM_SOFTWARE_VER> N/A </FTM_SOFTWARE_VER><SOFTWARE_VER> VER:01.05.06 </SOFTWARE_VER>"
    "<SOFTWARE_DESC> Corvalink Dual Connect </SOFTWARE_DESC>"
    "<SOFTWARE_LOAD> Unknown </SOFTWARE_LOAD><RELEASE_BUILD_VER> Unknown </RELEASE_BUILD_VER>"
    "<BOOT_DELAY> 5 </BOOT_DELAY></MODEM_INFO>";

namespace {

// Parses a copy: the parser writes terminators into its input.
XmlNode* ParseCopy(const char* text) {
  const size_t size = std::strlen(text) + 1;
  char* work = static_cast<char*>(std::malloc(size));
  if (work == nullptr) return nullptr;
  std::memcpy(work, text, size);
  XmlNode* document = XmlParseDocument(work);
  std::free(work);
  return document;
}

}  // namespace

XmlNode* FTM_NewDownloadStatusDoc() {
  return ParseCopy(kFtmDownloadStatusTemplate);
}
XmlNode* FTM_NewEthernetDoc() {
  return ParseCopy(kFtmEthernetTemplate);
}
XmlNode* FTM_NewStatsDoc() {
  return ParseCopy(kFtmStatsTemplate);
}
XmlNode* FTM_NewTestConfigDoc() {
  return ParseCopy(kFtmTestConfigTemplate);
}
