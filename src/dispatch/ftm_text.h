// Text helpers shared by the request handlers, the report builders and the
// board access layer, so that every value read from a request, a table or a
// board tool is converted by one rule.
#ifndef FTM_DISPATCH_FTM_TEXT_H_
#define FTM_DISPATCH_FTM_TEXT_H_

#include <cstddef>

// The ordinary decimal conversion: leading blanks, an optional sign, digits;
// 0 when there is no number (and for null). A number beyond the range of
// int is taken as the nearest end of that range, so a long run of digits
// cannot overflow.
int FtmDecimal(const char* text);

// True when text is one or more decimal digits and nothing else: the only
// form of a request's value that may be put into a board command line.
bool FtmIsDigits(const char* text);

// True when text is exactly `word`; a null text is no word.
bool FtmIs(const char* text, const char* word);

#endif  // FTM_DISPATCH_FTM_TEXT_H_
