#include "xml/xml_doc.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

struct CFree {
  void operator()(char* p) const { std::free(p); }
};
using CString = std::unique_ptr<char, CFree>;

using NodePtr = XmlDoc;

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

char* SkipSpace(char* p) {
  while (IsSpace(*p)) ++p;
  return p;
}

// Inside the parser a failed allocation throws, so that one catch in
// XmlParseDocument unwinds the partly built tree through the owning handles.
char* CopyOrThrow(const char* s, size_t n) {
  char* copy = static_cast<char*>(std::malloc(n + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, s, n);
  copy[n] = '\0';
  return copy;
}

NodePtr NewNode(const char* name, int32_t hasContent, int32_t multiLineTag) {
  NodePtr node(static_cast<XmlNode*>(std::calloc(1, sizeof(XmlNode))));
  if (!node) throw std::bad_alloc();
  node->name = CopyOrThrow(name, std::strlen(name));
  node->hasContent = hasContent;
  node->multiLineTag = multiLineTag;
  return node;
}

// Moves owned pointers into a malloc'd null-terminated array (null when
// there are none), the form the node record keeps.
template <typename T, typename D>
T** ToArray(std::vector<std::unique_ptr<T, D>>* items) {
  if (items->empty()) return nullptr;
  T** array = static_cast<T**>(std::malloc((items->size() + 1) * sizeof(T*)));
  if (array == nullptr) throw std::bad_alloc();
  for (size_t i = 0; i < items->size(); ++i) array[i] = (*items)[i].release();
  array[items->size()] = nullptr;
  items->clear();
  return array;
}

// One pass of entity decoding over s[0, n), in place; returns the new
// length. It gives the same result as replacing the first occurrence and
// searching again from the start until none is left: a replacement can only
// start a new occurrence at its own position, and only when the replacement
// is the pattern's first character ("&amp;amp;" -> "&amp;" -> "&").
size_t ReplaceAllInPlace(char* s, size_t n, const char* pattern, char replacement) {
  const size_t plen = std::strlen(pattern);
  const bool chains = replacement == pattern[0];
  size_t r = 0;
  size_t w = 0;
  while (r < n) {
    if (n - r >= plen && std::memcmp(s + r, pattern, plen) == 0) {
      r += plen;
      while (chains && n - r >= plen - 1 && std::memcmp(s + r, pattern + 1, plen - 1) == 0) {
        r += plen - 1;
      }
      s[w++] = replacement;
    } else {
      s[w++] = s[r++];
    }
  }
  return w;
}

// The five passes always run in this order, so a decoded "&" can start an
// entity of a later pass: "&amp;lt;" ends up as "<".
size_t DecodeEntities(char* s, size_t n) {
  n = ReplaceAllInPlace(s, n, "&amp;", '&');
  n = ReplaceAllInPlace(s, n, "&quot;", '"');
  n = ReplaceAllInPlace(s, n, "&apos;", '\'');
  n = ReplaceAllInPlace(s, n, "&lt;", '<');
  n = ReplaceAllInPlace(s, n, "&gt;", '>');
  return n;
}

// An element's text: trailing whitespace cut, entities decoded, then every
// line feed turned into "~~" and every "~~" (left to right) into "\r\n". So
// "\r\n" becomes "\r\r\n" and a "~~" already in the text becomes "\r\n".
char* MakeText(const char* start, size_t n) {
  CString text(CopyOrThrow(start, n));
  char* s = text.get();
  while (n > 0 && IsSpace(s[n - 1])) --n;
  n = DecodeEntities(s, n);
  s[n] = '\0';
  if (std::memchr(s, '\n', n) == nullptr && std::strstr(s, "~~") == nullptr) return text.release();

  std::string marked;
  for (size_t i = 0; i < n; ++i) {
    if (s[i] == '\n') {
      marked += "~~";
    } else {
      marked += s[i];
    }
  }
  std::string out;
  for (size_t i = 0; i < marked.size();) {
    if (marked[i] == '~' && i + 1 < marked.size() && marked[i + 1] == '~') {
      out += "\r\n";
      i += 2;
    } else {
      out += marked[i++];
    }
  }
  return CopyOrThrow(out.data(), out.size());
}

// Attribute text of a tag, e.g. ` x="1 2" y = 3`. Writes terminators into it.
void ParseAttributes(XmlNode* node, char* p) {
  std::vector<CString> names;
  std::vector<CString> values;
  while (p != nullptr && *p != '\0') {
    p = SkipSpace(p);
    char* eq = std::strchr(p, '=');
    if (eq == nullptr) break;
    *eq = '\0';
    XmlTrimRight(p);
    // An empty name ends the list; the attributes before it stay.
    if (*p == '\0') break;
    char* value = SkipSpace(eq + 1);
    char* next = nullptr;
    if (*value == '"') {
      ++value;
      char* quote = std::strchr(value, '"');
      if (quote != nullptr) {
        *quote = '\0';
        next = quote + 1;
      }
    } else {
      char* end = value;
      while (*end != '\0' && !IsSpace(*end)) ++end;
      if (*end != '\0') {
        *end = '\0';
        next = end + 1;
      }
    }
    // Owned before the vectors grow, so that a failed growth frees them.
    CString name(CopyOrThrow(p, std::strlen(p)));
    CString decoded(CopyOrThrow(value, DecodeEntities(value, std::strlen(value))));
    names.push_back(std::move(name));
    values.push_back(std::move(decoded));
    p = next;
  }
  node->attrNames = ToArray(&names);
  node->attrValues = ToArray(&values);
}

std::vector<NodePtr> ParseElements(char* text, int depth);

// `content` is parsed into children only for an element with content, and
// only while the depth bound allows. The element text is [text, text+textLen).
NodePtr NewElement(const char* name, int32_t hasContent, int32_t multiLineTag, char* attrText,
                   char* content, const char* text, size_t textLen, int depth) {
  NodePtr node = NewNode(name, hasContent, multiLineTag);
  if (hasContent == 1 && content != nullptr && depth < kXmlMaxDepth) {
    std::vector<NodePtr> children = ParseElements(content, depth + 1);
    node->children = ToArray(&children);
  }
  ParseAttributes(node.get(), attrText);
  if (text != nullptr && textLen > 0) node->text = MakeText(text, textLen);
  return node;
}

// Skips a "<!" construct starting at `lt` by counting angle brackets.
// Returns the position right after it, or null when the text ends first.
char* SkipDeclaration(char* lt) {
  int openings = 1;
  int closings = 0;
  for (char* p = std::strpbrk(lt + 1, "<>"); p != nullptr; p = std::strpbrk(p + 1, "<>")) {
    if (*p == '<') {
      ++openings;
    } else {
      ++closings;
    }
    if (closings >= openings) return p + 1;
  }
  return nullptr;
}

// Finds the '<' that starts the end tag of element `name` whose content
// begins at `content`, counting every tag that begins with the name (over
// the name's length only) as an opening and every "/" + name as a closing.
// Null when the count never balances.
char* FindEndTag(char* content, const char* name) {
  const size_t nameLen = std::strlen(name);
  int openings = 1;
  int closings = 0;
  char* p = content;
  while ((p = std::strchr(p, '<')) != nullptr) {
    char* lt = p;
    char* q = SkipSpace(lt + 1);
    if (std::strncmp(q, name, nameLen) == 0) {
      ++openings;
      p = q + nameLen;
    } else if (*q == '/') {
      q = SkipSpace(q + 1);
      if (std::strncmp(q, name, nameLen) == 0) {
        ++closings;
        p = q + nameLen;
        if (closings >= openings) return lt;
      } else {
        p = q;
      }
    } else {
      p = q;
    }
  }
  return nullptr;
}

// Parses a run of sibling items at `depth` (1 for the top level).
std::vector<NodePtr> ParseElements(char* text, int depth) {
  std::vector<NodePtr> items;
  char* cursor = text;
  while (cursor != nullptr && *cursor != '\0') {
    cursor = SkipSpace(cursor);
    char* lt = std::strchr(cursor, '<');
    if (lt == nullptr) break;

    if (std::strncmp(lt + 1, "?xml", 4) == 0) {
      char* attrText = lt + 5;
      char* end = std::strstr(attrText, "?>");
      if (end == nullptr) break;
      *end = '\0';
      items.push_back(NewElement("xml", 0, 0, attrText, nullptr, nullptr, 0, depth));
      cursor = end + 2;
      continue;
    }

    if (lt[1] == '!') {
      cursor = SkipDeclaration(lt);
      if (cursor == nullptr) break;
      continue;
    }

    char* tag = SkipSpace(lt + 1);
    char* gt = std::strchr(tag, '>');
    if (gt == nullptr) break;
    // Decided before any terminator is written; gt[-1] is at worst the '<'.
    const bool selfClosing = gt[-1] == '/';
    *gt = '\0';
    const int32_t multiLineTag = std::strpbrk(tag, "\n\r") != nullptr ? 1 : 0;
    char* attrText = nullptr;
    char* ws = tag;
    while (*ws != '\0' && !IsSpace(*ws)) ++ws;
    if (*ws != '\0') {
      *ws = '\0';
      attrText = ws + 1;
    }
    if (selfClosing) {
      gt[-1] = '\0';
      items.push_back(NewElement(tag, 0, multiLineTag, attrText, nullptr, nullptr, 0, depth));
      cursor = gt + 1;
      continue;
    }

    char* content = gt + 1;
    char* firstLt = std::strchr(content, '<');
    char* textStart = SkipSpace(content);
    size_t textLen = 0;
    if (firstLt != nullptr && textStart < firstLt) textLen = firstLt - textStart;
    char* childText = textLen > 0 ? firstLt : content;
    char* endTag = FindEndTag(content, tag);
    if (endTag != nullptr) {
      *endTag = '\0';
      cursor = endTag + 1;
    } else {
      cursor = nullptr;  // unterminated: it takes the rest, nothing follows it
    }
    items.push_back(
        NewElement(tag, 1, multiLineTag, attrText, childText, textStart, textLen, depth));
  }
  return items;
}

}  // namespace

