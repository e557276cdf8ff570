// Parses and writes each report template and a request of the largest size
// the board accepts (7648 bytes), many times, and prints the time per
// operation and the peak heap use of one operation, beside the same work
// done by expat (parse into a small tree) and libxml2 (parse; write with
// indentation), and our time over the reference's.
//
// The references need well-formed XML, so they read the templates with the
// prolog's values quoted (4 bytes longer), and SUPPORTED_TESTS, which has
// two top-level elements, inside one more; everything else is the same text.
#include <expat.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "xml/xml_doc.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

// Heap accounting: every allocation of the process (ours, libstdc++, expat,
// libxml2) passes through these, so one operation's peak can be read off.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void __libc_free(void*);

namespace {
size_t g_inUse = 0;
size_t g_peak = 0;
void Track(void* p) {
  if (p == nullptr) return;
  g_inUse += malloc_usable_size(p);
  g_peak = std::max(g_peak, g_inUse);
}
void Untrack(void* p) {
  if (p != nullptr) g_inUse -= malloc_usable_size(p);
}
}  // namespace

extern "C" void* malloc(size_t n) noexcept {
  void* p = __libc_malloc(n);
  Track(p);
  return p;
}
extern "C" void* calloc(size_t n, size_t size) noexcept {
  void* p = __libc_calloc(n, size);
  Track(p);
  return p;
}
extern "C" void* realloc(void* old, size_t n) noexcept {
  Untrack(old);
  void* p = __libc_realloc(old, n);
  // On failure the old block stays allocated.
  Track(p != nullptr || n == 0 ? p : old);
  return p;
}
extern "C" void free(void* p) noexcept {
  Untrack(p);
  __libc_free(p);
}

namespace {

struct Figure {
  double nsPerOp;
  size_t peakBytes;
};

// Runs `op` once to measure its peak heap use, then repeatedly for about
// 0.3 s to time it.
template <typename Op>
Figure Measure(Op op) {
  const size_t base = g_inUse;
  g_peak = base;
  op();
  const size_t peak = g_peak - base;
  using Clock = std::chrono::steady_clock;
  long runs = 0;
  const Clock::time_point start = Clock::now();
  Clock::duration elapsed{};
  do {
    for (int i = 0; i < 64; ++i) op();
    runs += 64;
    elapsed = Clock::now() - start;
  } while (elapsed < std::chrono::milliseconds(300));
  return {std::chrono::duration<double, std::nano>(elapsed).count() / runs, peak};
}

// --- ours
void OursParse(const std::string& text) {
  XmlParseCopy(text.c_str());
}

void OursWrite(const XmlNode* doc) {
  char* text = nullptr;
  int length = 0;
  if (FTM_BuildReportFile(&text, &length, doc) == 0) free(text);
}

// --- expat, building a tree comparable to ours
struct ENode {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attrs;
  std::string text;
  std::vector<std::unique_ptr<ENode>> children;
};

struct EBuild {
  ENode root;
  std::vector<ENode*> stack{&root};
};

void XMLCALL EStart(void* data, const XML_Char* name, const XML_Char** attrs) {
  EBuild* b = static_cast<EBuild*>(data);
  b->stack.back()->children.emplace_back(new ENode);
  ENode* n = b->stack.back()->children.back().get();
  n->name = name;
  for (int i = 0; attrs[i] != nullptr; i += 2) n->attrs.emplace_back(attrs[i], attrs[i + 1]);
  b->stack.push_back(n);
}
void XMLCALL EEnd(void* data, const XML_Char*) {
  static_cast<EBuild*>(data)->stack.pop_back();
}
void XMLCALL EText(void* data, const XML_Char* s, int len) {
  static_cast<EBuild*>(data)->stack.back()->text.append(s, len);
}

bool ExpatParse(const std::string& text) {
  EBuild build;
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &build);
  XML_SetElementHandler(parser, EStart, EEnd);
  XML_SetCharacterDataHandler(parser, EText);
  const bool ok = XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return ok;
}

