// The lines of the report: key=answer, or tag.key=answer for the GPU of that tag.
#ifndef REPORTLINES_H_
#define REPORTLINES_H_

#include <ztutil/classicstream.h>
#include <ztutil/gpuprowlerappandhost.h>

#include <string>

// A bool is 0 or 1; a floating-point number has six digits.
template <class Value>
void PutValue(const std::string& key, const Value& value) {
  ztutil::ClassicStream line;
  line << key << "=" << value;
  DoStdout(line.str());
}

template <class Value>
void PutValue(const std::string& tag, const std::string& key, const Value& value) {
  PutValue(tag + "." + key, value);
}

// Between double quotes, with nothing escaped.
inline void PutText(const std::string& key, const std::string& text) { PutValue(key, "\"" + text + "\""); }

inline void PutText(const std::string& tag, const std::string& key, const std::string& text) {
  PutText(tag + "." + key, text);
}

#endif  // REPORTLINES_H_
