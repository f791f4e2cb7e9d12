// A string stream whose numbers read the same everywhere. Log messages have a faster one: messagestream.h.
#ifndef ZTUTIL_CLASSICSTREAM_H_
#define ZTUTIL_CLASSICSTREAM_H_

#include <locale>
#include <sstream>

namespace ztutil {

// Deaf to the global locale, which anybody in the process may change, a driver too. Where there is no memory
// for all of a text it throws: there is no part of one.
class ClassicStream : public std::ostringstream {
 public:
  ClassicStream() {
    imbue(std::locale::classic());
    exceptions(badbit);
  }
};

}  // namespace ztutil

#endif  // ZTUTIL_CLASSICSTREAM_H_
