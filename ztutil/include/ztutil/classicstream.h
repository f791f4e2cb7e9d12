// A string stream whose numbers read the same everywhere. Log messages have a faster one: messagestream.h.
#ifndef ZTUTIL_CLASSICSTREAM_H_
#define ZTUTIL_CLASSICSTREAM_H_

#include <locale>
#include <sstream>

namespace ztutil {

// Deaf to the global locale, which anybody in the process may change, a driver too.
class ClassicStream : public std::ostringstream {
 public:
  ClassicStream() { imbue(std::locale::classic()); }
};

}  // namespace ztutil

#endif  // ZTUTIL_CLASSICSTREAM_H_
