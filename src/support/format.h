// A formatter in the manner of printf, with directives of its own:
//
//   directive = "%" [ "-" ] [ "0" ] [ width ] [ ( "." | "," ) precision ] [ "[" count ]
//               [ "h" ] [ "l" ] conversion
//   width, precision, count = decimal digits | "*"
//
// "*" takes a signed 32-bit argument; arguments are read in the order width, precision, count,
// value. "h" and "l" change nothing: integers are 32 bits wide. "%%" is one "%".
//
//   d i          signed decimal                     f e g   double, 63 characters at most
//   u x X p o    unsigned; "p" is like "X"          c       one octet
//   s            text, at most `precision` octets; "<null>" for a null pointer
//   m            hexadecimal dump of `count` octets
//   b            packed decimal number of `count` octets, `precision` digits behind the point, or
//                behind a comma after ","
//   S C          as "s" and "c", escaped for HTML; only in HTML mode, else the letter is copied
//   another      the letter is copied; no value is read
//
// The directives are not printf's, so a compiler cannot check them: the types must be right.
// Numbers are those of the "C" locale. Any thread may call; the only exception is std::bad_alloc.
#ifndef WZAPP_SUPPORT_FORMAT_H
#define WZAPP_SUPPORT_FORMAT_H

#include <cstdarg>
#include <string>

namespace wzapp {

// Replaces `out` by the formatted text and returns its length. `out` may be among the arguments. A
// null `formatText` gives the empty text.
int format(std::string& out, const char* formatText, ...);

// The same with an argument list, which is left as it was.
int vformat(std::string& out, const char* formatText, va_list arguments);

// The same in HTML mode if `html` is set.
int formatImpl(bool html, std::string& out, const char* formatText, va_list arguments);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_FORMAT_H
