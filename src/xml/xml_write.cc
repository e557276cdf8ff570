#include "xml/xml_write.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string_view>

#include "dispatch/ftm_status.h"

namespace {

// Where the writer's pieces go: appended to a bounded buffer, or only
// counted. XmlSerialize and XmlMeasure share one walk over the tree so that
// the measure cannot drift from what is written.
class Sink {
 public:
  Sink(char* buffer, size_t capacity, size_t* length)
      : buffer_(buffer), capacity_(capacity), length_(length), counting_(false) {}
  explicit Sink(size_t* count) : buffer_(nullptr), capacity_(0), length_(count), counting_(true) {}

  // One piece, made of the given parts: appended whole or not at all. There
  // is no fixed formatting area, so long names and values are written whole.
  // `levels` two-space pieces of indentation. They are all the same size, so
  // the first ones that fit go in and the rest do not.
  void Indent(int levels) {
    if (levels <= 0) return;
    if (counting_) {
      *length_ += 2 * static_cast<size_t>(levels);
      return;
    }
    if (buffer_ == nullptr || *length_ >= capacity_) return;
    const size_t fit = std::min(static_cast<size_t>(levels), (capacity_ - *length_ - 1) / 2);
    std::memset(buffer_ + *length_, ' ', 2 * fit);
    *length_ += 2 * fit;
    buffer_[*length_] = '\0';
  }

  void Put(std::initializer_list<std::string_view> parts) {
    size_t n = 0;
    for (std::string_view part : parts) n += part.size();
    if (counting_) {
      *length_ += n;
      return;
    }
    if (buffer_ == nullptr || *length_ > capacity_ || n + 1 > capacity_ - *length_) return;
    char* out = buffer_ + *length_;
    for (std::string_view part : parts) {
      std::memcpy(out, part.data(), part.size());
      out += part.size();
    }
    *out = '\0';
    *length_ += n;
  }

 private:
  char* buffer_;
  size_t capacity_;
  size_t* length_;
  bool counting_;
};

std::string_view View(const char* s) {
  return s != nullptr ? std::string_view(s) : std::string_view();
}

void Indent(Sink* sink, bool indent, int levels) {
  if (indent) sink->Indent(levels);
}

void LineEnd(Sink* sink, bool indent) {
  if (indent) sink->Put({"\r\n"});
}

void Write(const XmlNode* node, Sink* sink, bool indent, int depth) {
  if (node == nullptr) return;
  const std::string_view name = View(node->name);
  const bool isRoot = name == "top";
  const bool isProlog = name == "xml";
  Indent(sink, indent, depth);
  if (!isRoot) {
    sink->Put({isProlog ? "<?" : "<", name});
    const bool hasAttributes = node->attrNames != nullptr && node->attrNames[0] != nullptr;
    if (hasAttributes) {
      for (int i = 0; node->attrNames[i] != nullptr; ++i) {
        sink->Put({" ", node->attrNames[i], "=\"", View(node->attrValues[i]), "\""});
      }
    }
    sink->Put({isProlog && hasAttributes ? "?>" : ">"});
    LineEnd(sink, indent);
    if (node->hasContent == 1 && node->text != nullptr) {
      Indent(sink, indent, depth + 1);
      sink->Put({node->text});
      LineEnd(sink, indent);
    }
  }
  if (node->children != nullptr) {
    for (XmlNode* const* child = node->children; *child != nullptr; ++child) {
      Write(*child, sink, indent, depth + 1);
    }
  }
  if (!isRoot && !isProlog) {
    Indent(sink, indent, depth);
    sink->Put({"</", name, ">"});
    LineEnd(sink, indent);
  }
}

// Appends a copy of `s` at the end of a null-terminated owned array,
// growing it by one slot. Returns false (array unchanged) on failure.
bool AppendCopy(char*** array, size_t count, const char* s) {
  char* copy = XmlStrDup(s);
  if (copy == nullptr) return false;
  char** grown = static_cast<char**>(std::realloc(*array, (count + 2) * sizeof(char*)));
  if (grown == nullptr) {
    std::free(copy);
    return false;
  }
  grown[count] = copy;
  grown[count + 1] = nullptr;
  *array = grown;
  return true;
}

}  // namespace

XmlNode* XmlFindChild(XmlNode* node, const char* name) {
  if (node->children == nullptr || name == nullptr) return nullptr;
  for (XmlNode** child = node->children; *child != nullptr; ++child) {
    if (std::strcmp((*child)->name, name) == 0) return *child;
  }
  return nullptr;
}