XmlNode* XmlParseDocument(char* text) {
  try {
    NodePtr root = NewNode("top", 1, 1);
    if (text != nullptr) {
      std::vector<NodePtr> items = ParseElements(text, 1);
      root->children = ToArray(&items);
    }
    return root.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void XmlFreeNode(XmlNode* node) {
  if (node == nullptr) return;
  std::free(node->name);
  std::free(node->text);
  if (node->attrNames != nullptr) {
    for (char** p = node->attrNames; *p != nullptr; ++p) std::free(*p);
    std::free(node->attrNames);
  }
  if (node->attrValues != nullptr) {
    for (char** p = node->attrValues; *p != nullptr; ++p) std::free(*p);
    std::free(node->attrValues);
  }
  if (node->children != nullptr) {
    for (XmlNode** p = node->children; *p != nullptr; ++p) XmlFreeNode(*p);
    std::free(node->children);
  }
  std::free(node);
}

XmlDoc XmlParseCopy(const char* text) {
  if (text == nullptr) return XmlDoc();
  CString work(XmlStrDup(text));
  if (!work) return XmlDoc();
  return XmlDoc(XmlParseDocument(work.get()));
}

char* XmlStrDup(const char* s) {
  if (s == nullptr) return nullptr;
  const size_t n = std::strlen(s);
  char* copy = static_cast<char*>(std::malloc(n + 1));
  if (copy != nullptr) std::memcpy(copy, s, n + 1);
  return copy;
}

void XmlTrimRight(char* s) {
  if (s == nullptr) return;
  size_t n = std::strlen(s);
  while (n > 0 && IsSpace(s[n - 1])) s[--n] = '\0';
}

int XmlReplaceFirst(char** s, const char* pattern, const char* replacement) {
  if (s == nullptr || *s == nullptr || pattern == nullptr || replacement == nullptr) return 0;
  const char* at = std::strstr(*s, pattern);
  if (at == nullptr) return 0;
  const size_t oldLen = std::strlen(*s);
  const size_t patLen = std::strlen(pattern);
  const size_t repLen = std::strlen(replacement);
  const size_t head = static_cast<size_t>(at - *s);
  char* out = static_cast<char*>(std::malloc(oldLen + repLen - patLen + 1));
  if (out == nullptr) return 0;
  std::memcpy(out, *s, head);
  std::memcpy(out + head, replacement, repLen);
  std::memcpy(out + head + repLen, at + patLen, oldLen - head - patLen + 1);
  std::free(*s);
  *s = out;
  return 1;
}
