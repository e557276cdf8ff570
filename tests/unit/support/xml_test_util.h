// Compact tree notation for exact assertions on parsed documents:
//   name, "/" when hasContent is 0, "^" when multiLineTag is 1,
//   "[k=v,k=v]" attributes, "{text}", "(child child)" children.
// A document dumps as its root's children separated by spaces.
#ifndef FTM_TESTS_UNIT_SUPPORT_XML_TEST_UTIL_H_
#define FTM_TESTS_UNIT_SUPPORT_XML_TEST_UTIL_H_

#include <string>
#include <vector>

#include "xml/xml_doc.h"
#include "xml/xml_write.h"

using Doc = XmlDoc;

// Parses a copy of `text` (which may hold NULs; the parser sees up to the
// first).
inline Doc ParseText(const std::string& text) {
  std::vector<char> work(text.begin(), text.end());
  work.push_back('\0');
  return Doc(XmlParseDocument(work.data()));
}

// One case of a table-driven test: an input text and what it must give.
struct TextCase {
  const char* input;
  const char* want;
};

inline std::string DumpNode(const XmlNode* n, bool flags = true) {
  std::string out = n->name;
  if (flags && n->hasContent == 0) out += "/";
  if (flags && n->multiLineTag == 1) out += "^";
  if (n->attrNames != nullptr) {
    out += "[";
    for (int i = 0; n->attrNames[i] != nullptr; ++i) {
      out += std::string(i > 0 ? "," : "") + n->attrNames[i] + "=" + n->attrValues[i];
    }
    out += "]";
  }
  if (n->text != nullptr) out += std::string("{") + n->text + "}";
  if (n->children != nullptr) {
    out += "(";
    for (int i = 0; n->children[i] != nullptr; ++i) {
      out += (i > 0 ? " " : "") + DumpNode(n->children[i], flags);
    }
    out += ")";
  }
  return out;
}

inline std::string DumpDoc(const XmlNode* root, bool flags = true) {
  std::string out;
  if (root->children == nullptr) return out;
  for (int i = 0; root->children[i] != nullptr; ++i) {
    out += (i > 0 ? " " : "") + DumpNode(root->children[i], flags);
  }
  return out;
}

#endif  // FTM_TESTS_UNIT_SUPPORT_XML_TEST_UTIL_H_