XmlNode* XmlFindPath(XmlNode* node, const char* name1, const char* name2, const char* name3) {
  XmlNode* found = nullptr;
  if (node != nullptr && name1 != nullptr) {
    found = XmlFindChild(node, name1);
    if (found != nullptr && name2 != nullptr) {
      found = XmlFindChild(found, name2);
      if (found != nullptr && name3 != nullptr) found = XmlFindChild(found, name3);
    }
  }
  if (found == nullptr) ftm_SetErrorInfo(0, kFtmMsgXmlFileInvalid);
  return found;
}

int XmlSetText(XmlNode* node, const char* text) {
  if (text == nullptr || *text == '\0') {
    std::free(node->text);
    node->text = nullptr;
    return 0;
  }
  char* copy = XmlStrDup(text);
  if (copy == nullptr) return -1;
  std::free(node->text);
  node->text = copy;
  node->hasContent = 1;
  return 0;
}

int XmlSetAttribute(XmlNode* node, const char* name, const char* value) {
  if (name == nullptr || value == nullptr) return -1;
  size_t count = 0;
  if (node->attrNames != nullptr) {
    for (; node->attrNames[count] != nullptr; ++count) {
      if (std::strcmp(node->attrNames[count], name) != 0) continue;
      if (std::strcmp(node->attrValues[count], value) == 0) return 0;
      char* copy = XmlStrDup(value);
      if (copy == nullptr) return -1;
      std::free(node->attrValues[count]);
      node->attrValues[count] = copy;
      return 0;
    }
  }
  if (!AppendCopy(&node->attrNames, count, name)) return -1;
  if (!AppendCopy(&node->attrValues, count, value)) {
    // Take the name back off so that both arrays keep the same length.
    std::free(node->attrNames[count]);
    node->attrNames[count] = nullptr;
    if (count == 0) {
      std::free(node->attrNames);
      node->attrNames = nullptr;
    }
    return -1;
  }
  return 0;
}

char** XmlAttrNameSlot(XmlNode* node, int index) {
  return node->attrNames != nullptr ? node->attrNames + index : nullptr;
}

char** XmlAttrValueSlot(XmlNode* node, int index) {
  return node->attrValues != nullptr ? node->attrValues + index : nullptr;
}

void XmlAppendPiece(const char* piece, char* buffer, size_t capacity, size_t* length) {
  if (length == nullptr) return;
  Sink(buffer, capacity, length).Put({View(piece)});
}

int XmlSerialize(const XmlNode* node, char* buffer, size_t capacity, size_t* length, int indent,
                 int depth) {
  if (length == nullptr) return -2;
  Sink sink(buffer, capacity, length);
  Write(node, &sink, indent != 0, depth);
  return 0;
}

void XmlMeasure(const XmlNode* node, size_t* count, int indent, int depth) {
  if (count == nullptr) return;
  Sink sink(count);
  Write(node, &sink, indent != 0, depth);
}

char* XmlSerializeCopy(const XmlNode* node, int indent, size_t* length) {
  size_t n = 0;
  XmlMeasure(node, &n, indent, 0);
  char* text = static_cast<char*>(std::malloc(n + 1));
  if (text == nullptr) return nullptr;
  text[0] = '\0';
  size_t written = 0;
  if (XmlSerialize(node, text, n + 1, &written, indent, 0) != 0 || written != n) {
    std::free(text);
    return nullptr;
  }
  *length = n;
  return text;
}

std::string XmlSerializeString(const XmlNode* node, int indent) {
  size_t n = 0;
  std::unique_ptr<char, decltype(&std::free)> text(XmlSerializeCopy(node, indent, &n), std::free);
  return text ? std::string(text.get(), n) : std::string();
}

int FTM_BuildReportFile(char** buffer, int* length, const XmlNode* document) {
  size_t n = 0;
  char* text = nullptr;
  if (buffer != nullptr && length != nullptr && *buffer == nullptr) {
    text = XmlSerializeCopy(document, 1, &n);
  }
  if (text == nullptr || n == 0 || n >= static_cast<size_t>(INT_MAX)) {
    // The buffer was never handed over, so it is released here.
    std::free(text);
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlFileFailed);
    return -1;
  }
  *buffer = text;
  *length = static_cast<int>(n + 1);
  return 0;
}
