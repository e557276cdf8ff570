// The document model and the lenient parser of the daemon's XML files.
//
// A document is a tree of XmlNode records under a root named "top". Every
// string and array in a node is allocated with malloc and owned by the node;
// XmlFreeNode releases a whole subtree. The parser never
// reports a syntax error: it takes what it recognises and returns what it
// built up to the point where it could not go on. Callers look up the
// elements they need and report missing ones themselves.
#ifndef FTM_XML_XML_DOC_H_
#define FTM_XML_XML_DOC_H_

#include <cstdint>
#include <memory>

struct XmlNode {
  char* name;            // "top" for the root, "xml" for the prolog
  int32_t hasContent;    // 1: written with a non-self-closing start tag (and the root)
  int32_t multiLineTag;  // 1: the tag text held a line feed or carriage return
  char** attrNames;      // null-terminated, or null when there are none
  char** attrValues;     // parallel to attrNames, always the same length
  XmlNode** children;    // null-terminated, in document order, or null
  char* text;            // character content, or null; never an empty string
};

// Elements deeper than this below the root keep their name, attributes and
// text, but their content is not parsed into children. Real files nest five
// levels; the bound keeps the recursion of the parser, the writer and
// XmlFreeNode within a small stack whatever a station sends.
constexpr int kXmlMaxDepth = 64;

// Parses a NUL-terminated text into a new document that the caller owns and
// frees with XmlFreeNode. The parser writes terminators into `text`; the
// caller may free it as soon as the call returns. Returns null only when
// memory runs out (nothing is leaked then); callers treat that as
// "Fail to Create Xml Data Obj".
XmlNode* XmlParseDocument(char* text);

// Frees the node, its strings and arrays and all its children. Null is
// ignored.
void XmlFreeNode(XmlNode* node);

// The owner of a whole document: every handler, builder, tool and test holds
// the documents it makes for one request in one of these.
struct XmlDocFree {
  void operator()(XmlNode* node) const { XmlFreeNode(node); }
};
using XmlDoc = std::unique_ptr<XmlNode, XmlDocFree>;

// Parses a copy of a NUL-terminated text, which stays as it was (the parser
// writes into its input, and uploads and templates must not change). Empty
// only when memory runs out; callers answer "Fail to Create Xml Data Obj".
XmlDoc XmlParseCopy(const char* text);

// A document kept for the daemon's life (the read-back, progress,
// statistics and four-port reports): made by its template's factory on
// first use, tried again on a later use while memory runs out, then owned
// and never reset.
class XmlKeptDoc {
 public:
  using Factory = XmlNode* (*)();
  explicit XmlKeptDoc(Factory make) : make_(make) {}

  // The document, or null when it cannot be made.
  XmlNode* get() {
    if (!doc_) doc_.reset(make_());
    return doc_.get();
  }

 private:
  Factory make_;
  XmlDoc doc_;
};

// A malloc'd copy of `s`, or null when `s` is null or memory runs out.
char* XmlStrDup(const char* s);

// Cuts trailing space, tab, line feed and carriage return in place.
// Does nothing when given null.
void XmlTrimRight(char* s);

// Replaces the first occurrence of `pattern` in the owned string *s by
// `replacement`: the old string is freed and a new one, allocated at its
// exact size, is stored through `s`. Returns 1, or 0 (changing nothing) when
// *s is null, holds no occurrence, or memory runs out.
int XmlReplaceFirst(char** s, const char* pattern, const char* replacement);

#endif  // FTM_XML_XML_DOC_H_
