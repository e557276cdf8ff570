// An upload's bytes through the document library as the daemon uses it:
// parsed, written out as a report, freed. The daemon hands the parser a
// NUL-terminated copy of the upload, so bytes after a NUL are never seen.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "xml/xml_doc.h"
#include "xml/xml_write.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::unique_ptr<char[]> text(new char[size + 1]);
  std::memcpy(text.get(), data, size);
  text[size] = '\0';
  XmlDoc document = XmlParseCopy(text.get());
  // No node may point into the text it was parsed from.
  text.reset();
  if (!document) return 0;

  size_t measured = 0;
  XmlMeasure(document.get(), &measured, 1, 0);
  char* report = nullptr;
  int length = 0;
  if (FTM_BuildReportFile(&report, &length, document.get()) == 0) {
    // The stored length counts the NUL, and the text is exactly the measure.
    if (static_cast<size_t>(length) != measured + 1 || std::strlen(report) != measured)
      std::abort();
    std::free(report);
  } else if (measured != 0) {
    std::abort();  // only an empty document may fail
  }
  return 0;
}
