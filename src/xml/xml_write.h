// Operations on parsed documents: lookup, editing, and writing a document
// back out as the text of a report file.
//
// Output format: every element on lines of its own, indented by two spaces
// per level (the root "top" is level 0 and writes nothing of its own, so a
// report begins with two spaces), every line ending "\r\n", text on a line
// of its own, always a start and an end tag (never "<A/>"), the prolog as
// "<?xml ...?>" without an end tag. Names, values and texts go out exactly
// as stored: nothing is entity-encoded.
#ifndef FTM_XML_XML_WRITE_H_
#define FTM_XML_XML_WRITE_H_

#include <cstddef>
#include <string>

#include "xml/xml_doc.h"

// The first direct child named exactly `name`, or null. `node` must not be
// null.
XmlNode* XmlFindChild(XmlNode* node, const char* name);

// Goes down one to three levels by name from `node` (normally the document
// root); name2 and name3 may be null to stop earlier. When name1 is null or
// a step finds nothing, records "Xml File InValid" and returns null.
XmlNode* XmlFindPath(XmlNode* node, const char* name1, const char* name2, const char* name3);

// Replaces the node's text with a copy of `text`, stored as given (no
// trimming, no entities) and sets hasContent to 1. Null or "" clears the
// text and leaves hasContent alone. Returns 0, or -1 when memory runs out;
// the node is then unchanged.
int XmlSetText(XmlNode* node, const char* text);

// Sets the value of the attribute named exactly `name`, or appends the pair
// after the existing attributes when there is none. Returns 0, or -1 when
// memory runs out; the node is then unchanged.
int XmlSetAttribute(XmlNode* node, const char* name, const char* value);

// Address of slot `index` of the name (value) array, or null when the node
// has no attributes. The index is not checked: the caller may ask for any
// index up to the number of attributes, where the terminator reads as null.
char** XmlAttrNameSlot(XmlNode* node, int index);
char** XmlAttrValueSlot(XmlNode* node, int index);

// Appends `piece` at buffer[*length] only if *length + its length + 1 does
// not exceed `capacity` (and the buffer is not null); *length then grows by
// its length and the buffer stays NUL-terminated. Otherwise nothing changes,
// and a later, shorter piece may still fit.
void XmlAppendPiece(const char* piece, char* buffer, size_t capacity, size_t* length);

// Writes `node` at `depth` into `buffer`, whose first *length characters
// hold the string already written (0 and "" for a fresh buffer). Each piece
// that fits is appended as by XmlAppendPiece. `indent` 0 writes the same
// without indentation and line ends. A null node writes nothing. Returns 0,
// or -2 when `length` is null.
int XmlSerialize(const XmlNode* node, char* buffer, size_t capacity, size_t* length, int indent,
                 int depth);

// Adds to *count the number of characters XmlSerialize writes for `node` at
// `depth` when every piece fits.
void XmlMeasure(const XmlNode* node, size_t* count, int indent, int depth);

// The whole text of `node` as XmlSerialize writes it: measured, then
// written into a new malloc'd NUL-terminated buffer of exactly its size,
// which the caller frees; *length receives its characters. Null when memory
// runs out. The one measure-allocate-serialize of the daemon and the tools.
char* XmlSerializeCopy(const XmlNode* node, int indent, size_t* length);

// The same text as a string ("" when memory runs out), for the tools and tests.
std::string XmlSerializeString(const XmlNode* node, int indent = 1);

// Makes the download text of a report: on success *buffer is a new malloc'd
// NUL-terminated text of the whole document (indented), *length its length
// plus one (the NUL counts), and the caller owns and frees the buffer.
// Fails, recording "Fail to Create Xml File" and leaving *buffer and
// *length as they were, for an empty document, a *buffer that is not null,
// or when memory runs out. Returns 0 or -1.
int FTM_BuildReportFile(char** buffer, int* length, const XmlNode* document);

#endif  // FTM_XML_XML_WRITE_H_