// --- libxml2
xmlDocPtr Libxml2Read(const std::string& text) {
  return xmlReadMemory(
      text.data(), static_cast<int>(text.size()), "bench.xml", nullptr,
      XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
}

void Libxml2Write(xmlDocPtr doc) {
  xmlChar* out = nullptr;
  int size = 0;
  xmlDocDumpFormatMemory(doc, &out, &size, 1);
  xmlFree(out);
}

std::string WellFormed(std::string text, bool wrap) {
  const std::string from = "<?xml version=1.0 encoding=UTF-8?>";
  if (text.compare(0, from.size(), from) == 0) {
    text.replace(0, from.size(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    if (wrap)
      text = text.substr(0, from.size() + 4) + "<FTM>" + text.substr(from.size() + 4) + "</FTM>";
  }
  return text;
}

// A test-configuration upload of exactly 7648 bytes, written as a station
// would: one element a line, CRLF line ends.
std::string LargestRequest() {
  const std::string block =
      "  <LED>\r\n    <WAN_LED>ON</WAN_LED>\r\n    <LAN_LED>OFF</LAN_LED>\r\n"
      "    <SINGLE_LED POINT=\"42\" STATE=\"ON\"/>\r\n  </LED>\r\n"
      "  <VOIP ReadClear=\"1\">\r\n    <RING_VOLTAGE_1>50v</RING_VOLTAGE_1>\r\n"
      "    <HOOK_1>ON</HOOK_1>\r\n    <TONE_2>3</TONE_2>\r\n  </VOIP>\r\n";
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<TEST_CONFIG>\r\n";
  const std::string tail = "</TEST_CONFIG>\r\n";
  std::string text = head;
  while (text.size() + block.size() + tail.size() <= 7648) text += block;
  text.append(7648 - text.size() - tail.size(), ' ');
  return text + tail;
}

void Row(const char* what, const char* ref, const Figure& ours, const Figure& theirs) {
  std::printf("  %-6s %9.0f ns %8zu B   %-8s %9.0f ns %8zu B   %5.2f\n", what, ours.nsPerOp,
              ours.peakBytes, ref, theirs.nsPerOp, theirs.peakBytes, ours.nsPerOp / theirs.nsPerOp);
}

}  // namespace

int main() {
  xmlInitParser();
  struct Input {
    const char* name;
    std::string text;
  };
  const std::vector<Input> inputs = {
      {"DOWNLOAD_STATUS", kFtmDownloadStatusTemplate},
      {"ETHERNET", kFtmEthernetTemplate},
      {"FTM_STATS", kFtmStatsTemplate},
      {"TEST_CONFIG", kFtmTestConfigTemplate},
      {"SUPPORTED_TESTS", std::string(kFtmSupportedTestsPrefix) +
                              "<LED/><RESET_SWITCH/><THROUGH_PUT/><AUTO_PAIR/><BCOM_WIRELESS/>"
                              "<VOIP/></ACTIVE_TEST>"},
      {"MOBILE_INFO", kFtmMobileInfoTemplate},
      {"ANTENNA_INFO", kFtmAntennaInfoTemplate},
      {"MODEM_INFO", kFtmModemInfoTemplate},
      {"request 7648 B", LargestRequest()},
  };

  std::printf("time per operation and peak heap of one operation; ratio = ours / reference\n");
  std::printf("  %-6s %12s %10s   %-8s %12s %10s   %5s\n", "", "ours", "heap", "ref", "time",
              "heap", "ratio");
  for (const Input& in : inputs) {
    const std::string wellFormed =
        WellFormed(in.text, std::strcmp(in.name, "SUPPORTED_TESTS") == 0);
    std::printf("%s (%zu bytes)\n", in.name, in.text.size());
    xmlDocPtr check = Libxml2Read(wellFormed);
    if (!ExpatParse(wellFormed) || check == nullptr) {
      std::printf("  the references refuse this text; skipped\n");
      continue;
    }
    xmlFreeDoc(check);
    const Figure ourParse = Measure([&] { OursParse(in.text); });
    Row("parse", "expat", ourParse, Measure([&] { ExpatParse(wellFormed); }));
    Row("parse", "libxml2", ourParse, Measure([&] { xmlFreeDoc(Libxml2Read(wellFormed)); }));

    XmlDoc doc = XmlParseCopy(in.text.c_str());
    xmlDocPtr ref = Libxml2Read(wellFormed);
    Row("write", "libxml2", Measure([&] { OursWrite(doc.get()); }),
        Measure([&] { Libxml2Write(ref); }));
    xmlFreeDoc(ref);
  }
  xmlCleanupParser();
  return 0;
}
