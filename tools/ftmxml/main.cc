// ftmxml: shows how the daemon reads an XML request file, without a board.
//
//   ftmxml FILE|-              the parsed tree, as the daemon's code sees it
//   ftmxml --serialize FILE|-  exactly the bytes the daemon writes for it
//
// It runs the daemon's own parser and writer, so what it prints is what
// the board's handlers get.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ftm_version.h"
#include "tftp/tftp_wire.h"
#include "xml/xml_doc.h"
#include "xml/xml_write.h"

namespace {

// Far beyond any request; keeps the tool's memory bounded on a wrong file.
constexpr size_t kReadLimit = 1 << 20;

void Usage(FILE* out) {
  std::fputs(
      "usage: ftmxml FILE|-\n"
      "       ftmxml --serialize FILE|-\n"
      "       ftmxml --version\n"
      "Parses FILE (- for standard input) as the daemon does. Without options,\n"
      "prints the tree the daemon builds; with --serialize, writes to standard\n"
      "output exactly the text the daemon would write for it.\n",
      out);
}

bool ReadAll(const char* path, std::vector<char>* data) {
  const bool isStdin = std::strcmp(path, "-") == 0;
  FILE* in = isStdin ? stdin : std::fopen(path, "rb");
  if (in == nullptr) return false;
  char chunk[4096];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, in)) > 0)
    data->insert(data->end(), chunk, chunk + n);
  const bool ok = std::ferror(in) == 0;
  if (!isStdin) std::fclose(in);
  return ok;
}

// Control characters, quotes and backslashes made visible, so that a stray
// carriage return or tab in a value can be seen.
std::string Quote(const char* s) {
  std::string out = "\"";
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(s); *p != '\0'; ++p) {
    switch (*p) {
      case '\r':
        out += "\\r";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '"':
        out += "\\\"";
        break;
      default:
        if (*p < 0x20 || *p == 0x7f) {
          char hex[8];
          std::snprintf(hex, sizeof hex, "\\x%02x", *p);
          out += hex;
        } else {
          out += static_cast<char>(*p);
        }
    }
  }
  out += "\"";
  return out;
}

void PrintTree(const XmlNode* node, int depth) {
  const std::string pad(2 * depth, ' ');
  std::printf("%selement %s hasContent=%d multiLineTag=%d\n", pad.c_str(),
              Quote(node->name).c_str(), node->hasContent, node->multiLineTag);
  if (node->attrNames != nullptr) {
    for (int i = 0; node->attrNames[i] != nullptr; ++i) {
      std::printf("%s  attribute %s = %s\n", pad.c_str(), Quote(node->attrNames[i]).c_str(),
                  Quote(node->attrValues[i]).c_str());
    }
  }
  if (node->text != nullptr) std::printf("%s  text %s\n", pad.c_str(), Quote(node->text).c_str());
  if (node->children != nullptr) {
    for (XmlNode* const* child = node->children; *child != nullptr; ++child) {
      PrintTree(*child, depth + 1);
    }
  }
}

// Shapes the lenient parser accepts without a word but that are almost
// always mistakes in a request file. Each is reported once per element on
// standard error; the tree is printed all the same.
void Warn(const XmlNode* node, std::vector<const XmlNode*>* open, int* count) {
  const std::string name = node->name;
  if (name[0] == '/') {
    std::fprintf(stderr,
                 "ftmxml: warning: a stray end tag <%s> where an element was expected: it "
                 "became an element that takes the rest of its level\n",
                 name.c_str());
    ++*count;
  } else if (name.find_first_of("<\"=") != std::string::npos) {
    std::fprintf(stderr,
                 "ftmxml: warning: element name %s holds '<', '\"' or '=': a '>' is "
                 "missing before it\n",
                 Quote(node->name).c_str());
    ++*count;
  }
  if (node->hasContent == 0 && name != "xml") {
    for (const XmlNode* parent : *open) {
      const size_t n = std::strlen(parent->name);
      if (name.size() > n && name.compare(0, n, parent->name) == 0) {
        std::fprintf(stderr,
                     "ftmxml: warning: inside <%s>, the self-closing <%s/> counts as an opening "
                     "of %s: %s does not close where meant and takes what follows\n",
                     parent->name, name.c_str(), parent->name, parent->name);
        ++*count;
        break;
      }
    }
  }
  if (node->children == nullptr) return;
  open->push_back(node);
  for (XmlNode* const* child = node->children; *child != nullptr; ++child) {
    Warn(*child, open, count);
  }
  open->pop_back();
}

}  // namespace

int main(int argc, char** argv) {
  bool serialize = false;
  const char* path = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
      Usage(stdout);
      return 0;
    }
    if (std::strcmp(argv[i], "--version") == 0) {
      std::printf("ftmxml %s\n", FTM_VERSION);
      return 0;
    }
    if (std::strcmp(argv[i], "--serialize") == 0 && !serialize) {
      serialize = true;
    } else if (path == nullptr && (std::strcmp(argv[i], "-") == 0 || argv[i][0] != '-')) {
      path = argv[i];
    } else {
      std::fprintf(stderr, "ftmxml: unexpected argument '%s'\n", argv[i]);
      Usage(stderr);
      return 2;
    }
  }
  if (path == nullptr) {
    std::fputs("ftmxml: no file given\n", stderr);
    Usage(stderr);
    return 2;
  }

  std::vector<char> data;
  if (!ReadAll(path, &data)) {
    std::fprintf(stderr, "ftmxml: cannot read %s: %s\n", path, std::strerror(errno));
    return 1;
  }
  const char* label = std::strcmp(path, "-") == 0 ? "standard input" : path;
  if (data.size() > kReadLimit) {
    std::fprintf(stderr, "ftmxml: %s is over %zu bytes; the board accepts at most %zu\n", label,
                 kReadLimit, static_cast<size_t>(kTftpUploadLimit));
    return 1;
  }
  if (data.size() > static_cast<size_t>(kTftpUploadLimit)) {
    std::fprintf(stderr, "ftmxml: note: %s is %zu bytes; the board refuses uploads over %zu\n",
                 label, data.size(), static_cast<size_t>(kTftpUploadLimit));
  }
  const void* nul = std::memchr(data.data(), '\0', data.size());
  if (nul != nullptr) {
    std::fprintf(stderr, "ftmxml: note: %s holds a NUL at byte %zu; the daemon reads no further\n",
                 label, static_cast<size_t>(static_cast<const char*>(nul) - data.data()));
  }
  data.push_back('\0');

  XmlDoc document(XmlParseDocument(data.data()));
  if (!document) {
    std::fputs("ftmxml: out of memory\n", stderr);
    return 1;
  }
  std::vector<const XmlNode*> open;
  int warnings = 0;
  if (document->children != nullptr) {
    for (XmlNode* const* item = document->children; *item != nullptr; ++item) {
      Warn(*item, &open, &warnings);
    }
  }
  if (!serialize) {
    PrintTree(document.get(), 0);
    return std::fflush(stdout) == 0 ? 0 : 1;
  }
  const std::string text = XmlSerializeString(document.get());
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    return 1;
  }
  return 0;
}
