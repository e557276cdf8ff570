#include "dispatch/ftm_text.h"

#include <climits>
#include <cstdlib>
#include <cstring>

int FtmDecimal(const char* text) {
  if (text == nullptr) return 0;
  long long value = std::strtoll(text, nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

bool FtmIs(const char* text, const char* word) {
  return text != nullptr && std::strcmp(text, word) == 0;
}

bool FtmIsDigits(const char* text) {
  if (text == nullptr || *text == '\0') return false;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return false;
  }
  return true;
}
